#include "TQFoundation/Platform/Formatting/NSByteCountFormatter.h"

#include <array>
#include <string_view>
#include <utility>

#include "TQFoundation/Platform/Formatting/NumberMarks.h"

namespace tq {
namespace {

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

std::string textOf(std::int64_t byteCount, std::uint32_t units, bool includesUnit, const NumberMarks& marks) {
  const std::uint32_t chosen = units & NSByteCountFormatterUseAll;
  const std::uint32_t allowed = chosen == 0 ? NSByteCountFormatterUseAll : chosen;
  std::string text;
  if (byteCount == 0 && includesUnit) {
    const std::uint32_t kilobytes = allowed & NSByteCountFormatterUseKB;
    return text.append("Zero ").append(inSuitableUnit(0, kilobytes != 0 ? kilobytes : allowed).unit->name);
  }
  const auto bits = static_cast<std::uint64_t>(byteCount);
  const Rounded rounded = inSuitableUnit(byteCount < 0 ? 0 - bits : bits, allowed);
  const bool negative = byteCount < 0 && rounded.steps != 0;
  if (negative) text += marks.negativePrefix.view();
  appendNumber(text, rounded.steps, rounded.unit->fractionDigits, marks);
  if (negative) text += marks.negativeSuffix.view();
  if (includesUnit) text.append(" ").append(nameOf(rounded));
  return text;
}

}  // namespace

NSByteCountFormatter::NSByteCountFormatter(const UserSettingsSource& settings) {
  auto snapshot = settings.current();
  const NumberMarks& marks = NumberMarks::of(*snapshot);
  marks_ = {std::move(snapshot), &marks};  // they live as long as the snapshot
}

NSByteCountFormatter::NSByteCountFormatter(const Locale& locale)
    : marks_(std::make_shared<const NumberMarks>(NumberMarks::of(locale))) {}

std::string NSByteCountFormatter::stringFromByteCount(std::int64_t byteCount) const {
  return textOf(byteCount, allowedUnits_, includesUnit_, *marks_);
}

// There is one style; whoever adds another has textOf() look at it.
std::string NSByteCountFormatter::stringFromByteCount(std::int64_t byteCount,
                                                      NSByteCountFormatterCountStyle /*countStyle*/,
                                                      const UserSettingsSource& settings) {
  const auto snapshot = settings.current();
  return textOf(byteCount, NSByteCountFormatterUseAll, true, NumberMarks::of(*snapshot));
}

}  // namespace tq
