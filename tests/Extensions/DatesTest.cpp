// The neighbours and boundaries of days and months in every time zone.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "TQFoundation/Extensions/TQCalendarExtensions.h"
#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundationTesting/ManualClock.h"
#include "tests/support/Dates.h"

namespace tq::tests {
namespace {

using Component = platform::Calendar::Component;
using namespace std::chrono_literals;
using doubles::ManualClock;

constexpr auto kDay = std::chrono::hours(24);

/// Walks through a zone's days and months, and remembers the first thing that does not hold.
class ZoneWalk {
 public:
  explicit ZoneWalk(const std::string& name)
      : calendar_(calendarOf("gregorian", name.c_str())), zone_(calendar_.timeZone()) {}

  /// Every month from 1970 to 2040, the days around its ends, and every day around a change of the clocks.
  std::string fault() {
    Date month = calendar_.dateInterval(Component::month, utc("1970-01-15"))->start;
    while (month < utc("2040-12-15") && fault_.empty()) {
      const auto interval = calendar_.dateInterval(Component::month, month);
      require(interval && interval->start == month && interval->end > month, "months tile", month);
      require(startOfTheDay(month, calendar_) == month, "a month begins with a day", month);
      if (!fault_.empty()) break;
      walkDays(month, interval->end);
      month = interval->end;
    }
    return fault_;
  }

 private:
  void walkDays(Date from, Date to) {
    // Days far from a month's ends and from changes of the clocks are passed in one go.
    const Date quiet = isQuiet(from, to) ? *calendar_.date(Component::day, -3, to) : from;
    Date date = noon(from, calendar_);
    std::int64_t walked = 1;
    while (fault_.empty()) {
      const Date next = date - from > kDay ? std::max(tomorrow(date, calendar_), noon(quiet, calendar_))
                                           : tomorrow(date, calendar_);
      checkDay(yesterday(next, calendar_), next);
      const bool change = zone_.offset(date - kDay) != zone_.offset(next);
      for (Date probe = date; change && probe < next; probe += 30min) checkMoment(probe);
      if (next >= to) break;
      require(next > date, "tomorrow is later", date);
      walked += interval(next, Component::day, date, calendar_);
      date = next;
    }
    require(walked == daysOf(from, to), "a month is tiled by its days", from);
  }

  [[nodiscard]] bool isQuiet(Date from, Date to) const {
    for (Date date = from - 2 * kDay; date < to + 2 * kDay; date += kDay) {
      if (zone_.offset(date) != zone_.offset(date + kDay)) return false;
    }
    return true;
  }

  /// By the wall clock's own dates, a skipped day included.
  [[nodiscard]] std::int64_t daysOf(Date from, Date to) const {
    return dayNumber(noon(to, calendar_)) - dayNumber(from) - skippedBefore(to);
  }
  [[nodiscard]] std::int64_t skippedBefore(Date monthEnd) const {
    return dayNumber(monthEnd) - dayNumber(yesterday(monthEnd, calendar_)) - 1;
  }
  [[nodiscard]] std::int64_t dayNumber(Date date) const {
    return static_cast<std::int64_t>(std::floor(zone_.wallClock(date).time_since_epoch() / kDay));
  }

  void checkDay(Date date, Date next) {
    require(noon(date, calendar_) == date, "noon of noon", date);
    require(yesterday(next, calendar_) == date, "yesterday of tomorrow is noon", date);
    const Date start = startOfTheDay(next, calendar_);
    require(dayNumber(start - 1ms) < dayNumber(start), "a day's first moment", next);
    require(start > date && start < next, "midnight lies between two noons", next);
    checkMoment(date);
    checkMoment(start - 1ms);
  }

  void checkMoment(Date date) {
    const Date start = startOfTheDay(date, calendar_);
    require(start <= date && dayNumber(start) == dayNumber(date), "a day's start is in it", date);
    require(startOfTheDay(start, calendar_) == start, "start of the start", date);
    const Date middle = noon(date, calendar_);
    const Date twelve = Date(kDay * dayNumber(date)) + 12h;
    const bool isSkipped = zone_.wallClock(middle - 1ms) < twelve && zone_.wallClock(middle) > twelve;
    require(zone_.wallClock(middle) == twelve || isSkipped, "noon is 12:00", date);
  }

  void require(bool holds, const char* what, Date date) {
    if (holds || !fault_.empty()) return;
    fault_ = zone_.identifier() + ": " + what + " at " + shown(date);
  }

