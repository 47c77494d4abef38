#include "TQFoundation/Extensions/TQDurationExtensions.h"

#include "TQFoundation/Extensions/TQStringExtensions.h"

namespace tq {
namespace {

constexpr std::int64_t kHour = 3600;

}  // namespace

DateComponentsFormatter DateComponentsFormatter::timeRemainingFormatterWith(std::int64_t seconds) {
  DateComponentsFormatter formatter;
  formatter.zeroFormattingBehavior = ZeroFormattingBehavior::pad;
  formatter.allowedUnits = seconds > kHour ? hour | minute | second : minute | second;
  return formatter;
}

std::string timeFormattedString(double seconds) {
  // All that the count of whole seconds decides, also where there is none.
  const std::int64_t remaining = seconds >= kHour + 1 ? kHour + 1 : 0;
  return DateComponentsFormatter::timeRemainingFormatterWith(remaining).string(seconds);
}

std::string timeFormattedString(float seconds) {
  return timeFormattedString(double{seconds});
}

std::string String::timeLabelFor(float time) {
  return timeFormattedString(time);
}

}  // namespace tq
