#include "TQFoundation/Extensions/TQCalendarExtensions.h"

namespace tq {
namespace {

using platform::Clock;
using platform::DateComponents;
using Component = platform::Calendar::Component;

// With the interval instead of year and month, as these do not tell a month in a calendar of eras or cycles.
Date monthStart(Date now, const platform::Calendar& calendar) {
  const auto month = calendar.dateInterval(Component::month, calendar.startOfDay(now));
  return month ? month->start : now;
}

Date movedFromFirstDay(const DateComponents& offset, Date now, const platform::Calendar& calendar,
                       const platform::Calendar& shared) {
  const Date first = shared.startOfDay(monthStart(now, calendar));
  const auto moved = calendar.date(offset, first);
  if (!moved) return now;
  // A first day that begins at 1:00 would hand its wall-clock time on to a day that begins at midnight.
  const bool isStartOfDay = calendar.startOfDay(first) == first;
  return isStartOfDay ? calendar.startOfDay(*moved) : *moved;
}

}  // namespace

Date Calendar::previousMonth(const Clock& clock, const platform::Calendar& calendar) {
  return monthStart(clock.now(), calendar);
}

Date Calendar::firstDayOfMonth(const Clock& clock, const platform::Calendar& calendar,
                               const platform::Calendar& shared) {
  return shared.startOfDay(monthStart(clock.now(), calendar));
}

Date Calendar::lastDayOfMonth(const Clock& clock, const platform::Calendar& calendar,
                              const platform::Calendar& shared) {
  return movedFromFirstDay({.month = 1, .day = -1}, clock.now(), calendar, shared);
}

Date Calendar::firstDayOfPreviousMonth(const Clock& clock, const platform::Calendar& calendar,
                                       const platform::Calendar& shared) {
  return movedFromFirstDay({.month = -1}, clock.now(), calendar, shared);
}

Date Calendar::lastDayOfPreviousMonth(const Clock& clock, const platform::Calendar& calendar,
                                      const platform::Calendar& shared) {
  return movedFromFirstDay({.day = -1}, clock.now(), calendar, shared);
}

std::int64_t Calendar::numberOfDaysInCurrentMonth(const Clock& clock, const platform::Calendar& calendar) {
  const auto month = calendar.dateInterval(Component::month, clock.now());
  if (!month) return 0;
  // At noon, so that a first day that begins at 1:00 counts as a whole one.
  return days(noon(month->end, calendar), noon(month->start, calendar), calendar);
}

std::int64_t month(const platform::Calendar& calendar, const Clock& clock) {
  return calendar.component(Component::month, clock.now()).value_or(0);
}

}  // namespace tq
