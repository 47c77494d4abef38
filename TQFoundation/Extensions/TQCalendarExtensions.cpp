#include "TQFoundation/Extensions/TQCalendarExtensions.h"

namespace tq {
namespace {

using Component = Calendar::Component;

// By the interval instead of year and month, which do not identify a month in a calendar of eras or cycles.
Date monthStart(Date now, const Calendar& calendar) {
  const auto month = calendar.dateInterval(Component::month, calendar.startOfDay(now));
  return month ? month->start : now;
}

Date movedFromFirstDay(const DateComponents& offset, Date now, const Calendar& calendar,
                       const Calendar& shared) {
  const Date first = shared.startOfDay(monthStart(now, calendar));
  const auto moved = calendar.date(offset, first);
  if (!moved) return now;
  // A first day that begins at 1:00 would pass its wall-clock time on to a day that begins at midnight.
  const bool isStartOfDay = calendar.startOfDay(first) == first;
  return isStartOfDay ? calendar.startOfDay(*moved) : *moved;
}

}  // namespace

Date previousMonth(const Calendar& calendar, const Clock& clock) {
  return monthStart(clock.now(), calendar);
}

Date firstDayOfMonth(const Calendar& calendar, const Clock& clock, const Calendar& shared) {
  return shared.startOfDay(monthStart(clock.now(), calendar));
}

Date lastDayOfMonth(const Calendar& calendar, const Clock& clock, const Calendar& shared) {
  return movedFromFirstDay({.month = 1, .day = -1}, clock.now(), calendar, shared);
}

Date firstDayOfPreviousMonth(const Calendar& calendar, const Clock& clock, const Calendar& shared) {
  return movedFromFirstDay({.month = -1}, clock.now(), calendar, shared);
}

Date lastDayOfPreviousMonth(const Calendar& calendar, const Clock& clock, const Calendar& shared) {
  return movedFromFirstDay({.day = -1}, clock.now(), calendar, shared);
}

std::int64_t numberOfDaysInCurrentMonth(const Calendar& calendar, const Clock& clock) {
  const auto month = calendar.dateInterval(Component::month, clock.now());
  if (!month) return 0;
  // At noon, so that a first day that begins at 1:00 counts as a whole one.
  return days(noon(month->end, calendar), noon(month->start, calendar), calendar);
}

std::int64_t month(const Calendar& calendar, const Clock& clock) {
  return calendar.component(Component::month, clock.now()).value_or(0);
}

}  // namespace tq
