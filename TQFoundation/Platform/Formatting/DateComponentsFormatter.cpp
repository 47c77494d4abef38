#include "TQFoundation/Platform/Formatting/DateComponentsFormatter.h"

#include <array>
#include <charconv>
#include <limits>
#include <string_view>

#include "TQFoundation/Platform/Formatting/DurationSymbols.h"

namespace tq {
namespace {

using Formatter = DateComponentsFormatter;
using internal::DurationSymbols;

constexpr const char* kNoDuration = "--:--";

// Whole numbers of 64 bits are from the first of these on, before the second; doubles hold both exactly.
constexpr double kLowest = -0x1p63;
constexpr double kBeyond = 0x1p63;

struct Unit {
  Formatter::Units flag;
  std::uint64_t seconds;
};
constexpr Unit kUnits[] = {{Formatter::hour, 3600}, {Formatter::minute, 60}, {Formatter::second, 1}};

void appendField(std::string& text, std::uint64_t value, bool isPadded, const DurationSymbols& symbols) {
  std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> ascii;
  const char* const end = std::to_chars(ascii.data(), ascii.data() + ascii.size(), value).ptr;
  if (isPadded && value < 10) text += symbols.digits[0];
  for (const char* digit = ascii.data(); digit < end; ++digit)
    text += symbols.digits[static_cast<std::size_t>(*digit - '0')];
}

}  // namespace

std::string DateComponentsFormatter::string(double from, const UserSettingsSource& settings) const {
  if (!(from >= kLowest && from < kBeyond)) return kNoDuration;
  const auto snapshot = settings.current();
  const auto& symbols =
      snapshot->derived.get<DurationSymbols>([&] { return DurationSymbols::of(snapshot->dates); });
  const auto whole = static_cast<std::int64_t>(from);
  const auto bits = static_cast<std::uint64_t>(whole);
  std::uint64_t left = whole < 0 ? 0 - bits : bits;
  bool isPadded = zeroFormattingBehavior == ZeroFormattingBehavior::pad;
  bool isZero = true;
  std::string text;
  for (const Unit& unit : kUnits) {
    if ((allowedUnits & unit.flag) == 0) continue;
    if (!text.empty()) text += symbols.separator;
    appendField(text, left / unit.seconds, isPadded, symbols);
    isZero = isZero && left < unit.seconds;
    left %= unit.seconds;
    isPadded = true;
  }
  return whole < 0 && !isZero ? "-" + text : text;
}

}  // namespace tq
