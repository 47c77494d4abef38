#include "TQFoundation/Platform/Formatting/DateComponentsFormatter.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "TQFoundation/Platform/Formatting/DurationStyle.h"

namespace tq {
namespace {

constexpr const char* kNoDuration = "--:--";

// The first doubles on either side that are no whole numbers of 64 bits; the lower one is.
constexpr double kLowest = -9'223'372'036'854'775'808.0;
constexpr double kBeyond = 9'223'372'036'854'775'808.0;

// A field has up to 20 digits; beside the fields there are two separators and a sign.
constexpr std::size_t kLongest = (3 * 20 + 2 + 1) * sizeof(ShortText);

using Formatter = DateComponentsFormatter;

constexpr Formatter::Units kShortUnits = Formatter::minute | Formatter::second;
constexpr Formatter::Units kClockUnits = Formatter::hour | kShortUnits;

char* writeLong(char* at, std::uint64_t value, const DurationStyle& style) {
  if (value >= 10) at = writeLong(at, value / 10, style);
  return style.digits[value % 10].writeTo(at);
}

char* writeField(char* at, std::uint64_t value, bool isPadded, const DurationStyle& style) {
  if (value >= 100) return writeLong(at, value, style);
  if (isPadded || value >= 10) at = style.digits[value / 10].writeTo(at);
  return style.digits[value % 10].writeTo(at);
}

char* writeFields(char* at, std::uint64_t seconds, const Formatter& settings, const DurationStyle& style) {
  bool isPadded = settings.zeroFormattingBehavior == Formatter::ZeroFormattingBehavior::pad;
  bool isFirst = true;
  const auto write = [&]<std::uint64_t secondsInUnit>(Formatter::Units unit) {
    if ((settings.allowedUnits & unit) == 0) return;
    if (!isFirst) at = style.separator.writeTo(at);
    at = writeField(at, seconds / secondsInUnit, isPadded, style);
    seconds %= secondsInUnit;
    isFirst = false;
    isPadded = true;
  };
  write.operator()<3600>(Formatter::hour);
  write.operator()<60>(Formatter::minute);
  write.operator()<1>(Formatter::second);
  return at;
}

std::uint64_t smallestOf(Formatter::Units allowed) {
  if ((allowed & Formatter::second) != 0) return 1;
  return (allowed & Formatter::minute) != 0 ? 60 : 3600;
}

std::string anyText(std::int64_t seconds, const Formatter& settings, const DurationStyle& style) {
  const auto bits = static_cast<std::uint64_t>(seconds);
  const std::uint64_t magnitude = seconds < 0 ? 0 - bits : bits;
  std::array<char, kLongest> text;
  char* begin = text.data();
  if (seconds < 0 && magnitude >= smallestOf(settings.allowedUnits)) *begin++ = '-';
  return {text.data(), writeFields(begin, magnitude, settings, style)};
}

// Nearly all texts there are: two or three fields of two digits, all of them single bytes. They are written
// in place; reading back at once what was written in pieces takes as long as to write it.
bool isUsual(std::int64_t seconds, const Formatter& settings, const DurationStyle& style) {
  if (!style.isNarrow || settings.zeroFormattingBehavior != Formatter::ZeroFormattingBehavior::pad)
    return false;
  const std::int64_t end = settings.allowedUnits == kClockUnits   ? 100 * 3600
                           : settings.allowedUnits == kShortUnits ? 100 * 60
                                                                  : 0;
  return seconds >= 0 && seconds < end;
}

std::string usualText(std::uint32_t seconds, bool hasHours, const DurationStyle& style) {
  std::string text = hasHours ? std::string("00:00:00") : std::string("00:00");
  char* at = text.data();
  const auto put = [&](std::uint32_t value) { std::memcpy(at, &style.pairs[value], 2); };
  if (hasHours) {
    put(seconds / 3600);
    at[2] = style.narrowSeparator;
    at += 3;
    seconds %= 3600;
  }
  put(seconds / 60);
  at[2] = style.narrowSeparator;
  at += 3;
  put(seconds % 60);
  return text;
}

}  // namespace

std::string DateComponentsFormatter::string(double from, const UserSettingsSource& settings) const {
  if (!(from >= kLowest && from < kBeyond)) return kNoDuration;
  if ((allowedUnits & kClockUnits) == 0) return {};
  const auto seconds = static_cast<std::int64_t>(from);
  const auto snapshot = settings.current();
  const DurationStyle& style = DurationStyle::of(*snapshot);
  if (!isUsual(seconds, *this, style)) return anyText(seconds, *this, style);
  return usualText(static_cast<std::uint32_t>(seconds), allowedUnits == kClockUnits, style);
}

}  // namespace tq
