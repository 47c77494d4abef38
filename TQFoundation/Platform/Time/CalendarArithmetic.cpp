// Moving dates by units of a calendar, and counting the units between two of them.
//
// Both go by the wall clock: a date is read as a day and a time of day, days are moved by the rules of the
// calendar system, and the zone says when its clocks show the result. How many units fit is found by moving
// the start, so that what is counted is what can be added.

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

constexpr double kSecond = 1000;
constexpr double kDay = 86'400 * kSecond;
constexpr CivilDay kDaysOfWeek = 7;
constexpr CivilDay kAllDays = IcuCivil::kLastDay - IcuCivil::kFirstDay;

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

/// A unit whose length differs: ICU's field, how many of that it is, and how many days it has at most,
/// in the long run.
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

/// How many whole units lie between two dates. Exact: neither the difference nor the quotient has to fit a
/// double.
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
std::optional<Date> Calendar::moved(Date date, const Reading& from, std::int64_t toDay,
                                    std::int64_t step) const {
  if (toDay < IcuCivil::kFirstDay || toDay > IcuCivil::kLastDay) return {};
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
  // More than all days there are leads nowhere, and need not be counted with.
  if (value < -kAllDays || value > kAllDays) return {};
  if (const auto days = daysOf(unit)) return day + value * *days;
  const auto counted = calendarUnit(unit);
  return counted ? data_->civil.moved(day, counted->field, value * counted->count) : std::nullopt;
}

std::optional<Date> Calendar::date(Component byAdding, std::int64_t value, Date to) const {
  const auto now = reading(to);
  if (!now) return {};
  if (const auto length = elapsedUnit(byAdding))
    return counted(to + Date::duration(static_cast<double>(value) * *length));
  const auto day = value == 0 && byAdding != Component::era ? now->day : movedDay(now->day, byAdding, value);
  return day ? moved(to, *now, *day, *day > now->day ? 1 : -1) : std::nullopt;
}

std::optional<Date> Calendar::date(const DateComponents& byAdding, Date to) const {
  const auto now = reading(to);
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

/// The date, if calendars reach it.
std::optional<Date> Calendar::counted(Date date) const {
  return reading(date) ? std::optional(date) : std::nullopt;
}

/// Looks for the count around an estimate: the most units that do not pass `to`.
std::optional<std::int64_t> Calendar::countedUnits(Component unit, Date from, Date to,
                                                   std::int64_t estimate) const {
  const std::int64_t step = to < from ? -1 : 1;
  // Where nothing can be added any more, `to` is passed.
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
    // Most dates are reached in every zone, and their wall clocks need not be looked at.
    if ((!isNear(from) && !reading(from)) || (!isNear(to) && !reading(to))) return {};
    return whole(wholeElapsedUnits(from, to, *length));
  }
  const auto begin = reading(from);
  const auto end = reading(to);
  if (!begin || !end) return {};
  const CivilDay days = end->day - begin->day;
  if (const auto length = daysOf(unit)) return countedUnits(unit, from, to, days / *length);
  const auto counted = calendarUnit(unit);
  if (!counted) return {};
  // The unit's length differs from what is taken for it by a tenth at most, which is left after each round.
  constexpr int kEnoughRounds = 32;
  std::int64_t estimate = 0;
  CivilDay left = days;
  for (int round = 0; round < kEnoughRounds && std::abs(left) > counted->days; ++round) {
    estimate += left / counted->days;
    const auto reached = data_->civil.moved(begin->day, counted->field, estimate * counted->count);
    if (!reached) return {};
    left = end->day - *reached;
  }
  if (std::abs(left) > 2 * counted->days) return {};
  return countedUnits(unit, from, to, estimate);
}

DateComponents Calendar::dateComponents(ComponentSet components, Date from, Date to) const {
  DateComponents result;
  if (!reading(from) || !reading(to)) return result;
  for (const Component unit : kCounted) {
    if (!components.contains(unit)) continue;
    result[unit] = wholeUnits(unit, from, to);
    if (!result[unit]) continue;
    from = date(unit, *result[unit], from).value_or(from);
  }
  return result;
}

}  // namespace tq
