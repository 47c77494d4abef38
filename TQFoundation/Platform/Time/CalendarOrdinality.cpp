// Positions of units within their era.

#include <cstdint>
#include <optional>

#include "TQFoundation/Platform/Time/Calendar.h"
#include "TQFoundation/Platform/Time/IcuCalendarData.h"

namespace tq {
namespace {

using Component = Calendar::Component;
using internal::CivilDay;
using internal::IcuCalendarSystem;
using internal::kDay;

std::int64_t ordinalYear(const IcuCalendarSystem& system, const IcuCalendarSystem::Place& place) {
  return system.countsBackward(place.era) ? 1 - place.year : place.year;
}

/// Returns the 1-based ordinal of the day's month, counted from the month that contains the era's first day.
std::optional<std::int64_t> ordinalMonth(const IcuCalendarSystem& system, CivilDay base, CivilDay day) {
  const auto firstMonth = system.first(UCAL_DAY_OF_MONTH, base);
  const auto month = system.first(UCAL_DAY_OF_MONTH, day);
  if (!firstMonth || !month) return {};
  // No month is longer than 31 days, so no round goes too far, and each leaves about a tenth of the rest.
  constexpr CivilDay kLongestMonth = 31;
  constexpr int kEnoughRounds = 32;
  std::int64_t count = 0;
  CivilDay left = *month - *firstMonth;
  for (int round = 0; round < kEnoughRounds && left != 0; ++round) {
    const std::int64_t step = left / kLongestMonth;
    count += step != 0 ? step : (left > 0 ? 1 : -1);
    const auto reached = system.moved(*firstMonth, UCAL_MONTH, count);
    if (!reached) return {};
    left = *month - *reached;
  }
  if (left != 0) return {};
  return count + 1;
}

std::optional<std::int64_t> ordinalQuarter(const IcuCalendarSystem& system, CivilDay base, CivilDay day) {
  if (!system.hasTwelveMonths()) return {};
  const auto first = system.place(base);
  const auto place = system.place(day);
  const auto months = ordinalMonth(system, base, day);
  if (!first || !place || !months) return {};
  // Counted from the quarter that contains the era's first day; before it, rounded down.
  const std::int64_t sinceQuarter = *months - 1 + first->month % 3;
  return (sinceQuarter >= 0 ? sinceQuarter / 3 : (sinceQuarter - 2) / 3) + 1;
}

}  // namespace

std::int64_t Calendar::weekStart(std::int64_t day) const {
  constexpr std::int64_t kWeek = 7;
  constexpr std::int64_t kThursday = 4;  // 1970-01-01, counted from Sunday = 0
  const std::int64_t sinceFirst = (day + kThursday - (data_->firstWeekday - 1)) % kWeek;
  return day - (sinceFirst + kWeek) % kWeek;
}

std::optional<std::int64_t> Calendar::ordinalOfDay(Component unit, std::int64_t day) const {
  const IcuCalendarSystem& system = data_->system;
  const auto place = system.place(day);
  const auto base = place ? system.eraBase(place->era) : std::nullopt;
  if (!base) return {};
  switch (unit) {
    case Component::year:
      return ordinalYear(system, *place);
    case Component::quarter:
      return ordinalQuarter(system, *base, day);
    case Component::month:
      return ordinalMonth(system, *base, day);
    case Component::weekOfYear:
    case Component::weekOfMonth:
      return (weekStart(day) - weekStart(*base)) / 7 + 1;
    case Component::day:
      return day - *base + 1;
    default:
      return {};
  }
}

std::optional<std::int64_t> Calendar::ordinality(Component of, Component in, Date date) const {
  const auto now = civilTime(date);
  if (!now || in != Component::era) return {};
  std::int64_t perDay = 0;
  switch (of) {
    case Component::hour:
      perDay = 24;
      break;
    case Component::minute:
      perDay = 1440;
      break;
    case Component::second:
      perDay = 86'400;
      break;
    default:
      return ordinalOfDay(of, now->day);
  }
  const auto day = ordinalOfDay(Component::day, now->day);
  if (!day) return {};
  const double length = kDay / static_cast<double>(perDay);
  return (*day - 1) * perDay + static_cast<std::int64_t>(now->time / length) + 1;
}

}  // namespace tq
