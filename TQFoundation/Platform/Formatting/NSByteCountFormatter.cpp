#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"

#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include <array>
#include <string_view>
#include <utility>

namespace tq {
namespace internal {

/// ICU's formatters of whole numbers, each of which shifts the decimal mark by another number of digits.
class NumberFormats {
 public:
  explicit NumberFormats(const Locale& locale) {
    const auto plain = icu::number::NumberFormatter::withLocale(icu::Locale(locale.identifier().c_str()));
    for (int digits = 0; digits < kMostFractionDigits + 1; ++digits)
      formats_[static_cast<std::size_t>(digits)] = plain.scale(icu::number::Scale::powerOfTen(-digits));
  }

  [[nodiscard]] std::string text(std::int64_t number, int fractionDigits) const {
    UErrorCode status = U_ZERO_ERROR;
    std::string text;
    formats_[static_cast<std::size_t>(fractionDigits)]
        .formatInt(number, status)
        .toTempString(status)
        .toUTF8String(text);
    return U_SUCCESS(status) ? text : std::to_string(number);
  }

 private:
  static constexpr int kMostFractionDigits = 2;
  std::array<icu::number::LocalizedNumberFormatter, kMostFractionDigits + 1> formats_;
};

}  // namespace internal

namespace {

using internal::NumberFormats;

struct Unit {
  NSByteCountFormatterUnits flag;
  std::string_view name;
  std::uint64_t step;  // the bytes of its last fraction digit
  int fractionDigits;
  std::uint64_t bytes;
};

constexpr std::array<Unit, 7> kUnits = {{
    {NSByteCountFormatterUseBytes, "bytes", 1, 0, 1},
    {NSByteCountFormatterUseKB, "KB", 1'000, 0, 1'000},
    {NSByteCountFormatterUseMB, "MB", 100'000, 1, 1'000'000},
    {NSByteCountFormatterUseGB, "GB", 10'000'000, 2, 1'000'000'000},
    {NSByteCountFormatterUseTB, "TB", 10'000'000'000, 2, 1'000'000'000'000},
    {NSByteCountFormatterUsePB, "PB", 10'000'000'000'000, 2, 1'000'000'000'000'000},
    {NSByteCountFormatterUseEB, "EB", 10'000'000'000'000'000, 2, 1'000'000'000'000'000'000},
}};

// A count in the last fraction digits of a unit.
struct Rounded {
  const Unit* unit;
  std::uint64_t steps;
};

std::uint64_t roundedHalfToEven(std::uint64_t count, std::uint64_t step) {
  const std::uint64_t whole = count / step;
  const std::uint64_t twiceLeft = count % step * 2;
  return whole + (twiceLeft > step || (twiceLeft == step && whole % 2 != 0) ? 1 : 0);
}

Rounded inSuitableUnit(std::uint64_t count, std::uint32_t allowedUnits) {
  Rounded suitable{nullptr, 0};
  for (const Unit& unit : kUnits) {
    if ((allowedUnits & unit.flag) == 0) continue;
    if (suitable.unit != nullptr && suitable.steps * suitable.unit->step < unit.bytes) break;
    suitable = {&unit, roundedHalfToEven(count, unit.step)};
  }
  return suitable;
}

std::string_view nameOf(const Rounded& rounded) {
  return rounded.unit->flag == NSByteCountFormatterUseBytes && rounded.steps == 1 ? "byte"
                                                                                  : rounded.unit->name;
}

std::string textOf(std::int64_t byteCount, std::uint32_t units, bool includesUnit,
                   const NumberFormats& numbers) {
  const std::uint32_t chosen = units & NSByteCountFormatterUseAll;
  const std::uint32_t allowed = chosen == 0 ? NSByteCountFormatterUseAll : chosen;
  if (byteCount == 0 && includesUnit) {
    const std::uint32_t kilobytes = allowed & NSByteCountFormatterUseKB;
    return std::string("Zero ").append(inSuitableUnit(0, kilobytes != 0 ? kilobytes : allowed).unit->name);
  }
  const auto bits = static_cast<std::uint64_t>(byteCount);
  const Rounded rounded = inSuitableUnit(byteCount < 0 ? 0 - bits : bits, allowed);
  const auto steps = static_cast<std::int64_t>(byteCount < 0 ? 0 - rounded.steps : rounded.steps);
  std::string text = numbers.text(steps, rounded.unit->fractionDigits);
  if (includesUnit) text.append(" ").append(nameOf(rounded));
  return text;
}

const NumberFormats& formatsOf(const UserSettings& settings) {
  return settings.derived.get<NumberFormats>([&] { return NumberFormats(settings.numbers); });
}

}  // namespace

NSByteCountFormatter::NSByteCountFormatter(const UserSettingsSource& settings) {
  auto snapshot = settings.current();
  const NumberFormats& numbers = formatsOf(*snapshot);
  numbers_ = {std::move(snapshot), &numbers};  // they live as long as the snapshot
}

NSByteCountFormatter::NSByteCountFormatter(const Locale& locale)
    : numbers_(std::make_shared<const NumberFormats>(locale)) {}

std::string NSByteCountFormatter::stringFromByteCount(std::int64_t byteCount) const {
  return textOf(byteCount, allowedUnits_, includesUnit_, *numbers_);
}

// There is one style; a second one needs a parameter of textOf().
std::string NSByteCountFormatter::stringFromByteCount(std::int64_t byteCount,
                                                      NSByteCountFormatterCountStyle /*countStyle*/,
                                                      const UserSettingsSource& settings) {
  const auto snapshot = settings.current();
  return textOf(byteCount, NSByteCountFormatterUseAll, true, formatsOf(*snapshot));
}

}  // namespace tq