  const platform::Calendar calendar_;
  const platform::TimeZone zone_;
  std::string fault_;
};

TEST(Dates, HoldTogetherInEveryZoneFrom1970To2040) {
  const auto names = zoneNames(false);
  ASSERT_GT(names.size(), 300U);
  for (const std::string& name : names) EXPECT_EQ(ZoneWalk(name).fault(), "");
}

struct DayCase {
  const char* zone;
  const char* date;
  const char* start;
  const char* yesterday;
  const char* tomorrow;
};

class DayTest : public testing::TestWithParam<DayCase> {};

TEST_P(DayTest, HasItsFirstMomentAndItsNeighboursNoons) {
  const auto& [zone, date, start, before, after] = GetParam();
  const auto calendar = calendarOf("gregorian", zone);
  EXPECT_EQ(startOfTheDay(utc(date), calendar), utc(start));
  EXPECT_EQ(yesterday(utc(date), calendar), utc(before));
  EXPECT_EQ(tomorrow(utc(date), calendar), utc(after));
}

INSTANTIATE_TEST_SUITE_P(
    OrdinaryDays, DayTest,
    testing::Values(DayCase{"UTC", "2024-03-10 00:30", "2024-03-10", "2024-03-09 12:00", "2024-03-11 12:00"},
                    DayCase{"UTC", "2023-12-31 23:59", "2023-12-31", "2023-12-30 12:00", "2024-01-01 12:00"},
                    DayCase{"UTC", "1969-02-28 23:59", "1969-02-28", "1969-02-27 12:00",
                            "1969-03-01 12:00"}));

INSTANTIATE_TEST_SUITE_P(MidnightDoesNotExist, DayTest,
                         testing::Values(DayCase{"America/Santiago", "2022-09-11 20:00", "2022-09-11 04:00",
                                                 "2022-09-10 16:00", "2022-09-12 15:00"},
                                         DayCase{"Asia/Beirut", "2021-03-27 23:00", "2021-03-27 22:00",
                                                 "2021-03-27 10:00", "2021-03-29 09:00"},
                                         DayCase{"Africa/Cairo", "2023-04-28 05:00", "2023-04-27 22:00",
                                                 "2023-04-27 10:00", "2023-04-29 09:00"},
                                         DayCase{"America/Sao_Paulo", "2018-11-04 03:00", "2018-11-04 03:00",
                                                 "2018-11-03 15:00", "2018-11-05 14:00"}));

INSTANTIATE_TEST_SUITE_P(
    MidnightOccursTwice, DayTest,
    testing::Values(DayCase{"America/Havana", "2022-11-06 05:30", "2022-11-06 04:00", "2022-11-05 16:00",
                            "2022-11-07 17:00"},
                    // Clocks go back from 0:01 to 23:01 of the day before, which is where this moment is.
                    DayCase{"America/St_Johns", "2009-11-01 02:45", "2009-10-31 02:30", "2009-10-30 14:30",
                            "2009-11-01 15:30"}));

INSTANTIATE_TEST_SUITE_P(SkippedDay, DayTest,
                         testing::Values(DayCase{"Pacific/Apia", "2011-12-30 09:00", "2011-12-29 10:00",
                                                 "2011-12-28 22:00", "2011-12-30 22:00"},
                                         DayCase{"Pacific/Apia", "2011-12-30 10:00", "2011-12-30 10:00",
                                                 "2011-12-29 22:00", "2011-12-31 22:00"},
                                         DayCase{"Pacific/Kwajalein", "1993-08-21 06:00", "1993-08-20 12:00",
                                                 "1993-08-20 00:00", "1993-08-22 00:00"}));

INSTANTIATE_TEST_SUITE_P(OddShifts, DayTest,
                         testing::Values(DayCase{"Australia/Lord_Howe", "2022-04-02 15:15",
                                                 "2022-04-02 13:00", "2022-04-02 01:00", "2022-04-04 01:30"},
                                         DayCase{"Europe/Kyiv", "2022-03-27 10:00", "2022-03-26 22:00",
                                                 "2022-03-26 10:00", "2022-03-28 09:00"},
                                         DayCase{"Africa/Monrovia", "1971-06-01 20:00", "1971-06-01 00:44:30",
                                                 "1971-05-31 12:44:30", "1971-06-02 12:44:30"}));

TEST(Dates, OfNoDateAreGivenBackAndCountNothing) {
  const double infinity = std::numeric_limits<double>::infinity();
  const auto calendar = calendarOf("gregorian", "Europe/Kyiv");
  const Date now = utc("2024-03-10");
  for (const double count : {infinity, -infinity, 1e18, -1e300}) {
    const Date date{Date::duration(count)};
    for (const auto& member : {startOfTheDay, noon, yesterday, tomorrow})
      EXPECT_EQ(member(date, calendar), date);
    EXPECT_EQ(day(date), date);
    for (const auto& member : {years, months, weeks, days, hours, minutes, seconds})
      EXPECT_EQ(member(now, date, calendar), 0) << count;
    EXPECT_EQ(interval(date, Component::day, now, calendar), 0);
    EXPECT_EQ(Calendar::lastDayOfMonth(ManualClock(date), calendar, calendar), date);
    EXPECT_EQ(Calendar::numberOfDaysInCurrentMonth(ManualClock(date), calendar), 0);
  }
  EXPECT_TRUE(std::isnan(tomorrow(Date(Date::duration(std::nan(""))), calendar).time_since_epoch().count()));
}

struct MonthCase {
  const char* system;
  const char* zone;
  const char* now;
  const char* first;
  const char* last;
  const char* previousFirst;
  const char* previousLast;
  std::int64_t number;
  std::int64_t days;
};

class MonthTest : public testing::TestWithParam<MonthCase> {};

TEST_P(MonthTest, HasItsBoundaries) {
  const MonthCase& month = GetParam();
  const auto calendar = calendarOf(month.system, month.zone);
  const ManualClock clock(utc(month.now));
  EXPECT_EQ(Calendar::previousMonth(clock, calendar), utc(month.first));
  EXPECT_EQ(Calendar::firstDayOfMonth(clock, calendar, calendar), utc(month.first));
  EXPECT_EQ(Calendar::lastDayOfMonth(clock, calendar, calendar), utc(month.last));
  EXPECT_EQ(Calendar::firstDayOfPreviousMonth(clock, calendar, calendar), utc(month.previousFirst));
  EXPECT_EQ(Calendar::lastDayOfPreviousMonth(clock, calendar, calendar), utc(month.previousLast));
  EXPECT_EQ(Calendar::numberOfDaysInCurrentMonth(clock, calendar), month.days);
  EXPECT_EQ(tq::month(calendar, clock), month.number);
}

INSTANTIATE_TEST_SUITE_P(
    Gregorian, MonthTest,
    testing::Values(MonthCase{"gregorian", "UTC", "2024-03-31 23:59", "2024-03-01", "2024-03-31",
                              "2024-02-01", "2024-02-29", 3, 31},
                    MonthCase{"gregorian", "UTC", "2023-02-01", "2023-02-01", "2023-02-28", "2023-01-01",
                              "2023-01-31", 2, 28},
                    MonthCase{"gregorian", "UTC", "2024-01-15", "2024-01-01", "2024-01-31", "2023-12-01",
                              "2023-12-31", 1, 31},
                    // The month's first day begins at 1:00.
                    MonthCase{"gregorian", "America/Asuncion", "2000-10-15", "2000-10-01 04:00",
                              "2000-10-31 03:00", "2000-09-01 04:00", "2000-09-30 04:00", 10, 31},
                    // The month lacks its last day but one.
                    MonthCase{"gregorian", "Pacific/Apia", "2011-12-15", "2011-12-01 10:00",
                              "2011-12-30 10:00", "2011-11-01 10:00", "2011-11-30 10:00", 12, 31},
                    MonthCase{"gregorian", "UTC", "1582-10-20", "1582-10-11", "1582-10-31", "1582-09-11",
                              "1582-10-10", 10, 21}));

INSTANTIATE_TEST_SUITE_P(OtherSystems, MonthTest,
                         testing::Values(
                             // Adar I, which only leap years have, and the month that follows it.
                             MonthCase{"hebrew", "UTC", "2024-03-01", "2024-02-10", "2024-03-10",
                                       "2024-01-11", "2024-02-09", 6, 30},
                             MonthCase{"hebrew", "UTC", "2024-03-15", "2024-03-11", "2024-04-08",
                                       "2024-02-10", "2024-03-10", 7, 29},
                             // The leap second month, and the first month of a year.
                             MonthCase{"chinese", "UTC", "2023-04-01", "2023-03-22", "2023-04-19",
                                       "2023-02-20", "2023-03-21", 2, 29},
                             MonthCase{"chinese", "UTC", "2024-02-20", "2024-02-10", "2024-03-09",
                                       "2024-01-11", "2024-02-09", 1, 29},
                             // An emperor's first year, which begins with the month or in its midst.
                             MonthCase{"japanese", "UTC", "2019-05-15", "2019-05-01", "2019-05-31",
                                       "2019-04-01", "2019-04-30", 5, 31},
                             MonthCase{"japanese", "UTC", "1989-01-20", "1989-01-01", "1989-01-31",
                                       "1988-12-01", "1988-12-31", 1, 31},
                             MonthCase{"islamic-umalqura", "UTC", "2024-03-20", "2024-03-11", "2024-04-09",
                                       "2024-02-11", "2024-03-10", 9, 30},
                             MonthCase{"buddhist", "UTC", "2024-02-10", "2024-02-01", "2024-02-29",
                                       "2024-01-01", "2024-01-31", 2, 29},
                             MonthCase{"persian", "UTC", "2025-03-20", "2025-02-19", "2025-03-20",
                                       "2025-01-20", "2025-02-18", 12, 30},
                             MonthCase{"persian", "Asia/Tehran", "2022-03-21 20:00", "2022-03-20 20:30",
                                       "2022-04-19 19:30", "2022-02-19 20:30", "2022-03-19 20:30", 1, 31},
                             MonthCase{"coptic", "UTC", "2023-09-10", "2023-09-06", "2023-09-11",
                                       "2023-08-07", "2023-09-05", 13, 6}));

TEST(Months, BeginInTheKeptCalendarsZoneOnceTheUserHasMoved) {
  const auto tokyo = calendarOf("gregorian", "Asia/Tokyo");
  const auto kept = calendarOf("gregorian", "UTC");
  const ManualClock clock(utc("2024-03-15"));
  EXPECT_EQ(Calendar::previousMonth(clock, tokyo), utc("2024-02-29 15:00"));
  EXPECT_EQ(Calendar::firstDayOfMonth(clock, tokyo, kept), utc("2024-02-29"));
}

}  // namespace
}  // namespace tq::tests
