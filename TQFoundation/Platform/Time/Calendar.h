#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "TQFoundation/Platform/Base/Date.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Localization/Locale.h"
#include "TQFoundation/Platform/Ports/UserSettings.h"
#include "TQFoundation/Platform/Time/DateComponents.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {

/// A calendar system in a time zone, with the weeks of a locale.
///
///     const Calendar user = Calendar::current();
///     const Date today = user.startOfDay(now);
///     const auto nextMonth = user.date({.month = 1}, today);                    // optional
///     const auto days = user.dateComponents({Calendar::Component::day}, today, deadline).day;
///
/// Years, months, weeks and days are civil: a day of 23 or 25 hours is one day, and so is one that was
/// skipped where a zone changed sides of the date line. A day's first moment is the first instant that exists
/// in it. A wall-clock time that occurs twice means its first occurrence; one that is skipped means the
/// moment at which clocks go forward past it. Hours, minutes and seconds are elapsed time.
///
/// Calendar rules are ICU's: Gregorian dates before 15 October 1582 are Julian. Dates from some 5.8 million
/// years ago to as many from now are supported; for others, and for NaN and infinity, results are absent.
///
/// Immutable after construction; share freely. Copies are cheap. Threads do not wait for each other.
class TQ_API Calendar {
 public:
  using Component = DateComponents::Component;

  /// The user's calendar: the system and the weeks of the locale for dates (its `calendar` keyword, else what
  /// is usual in its region), in the user's time zone. While the settings stay the same, so does what it
  /// shares.
  [[nodiscard]] static Calendar current(const UserSettingsSource& settings = *UserSettingsSource::shared());

  /// The calendar of the system `identifier`, by Unicode's names ("gregorian", "buddhist", "chinese",
  /// "coptic", "dangi", "ethiopic", "hebrew", "indian", "islamic", "islamic-civil", "islamic-umalqura",
  /// "iso8601", "japanese", "persian", "roc"), or absent when there is none.
  [[nodiscard]] static std::optional<Calendar> make(std::string_view identifier, const TimeZone& timeZone,
                                                    const Locale& locale);

  [[nodiscard]] const std::string& identifier() const noexcept;
  [[nodiscard]] const TimeZone& timeZone() const noexcept;
  [[nodiscard]] const Locale& locale() const noexcept;

  /// Returns the day on which weeks begin, 1 being Sunday.
  [[nodiscard]] int firstWeekday() const noexcept;

  /// Returns the least number of days of a month or year that its first week contains.
  [[nodiscard]] int minimumDaysInFirstWeek() const noexcept;

  /// Returns the first moment of the date's day; the date itself if it is out of range.
  [[nodiscard]] Date startOfDay(Date date) const;

  /// Returns the moment on the day of `of` when clocks show this time, the first of two; the next existing
  /// moment if they skip it. Absent if it is not a time of day (0:00:00 to 23:59:59).
  [[nodiscard]] std::optional<Date> date(int bySettingHour, int minute, int second, Date of) const;

  /// Returns `to` moved by `value` units.
  ///
  /// From a year down to a day the wall-clock time is kept where it exists. A day that the target month lacks
  /// becomes its last one; a day that the zone skipped becomes its neighbour in the direction of the move, of
  /// several moves the last. Eras cannot be added.
  [[nodiscard]] std::optional<Date> date(Component byAdding, std::int64_t value, Date to) const;

  /// Returns `to` moved by an offset, its larger units first; absent fields count as 0.
  [[nodiscard]] std::optional<Date> date(const DateComponents& byAdding, Date to) const;

  /// Returns the first moment with this era, year, month, day and time; other fields are ignored. The era
  /// defaults to that of 2040, every other field to its smallest value. Fields beyond their range carry over:
  /// 32 January is 1 February.
  [[nodiscard]] std::optional<Date> date(const DateComponents& from) const;

  /// Returns one field of a date.
  [[nodiscard]] std::optional<std::int64_t> component(Component component, Date from) const;

  /// Returns the requested fields of a date; `isLeapMonth` comes with the month. All are absent if the date
  /// is out of range.
  [[nodiscard]] DateComponents dateComponents(ComponentSet components, Date from) const;

  /// Returns the whole units from `from` to `to`: of the largest one requested, then of the next one in the
  /// rest, and so on. All are negative if `to` is earlier. Truncated toward zero: the most units that can be
  /// added to `from` without passing `to`.
  [[nodiscard]] DateComponents dateComponents(ComponentSet components, Date from, Date to) const;

  /// Returns the same for a single unit.
  [[nodiscard]] std::optional<std::int64_t> wholeUnits(Component unit, Date from, Date to) const;

  /// Returns the year, month, week or day that contains a date, from its first moment to that of the next;
  /// absent for other components. (Where clocks are set back over midnight, part of a day may lie in the
  /// interval of the next.)
  [[nodiscard]] std::optional<DateInterval> dateInterval(Component of, Date date) const;

  /// Returns the 1-based ordinal of the unit that contains the date within its era.
  ///
  /// `in` must be `era`. Counted by the wall clock, 24 hours a day. Before an era that counts forward, and in
  /// one that counts backward like the years before Christ, ordinals continue downward: 0, -1 and so on.
  /// Absent for eras, weekdays, nanoseconds, years of weeks, and for quarters unless every year has 12
  /// months.
  [[nodiscard]] std::optional<std::int64_t> ordinality(Component of, Component in, Date date) const;

 private:
  struct Data;
  struct CivilTime;
  explicit Calendar(std::shared_ptr<const Data> data) : data_(std::move(data)) {}
  static Calendar withSystemOf(const std::string& icuLocale, const TimeZone& timeZone, const Locale& locale);

  [[nodiscard]] std::optional<CivilTime> civilTime(Date date) const;
  [[nodiscard]] Date moment(const CivilTime& civil) const;
  [[nodiscard]] std::optional<Date> moved(Date date, const CivilTime& from, std::int64_t toDay,
                                          std::int64_t step) const;
  [[nodiscard]] std::optional<std::int64_t> movedDay(std::int64_t day, Component unit,
                                                     std::int64_t value) const;
  [[nodiscard]] std::optional<Date> counted(Date date) const;
  [[nodiscard]] std::optional<std::int64_t> countedUnits(Component unit, Date from, Date to,
                                                         std::int64_t estimate) const;
  [[nodiscard]] std::int64_t weekStart(std::int64_t day) const;
  [[nodiscard]] std::optional<std::int64_t> ordinalOfDay(Component unit, std::int64_t day) const;

  std::shared_ptr<const Data> data_;  // never null
};

}  // namespace tq
