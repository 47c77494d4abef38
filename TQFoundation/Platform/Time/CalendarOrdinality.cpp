// Positions of units within their era.

#include <cstdint>
#include <optional>

#include "TQFoundation/Platform/Time/Calendar.h"
#include "TQFoundation/Platform/Time/IcuCalendarData.h"

namespace tq {
namespace {

using Component = Calendar::Component;

std::int64_t ordinalYear(const IcuCivil& civil, const IcuCivil::Place& place) {
  return civil.countsBackward(place.era) ? 1 - place.year : place.year;
}

/// How many months have begun after the one that holds the era's first day, and this one.
std::optional<std::int64_t> ordinalMonth(const IcuCivil& civil, CivilDay base, CivilDay day) {
  const auto firstMonth = civil.first(UCAL_DAY_OF_MONTH, base);
  const auto month = civil.first(UCAL_DAY_OF_MONTH, day);
  if (!firstMonth || !month) return {};
  // No month is longer than 31 days, so that no round goes too far, and each leaves a tenth.
  constexpr CivilDay kLongestMonth = 31;
  constexpr int kEnoughRounds = 32;
  std::int64_t count = 0;
  CivilDay left = *month - *firstMonth;
  for (int round = 0; round < kEnoughRounds && left != 0; ++round) {
    const std::int64_t step = left / kLongestMonth;
    count += step != 0 ? step : (left > 0 ? 1 : -1);
    const auto reached = civil.moved(*firstMonth, UCAL_MONTH, count);
    if (!reached) return {};
    left = *month - *reached;
  }
  if (left != 0) return {};
  return count + 1;
}

std::optional<std::int64_t> ordinalQuarter(const IcuCivil& civil, CivilDay base, CivilDay day) {
  if (!civil.hasTwelveMonths()) return {};
  const auto first = civil.place(base);
  const auto place = civil.place(day);
  const auto months = ordinalMonth(civil, base, day);
  if (!first || !place || !months) return {};
  // Counted from the quarter that holds the era's first day; months before the first one count down.
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
  const IcuCivil& civil = data_->civil;
  const auto place = civil.place(day);
  const auto base = place ? civil.eraBase(place->era) : std::nullopt;
  if (!base) return {};
  switch (unit) {
    case Component::year:
      return ordinalYear(civil, *place);
    case Component::quarter:
      return ordinalQuarter(civil, *base, day);
    case Component::month:
      return ordinalMonth(civil, *base, day);
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
  const auto now = reading(date);
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
  const auto length = 86'400'000.0 / static_cast<double>(perDay);
  return (*day - 1) * perDay + static_cast<std::int64_t>(now->time / length) + 1;
}

}  // namespace tq
