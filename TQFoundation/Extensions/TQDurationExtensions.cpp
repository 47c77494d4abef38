#include "TQFoundation/Extensions/TQDurationExtensions.h"

#include "TQFoundation/Extensions/TQStringExtensions.h"

namespace tq {
namespace {

constexpr std::int64_t kHour = 3600;

}  // namespace

DateComponentsFormatter timeRemainingFormatterWith(std::int64_t seconds) {
  using Formatter = DateComponentsFormatter;
  Formatter formatter;
  formatter.zeroFormattingBehavior = Formatter::ZeroFormattingBehavior::pad;
  formatter.allowedUnits = Formatter::minute | Formatter::second;
  if (seconds > kHour) formatter.allowedUnits |= Formatter::hour;
  return formatter;
}

std::string timeFormattedString(double seconds, const UserSettingsSource& settings) {
  // All that the count of whole seconds decides, also where there is none.
  const std::int64_t remaining = seconds >= kHour + 1 ? kHour + 1 : 0;
  return timeRemainingFormatterWith(remaining).string(seconds, settings);
}

std::string timeFormattedString(float seconds, const UserSettingsSource& settings) {
  return timeFormattedString(double{seconds}, settings);
}

std::string timeLabelFor(float time, const UserSettingsSource& settings) {
  return timeFormattedString(time, settings);
}

}  // namespace tq
