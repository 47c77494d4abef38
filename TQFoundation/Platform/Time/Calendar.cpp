#include "TQFoundation/Platform/Time/Calendar.h"

#include <unicode/calendar.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Time/IcuCalendarData.h"

namespace tq {
namespace {

using internal::CivilDay;
using internal::IcuCalendarSystem;
using internal::kDay;
using internal::kSecond;

constexpr double kFarthest = 1.9e17;  // milliseconds; beyond all days that ICU counts, within 64 bits

using Component = Calendar::Component;

/// Locales keep a calendar keyword only if Unicode's data has the system.
bool isSystem(std::string_view identifier) {
  const std::string name = std::string("en@calendar=").append(identifier);
  return identifier.find(';') == std::string_view::npos && Locale(name).identifier() == name;
}

std::optional<UCalendarDateFields> fieldOf(Component component) {
  switch (component) {
    case Component::weekday:
      return UCAL_DAY_OF_WEEK;
    case Component::weekdayOrdinal:
      return UCAL_DAY_OF_WEEK_IN_MONTH;
    case Component::weekOfMonth:
      return UCAL_WEEK_OF_MONTH;
    case Component::weekOfYear:
      return UCAL_WEEK_OF_YEAR;
    case Component::yearForWeekOfYear:
      return UCAL_YEAR_WOY;
    default:
      return {};
  }
}

constexpr Component kTimeComponents[] = {Component::hour, Component::minute, Component::second,
                                         Component::nanosecond};

std::int64_t timeComponent(Component component, double time) {
  const double second = std::floor(time / kSecond);
  const auto whole = static_cast<std::int64_t>(second);
  switch (component) {
    case Component::hour:
      return whole / 3600;
    case Component::minute:
      return whole / 60 % 60;
    case Component::second:
      return whole % 60;
    default:
      return static_cast<std::int64_t>((time - second * kSecond) * 1e6);
  }
}

void putPlace(const IcuCalendarSystem::Place& place, ComponentSet wanted, DateComponents& parts) {
  if (wanted.contains(Component::era)) parts.era = place.era;
  if (wanted.contains(Component::year)) parts.year = place.year;
  if (wanted.contains(Component::month)) {
    parts.month = place.month + 1;
    parts.isLeapMonth = place.leapMonth;
  }
  if (wanted.contains(Component::day)) parts.day = place.day;
  if (wanted.contains(Component::quarter)) parts.quarter = std::min<std::int64_t>(place.month / 3, 3) + 1;
}

constexpr std::int64_t kNoMonth = std::int64_t{1} << 40;  // farther than any, and safe to count with

// Its era is the default.
constexpr CivilDay kNowadays = 25'567;  // 2040-01-01

}  // namespace

Calendar Calendar::withSystemOf(const std::string& icuLocale, const TimeZone& timeZone,
                                const Locale& locale) {
  // A zone of ICU's database: `TimeZone::getGMT()` splits each date into fields to find its offset.
  const std::unique_ptr<const icu::TimeZone> inUTC(icu::TimeZone::createTimeZone("Etc/UTC"));
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(
      icu::Calendar::createInstance(*inUTC, icu::Locale(icuLocale.c_str()), status));
  if (U_FAILURE(status)) {
    status = U_ZERO_ERROR;
    calendar = std::make_unique<icu::GregorianCalendar>(*inUTC, status);
  }
  calendar->setLenient(1);
  const int firstWeekday = calendar->getFirstDayOfWeek(status);
  const int minimumDays = calendar->getMinimalDaysInFirstWeek();
  const std::string identifier = calendar->getType();
  return Calendar(std::shared_ptr<const Data>(new Data{identifier, timeZone, locale, firstWeekday,
                                                       minimumDays, IcuCalendarSystem(std::move(calendar))}));
}

std::optional<Calendar> Calendar::make(std::string_view identifier, const TimeZone& timeZone,
                                       const Locale& locale) {
  if (!isSystem(identifier)) return {};
  icu::Locale wanted(locale.identifier().c_str());
  UErrorCode status = U_ZERO_ERROR;
  wanted.setKeywordValue("calendar", std::string(identifier).c_str(), status);
  if (U_FAILURE(status)) return {};
  return withSystemOf(wanted.getName(), timeZone, locale);
}

Calendar Calendar::current(const UserSettingsSource& settings) {
  const auto user = settings.current();
  return user->derived.get<Calendar>(
      [&] { return withSystemOf(user->dates.identifier(), user->timeZone, user->dates); });
}

const std::string& Calendar::identifier() const noexcept {
  return data_->identifier;
}
const TimeZone& Calendar::timeZone() const noexcept {
  return data_->timeZone;
}
const Locale& Calendar::locale() const noexcept {
  return data_->locale;
}
int Calendar::firstWeekday() const noexcept {
  return data_->firstWeekday;
}
int Calendar::minimumDaysInFirstWeek() const noexcept {
  return data_->minimumDaysInFirstWeek;
}

std::optional<Calendar::CivilTime> Calendar::civilTime(Date date) const {
  const double shown = data_->timeZone.wallClock(date).time_since_epoch().count();
  if (!(std::abs(shown) < kFarthest)) return {};
  double day = std::floor(shown / kDay);
  // The division may round up to the day that is to come.
  if (day * kDay > shown) --day;
  const auto number = static_cast<CivilDay>(day);
  if (number < IcuCalendarSystem::kFirstDay || number > IcuCalendarSystem::kLastDay) return {};
  return CivilTime{number, shown - day * kDay};
}

Date Calendar::moment(const CivilTime& civil) const {
  return data_->timeZone.firstMoment(
      Date(Date::duration(static_cast<double>(civil.day) * kDay + civil.time)));
}

Date Calendar::startOfDay(Date date) const {
  const auto now = civilTime(date);
  return now ? moment({.day = now->day}) : date;
}

std::optional<Date> Calendar::date(int bySettingHour, int minute, int second, Date of) const {
  const auto inRange = [](int value, int end) { return value >= 0 && value < end; };
  const auto now = civilTime(of);
  if (!now || !inRange(bySettingHour, 24) || !inRange(minute, 60) || !inRange(second, 60)) return {};
  const double seconds = (bySettingHour * 60.0 + minute) * 60 + second;
  return moment({.day = now->day, .time = seconds * kSecond});
}

std::optional<Date> Calendar::date(const DateComponents& from) const {
  const auto nowadays = data_->system.place(kNowadays);
  const auto day = data_->system.dayAt({.era = from.era.value_or(nowadays->era),
                                        .year = from.year.value_or(1),
                                        .month = std::max(from.month.value_or(1), -kNoMonth) - 1,
                                        .leapMonth = from.isLeapMonth.value_or(false),
                                        .day = from.day.value_or(1)});
  if (!day) return {};
  const auto part = [](std::optional<std::int64_t> value) { return static_cast<double>(value.value_or(0)); };
  const double seconds = (part(from.hour) * 60 + part(from.minute)) * 60 + part(from.second);
  return counted(moment({.day = *day, .time = seconds * kSecond + part(from.nanosecond) / 1e6}));
}

std::optional<std::int64_t> Calendar::component(Component component, Date from) const {
  return dateComponents({component}, from)[component];
}

DateComponents Calendar::dateComponents(ComponentSet components, Date from) const {
  DateComponents parts;
  const auto now = civilTime(from);
  if (!now) return parts;
  for (const Component component : kTimeComponents) {
    if (components.contains(component)) parts[component] = timeComponent(component, now->time);
  }
  for (const Component component : {Component::weekday, Component::weekdayOrdinal, Component::weekOfMonth,
                                    Component::weekOfYear, Component::yearForWeekOfYear}) {
    if (components.contains(component)) parts[component] = data_->system.field(*fieldOf(component), now->day);
  }
  constexpr ComponentSet kPlace = {Component::era, Component::year, Component::month, Component::day,
                                   Component::quarter};
  if (components.intersects(kPlace)) {
    if (const auto place = data_->system.place(now->day)) putPlace(*place, components, parts);
  }
  return parts;
}

std::optional<DateInterval> Calendar::dateInterval(Component of, Date date) const {
  const auto now = civilTime(date);
  if (!now) return {};
  std::optional<CivilDay> first;
  std::optional<CivilDay> next;
  switch (of) {
    case Component::year:
      first = data_->system.first(UCAL_DAY_OF_YEAR, now->day);
      if (first) next = data_->system.moved(*first, UCAL_YEAR, 1);
      break;
    case Component::month:
      first = data_->system.first(UCAL_DAY_OF_MONTH, now->day);
      if (first) next = data_->system.moved(*first, UCAL_MONTH, 1);
      break;
    case Component::weekOfMonth:
    case Component::weekOfYear:
      first = weekStart(now->day);
      next = *first + 7;
      break;
    case Component::day:
      first = now->day;
      next = *first + 1;
      break;
    default:
      break;
  }
  if (!first || !next) return {};
  return DateInterval{moment({.day = *first}), moment({.day = *next})};
}

}  // namespace tq
