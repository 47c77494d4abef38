// Moves dates by units of a calendar, and counts the units between two dates.
//
// Both go by the wall clock: a date becomes a day number and a time of day, the calendar system moves day
// numbers, and the zone returns the moment at which its clocks show the result.
//
// Invariant: n units lie between two dates exactly if adding n to the first does not pass the second and
// adding one more does. Counts start from an estimate and are proven by adding, so no shortcut has to be
// trusted.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "TQFoundation/Platform/Time/Calendar.h"
#include "TQFoundation/Platform/Time/IcuCalendarData.h"

namespace tq {
namespace {

using Component = Calendar::Component;

using internal::CivilDay;
using internal::IcuCalendarSystem;
using internal::kDay;
using internal::kSecond;

constexpr CivilDay kDaysOfWeek = 7;
constexpr CivilDay kAllDays = IcuCalendarSystem::kLastDay - IcuCalendarSystem::kFirstDay;

// Larger units first, which is the order in which they are added and counted.
constexpr Component kCounted[] = {Component::year,
                                  Component::yearForWeekOfYear,
                                  Component::quarter,
                                  Component::month,
                                  Component::weekOfYear,
                                  Component::weekOfMonth,
                                  Component::weekdayOrdinal,
                                  Component::weekday,
                                  Component::day,
                                  Component::hour,
                                  Component::minute,
                                  Component::second,
                                  Component::nanosecond};

/// The length of a unit that is elapsed time, in milliseconds.
constexpr std::optional<double> elapsedUnit(Component unit) {
  switch (unit) {
    case Component::hour:
      return 3600 * kSecond;
    case Component::minute:
      return 60 * kSecond;
    case Component::second:
      return kSecond;
    case Component::nanosecond:
      return 1e-6;
    default:
      return {};
  }
}

/// The days of a unit that always has as many.
constexpr std::optional<CivilDay> daysOf(Component unit) {
  switch (unit) {
    case Component::weekOfYear:
    case Component::weekOfMonth:
    case Component::weekdayOrdinal:
      return kDaysOfWeek;
    case Component::weekday:
    case Component::day:
      return 1;
    default:
      return {};
  }
}

/// A unit of varying length: ICU's field, how many of those make the unit, and its greatest average length in
/// days.
struct CalendarUnit {
  UCalendarDateFields field;
  std::int64_t count;
  CivilDay days;
};

constexpr std::optional<CalendarUnit> calendarUnit(Component unit) {
  switch (unit) {
    case Component::year:
      return CalendarUnit{UCAL_YEAR, 1, 366};
    case Component::yearForWeekOfYear:
      return CalendarUnit{UCAL_YEAR_WOY, 1, 366};
    case Component::quarter:
      return CalendarUnit{UCAL_MONTH, 3, 92};
    case Component::month:
      return CalendarUnit{UCAL_MONTH, 1, 31};
    default:
      return {};
  }
}

/// Returns the whole units between two dates. Exact also where the difference or the quotient does not fit a
/// double: the part that the subtraction rounds off is kept in `lost`.
double wholeElapsedUnits(Date from, Date to, double unit) {
  const double a = to.time_since_epoch().count();
  const double b = from.time_since_epoch().count();
  const double difference = a - b;
  const double bPart = a - difference;
  const double lost = (a - (difference + bPart)) + (bPart - b);
  // Up to here products of whole numbers are exact, and quotients fit 64 bits.
  constexpr double kExact = 9e15;
  const bool plain = std::abs(difference) < kExact && unit >= 1;
  const double count = plain ? static_cast<double>(static_cast<std::int64_t>(difference / unit))
                             : std::trunc(difference / unit);
  const double rest = (plain ? difference - count * unit : std::fma(-count, unit, difference)) + lost;
  if (difference > 0 && rest < 0) return count - 1;
  if (difference < 0 && rest > 0) return count + 1;
  return count;
}

bool isNear(Date date) {
  constexpr double kNear = 1.8e17;
  return std::abs(date.time_since_epoch().count()) < kNear;
}

std::optional<std::int64_t> whole(double count) {
  constexpr double kLimit = 9.2e18;
  return std::abs(count) < kLimit ? std::optional(static_cast<std::int64_t>(count)) : std::nullopt;
}

}  // namespace

/// `from`, which is what clocks show at `date`, on another day. Where the zone skips that day, the next one
/// in the direction of `step` (1 or -1).
std::optional<Date> Calendar::moved(Date date, const CivilTime& from, std::int64_t toDay,
                                    std::int64_t step) const {
  if (toDay < IcuCalendarSystem::kFirstDay || toDay > IcuCalendarSystem::kLastDay) return {};
  if (toDay == from.day) return date;
  const Date target(Date::duration(static_cast<double>(toDay) * kDay + from.time));
  const Date result = data_->timeZone.firstMoment(target);
  const Date shown = data_->timeZone.wallClock(result);
  if (shown == target) {
    // Straight from the date, lest a fraction of it is lost on the way through the wall clock's reading.
    const auto shift = data_->timeZone.offset(date) - data_->timeZone.offset(result);
    return date + (Date::duration(static_cast<double>(toDay - from.day) * kDay) + shift);
  }
  // Clocks skip the time. Where they skip all of that day it has no later moment either.
  const Date nextDay(Date::duration(static_cast<double>(toDay + 1) * kDay));
  const Date dayStart = data_->timeZone.firstMoment(nextDay - Date::duration(kDay));
  if (data_->timeZone.wallClock(dayStart) < nextDay) return result;
  return moved(date, from, toDay + step, step);
}

std::optional<std::int64_t> Calendar::movedDay(std::int64_t day, Component unit, std::int64_t value) const {
  // Larger values pass every date, and could overflow below.
  if (value < -kAllDays || value > kAllDays) return {};
  if (const auto days = daysOf(unit)) return day + value * *days;
  const auto counted = calendarUnit(unit);
  return counted ? data_->system.moved(day, counted->field, value * counted->count) : std::nullopt;
}

std::optional<Date> Calendar::date(Component byAdding, std::int64_t value, Date to) const {
  const auto now = civilTime(to);
  if (!now) return {};
  if (const auto length = elapsedUnit(byAdding))
    return counted(to + Date::duration(static_cast<double>(value) * *length));
  const auto day = value == 0 && byAdding != Component::era ? now->day : movedDay(now->day, byAdding, value);
  return day ? moved(to, *now, *day, *day > now->day ? 1 : -1) : std::nullopt;
}

std::optional<Date> Calendar::date(const DateComponents& byAdding, Date to) const {
  const auto now = civilTime(to);
  if (!now || byAdding.era.value_or(0) != 0) return {};
  std::optional<CivilDay> day = now->day;
  std::int64_t step = 1;  // of the last unit: a month on and a day back end on a day or before it
  Date::duration elapsed{};
  for (const Component unit : kCounted) {
    const std::int64_t value = byAdding[unit].value_or(0);
    if (value == 0) continue;
    if (const auto length = elapsedUnit(unit)) {
      elapsed += Date::duration(static_cast<double>(value) * *length);
    } else if (day) {
      day = movedDay(*day, unit, value);
      step = value > 0 ? 1 : -1;
    }
  }
  const auto result = day ? moved(to, *now, *day, step) : std::nullopt;
  return result ? counted(*result + elapsed) : std::nullopt;
}

/// Returns the date if it is in range.
std::optional<Date> Calendar::counted(Date date) const {
  return civilTime(date) ? std::optional(date) : std::nullopt;
}

/// Returns the most units that do not pass `to`, searched for from an estimate.
std::optional<std::int64_t> Calendar::countedUnits(Component unit, Date from, Date to,
                                                   std::int64_t estimate) const {
  const std::int64_t step = to < from ? -1 : 1;
  // A date out of range has passed `to`.
  const auto passes = [&](std::int64_t count) {
    const auto reached = date(unit, count, from);
    return !reached || (step > 0 ? *reached > to : *reached < to);
  };
  std::int64_t count = estimate;
  while (count != 0 && passes(count)) count -= step;
  while (!passes(count + step)) count += step;
  return count;
}

std::optional<std::int64_t> Calendar::wholeUnits(Component unit, Date from, Date to) const {
  if (const auto length = elapsedUnit(unit)) {
    // These are in range in every zone, so their wall clocks need not be computed.
    if ((!isNear(from) && !civilTime(from)) || (!isNear(to) && !civilTime(to))) return {};
    return whole(wholeElapsedUnits(from, to, *length));
  }
  const auto begin = civilTime(from);
  const auto end = civilTime(to);
  if (!begin || !end) return {};
  const CivilDay days = end->day - begin->day;
  if (const auto length = daysOf(unit)) return countedUnits(unit, from, to, days / *length);
  const auto counted = calendarUnit(unit);
  if (!counted) return {};
  // The unit's length differs from the assumed one by a tenth at most: so much is left after each round.
  constexpr int kEnoughRounds = 32;
  std::int64_t estimate = 0;
  CivilDay left = days;
  for (int round = 0; round < kEnoughRounds && std::abs(left) > counted->days; ++round) {
    estimate += left / counted->days;
    const auto reached = data_->system.moved(begin->day, counted->field, estimate * counted->count);
    if (!reached) return {};
    left = end->day - *reached;
  }
  if (std::abs(left) > 2 * counted->days) return {};
  return countedUnits(unit, from, to, estimate);
}

DateComponents Calendar::dateComponents(ComponentSet components, Date from, Date to) const {
  DateComponents result;
  if (!civilTime(from) || !civilTime(to)) return result;
  for (const Component unit : kCounted) {
    if (!components.contains(unit)) continue;
    result[unit] = wholeUnits(unit, from, to);
    if (!result[unit]) continue;
    from = date(unit, *result[unit], from).value_or(from);
  }
  return result;
}

}  // namespace tq
