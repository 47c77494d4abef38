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
#include "TQFoundation/Platform/Time/DateComponents.h"
#include "TQFoundation/Platform/TimeZones/TimeZone.h"

namespace tq {

/// How people somewhere divide time: a calendar system, in a time zone, with a locale's weeks.
///
///     const Calendar user = Calendar::current();
///     const Date today = user.startOfDay(now);
///     const auto nextMonth = user.date({.month = 1}, today);                    // optional
///     const auto days = user.dateComponents({Calendar::Component::day}, today, deadline).day;
///
/// Years, months, weeks and days are civil: a day of 23 or 25 hours is one day, and so is one that was
/// skipped where a zone changed sides of the date line. A day's first moment is the first instant that exists
/// in it. Where a wall-clock time is looked for that occurs twice, the first one is meant; where it is
/// skipped, the moment at which clocks go forward past it. Hours, minutes and seconds are elapsed time.
///
/// What changes the number of days that a calendar's rules give is taken as ICU has it: Gregorian dates
/// before 15 October 1582 are Julian ones. Dates from some 5.8 million years ago to as many from now can be
/// asked for; for others, and for a date that is none, answers are absent.
///
/// Immutable after construction; share freely. Copies are cheap, and threads do not wait for each other.
class TQ_API Calendar {
 public:
  using Component = DateComponents::Component;

  /// The user's calendar: the system and the weeks of `Locale::current()` (its `calendar` keyword, else what
  /// is usual in its region), in `TimeZone::current()`. Both are read anew at each call.
  [[nodiscard]] static Calendar current();

  /// The calendar of the system `identifier`, by Unicode's names ("gregorian", "buddhist", "chinese",
  /// "coptic", "dangi", "ethiopic", "hebrew", "indian", "islamic", "islamic-civil", "islamic-umalqura",
  /// "iso8601", "japanese", "persian", "roc"), or absent when there is none.
  [[nodiscard]] static std::optional<Calendar> make(std::string_view identifier, const TimeZone& timeZone,
                                                    const Locale& locale);

  [[nodiscard]] const std::string& identifier() const noexcept;
  [[nodiscard]] const TimeZone& timeZone() const noexcept;
  [[nodiscard]] const Locale& locale() const noexcept;

  /// The day that weeks begin with, 1 being Sunday.
  [[nodiscard]] int firstWeekday() const noexcept;

  /// How many days a month's or a year's first week has in it at least.
  [[nodiscard]] int minimumDaysInFirstWeek() const noexcept;

  /// The first moment of the date's day; the date itself where it is none.
  [[nodiscard]] Date startOfDay(Date date) const;

  /// The moment on the day of `of` when clocks show this time, for the first time if they do so twice; the
  /// next existing moment where they skip it. Absent when it is no time of day (0:00:00 to 23:59:59).
  [[nodiscard]] std::optional<Date> date(int bySettingHour, int minute, int second, Date of) const;

  /// `to` moved by as many units.
  ///
  /// From a year down to a day the wall-clock time is kept where it exists. A day that the target month lacks
  /// becomes its last one; a day that the zone skipped becomes its neighbour in the direction of the move, of
  /// several moves the last. Eras cannot be added.
  [[nodiscard]] std::optional<Date> date(Component byAdding, std::int64_t value, Date to) const;

  /// `to` moved by an offset, its larger units first; parts that are absent count as 0.
  [[nodiscard]] std::optional<Date> date(const DateComponents& byAdding, Date to) const;

  /// The first moment of this description, by its era, year, month, day and time; other parts are not looked
  /// at. Without an era it is the one of the years around 2040, and what else is absent is the smallest that
  /// there is. Parts beyond their range carry over: 32 January is 1 February.
  [[nodiscard]] std::optional<Date> date(const DateComponents& from) const;

  /// One part of a date.
  [[nodiscard]] std::optional<std::int64_t> component(Component component, Date from) const;

  /// The parts of a date that are asked for; with the month comes `isLeapMonth`. All are absent for a date
  /// that is none.
  [[nodiscard]] DateComponents dateComponents(ComponentSet components, Date from) const;

  /// How many whole units it takes from `from` to `to`: of the largest one asked for, then what is left over
  /// in the next one and so on. All are negative when `to` is the earlier. Cut toward zero: the most units
  /// that can be added to `from` without passing `to`.
  [[nodiscard]] DateComponents dateComponents(ComponentSet components, Date from, Date to) const;

  /// The same for a single unit, without the rest.
  [[nodiscard]] std::optional<std::int64_t> wholeUnits(Component unit, Date from, Date to) const;

  /// The year, month, week or day that holds a date, from its first moment to that of the next; absent for
  /// other components. (Where clocks are set back over midnight, part of a day may lie in the next one's.)
  [[nodiscard]] std::optional<DateInterval> dateInterval(Component of, Date date) const;

  /// The how manieth unit of its era holds the date, the first being 1.
  ///
  /// `in` is `era`. Counted by the wall clock, 24 hours a day. Before an era that counts forward, and in one
  /// that counts backward like the years before Christ, it goes on counting down: 0, -1 and so on. Absent for
  /// eras, weekdays, nanoseconds, years of weeks, and for quarters where the year does not have 12 months.
  [[nodiscard]] std::optional<std::int64_t> ordinality(Component of, Component in, Date date) const;

 private:
  struct Data;
  struct Reading;
  explicit Calendar(std::shared_ptr<const Data> data) : data_(std::move(data)) {}
  static Calendar withSystemOf(const std::string& icuLocale, const TimeZone& timeZone, const Locale& locale);

  [[nodiscard]] std::optional<Reading> reading(Date date) const;
  [[nodiscard]] Date moment(const Reading& reading) const;
  [[nodiscard]] std::optional<Date> moved(Date date, const Reading& from, std::int64_t toDay,
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
