#include "TQFoundation/Extensions/TQDateExtensions.h"

#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"

namespace tq {
namespace {

using Component = Calendar::Component;

Date noonOfNeighbour(Date date, int offset, const Calendar& calendar) {
  const auto noonOfDay = calendar.date(12, 0, 0, date);
  const auto neighbour = noonOfDay ? calendar.date(Component::day, offset, *noonOfDay) : std::nullopt;
  // Where clocks skip a day's noon, its substitute would pass its own time of day on.
  return neighbour ? noon(*neighbour, calendar) : date;
}

std::int64_t difference(Component component, Date from, Date to, const Calendar& calendar) {
  return calendar.wholeUnits(component, from, to).value_or(0);
}

}  // namespace

const Calendar& currentCalendar() {
  static const NeverDestroyed<Calendar> calendar(Calendar::current());
  return *calendar;
}

Date startOfTheDay(Date date, const Calendar& calendar) {
  return calendar.startOfDay(date);
}

Date noon(Date date, const Calendar& calendar) {
  return calendar.date(12, 0, 0, date).value_or(date);
}

Date yesterday(Date date, const Calendar& calendar) {
  return noonOfNeighbour(date, -1, calendar);
}

Date tomorrow(Date date, const Calendar& calendar) {
  return noonOfNeighbour(date, 1, calendar);
}

std::int64_t years(Date date, Date from, const Calendar& calendar) {
  return difference(Component::year, from, date, calendar);
}

std::int64_t months(Date date, Date from, const Calendar& calendar) {
  return difference(Component::month, from, date, calendar);
}

std::int64_t weeks(Date date, Date from, const Calendar& calendar) {
  return difference(Component::weekOfMonth, from, date, calendar);
}

std::int64_t days(Date date, Date from, const Calendar& calendar) {
  return difference(Component::day, from, date, calendar);
}

std::int64_t hours(Date date, Date from, const Calendar& calendar) {
  return difference(Component::hour, from, date, calendar);
}

std::int64_t minutes(Date date, Date from, const Calendar& calendar) {
  return difference(Component::minute, from, date, calendar);
}

std::int64_t seconds(Date date, Date from, const Calendar& calendar) {
  return difference(Component::second, from, date, calendar);
}

std::int64_t interval(Date date, Component ofComponent, Date from, const Calendar& calendar) {
  const auto start = calendar.ordinality(ofComponent, Component::era, from);
  const auto end = calendar.ordinality(ofComponent, Component::era, date);
  return start && end ? *end - *start : 0;
}

Date day(Date date, const UserSettingsSource& settings) {
  const DateFormatter& formatter = dayFormatter();
  return formatter.date(formatter.string(date, settings), settings).value_or(date);
}

}  // namespace tq
