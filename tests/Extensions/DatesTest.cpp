// The neighbours and boundaries of days and months in every time zone, time zones beside the C library's, and
// where the user's zone and calendar come from.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <random>
#include <string>
#include <tuple>

#include "TQFoundation/Extensions/TQCalendarExtensions.h"
#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundationTesting/ManualClock.h"
#include "TQFoundationTesting/ManualUserSettings.h"
#include "tests/support/ClockChanges.h"
#include "tests/support/Dates.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using Component = Calendar::Component;
using namespace std::chrono_literals;

constexpr auto kDay = std::chrono::hours(24);

/// Walks through a zone's days and months, and remembers the first thing that does not hold.
class ZoneWalk {
 public:
  explicit ZoneWalk(const std::string& name)
      : calendar_(calendarOf("gregorian", name.c_str())), zone_(calendar_.timeZone()) {}

  /// Every month from 1970 to 2040, the days around its ends, and each half hour around a change of the
  /// clocks.
  std::string fault() {
    auto month = *calendar_.dateInterval(Component::month, utc("1970-01-15"));
    for (Date date = month.start; date < utc("2040-12-15") && fault_.empty(); date += kDay) {
      if (date >= month.end) {
        const auto next = *calendar_.dateInterval(Component::month, month.end);
        require(next.start == month.end && next.end > date, "months tile", date);
        require(startOfTheDay(next.start, calendar_) == next.start, "a month begins with a day", date);
        month = next;
      }
      const bool isChange = zone_.offset(date) != zone_.offset(date + kDay);
      for (Date probe = date; isChange && probe < date + kDay; probe += 30min) checkMoment(probe);
      const bool isNearChange = zone_.offset(date - kDay) != zone_.offset(date + 2 * kDay);
      if (!isNearChange && date >= month.start + 2 * kDay) continue;
      checkMoment(date);
      checkMoment(startOfTheDay(date, calendar_) - 1ms);
    }
    return fault_;
  }

 private:
  void checkMoment(Date date) {
    const std::int64_t day = dayNumber(date);
    const Date start = startOfTheDay(date, calendar_);
    require(start <= date && dayNumber(start) == day, "a day's start is in it", date);
    require(dayNumber(start - 1ms) < day, "a day's start is its first moment", date);
    require(startOfTheDay(start, calendar_) == start, "start of the start", date);
    const Date middle = noon(date, calendar_);
    const Date twelve = Date(kDay * day) + 12h;
    const bool isSkipped = zone_.wallClock(middle - 1ms) < twelve && zone_.wallClock(middle) > twelve;
    require(zone_.wallClock(middle) == twelve || isSkipped, "noon is 12:00", date);
    require(noon(middle, calendar_) == middle, "noon of noon", date);
    const Date next = tomorrow(date, calendar_);
    require(yesterday(next, calendar_) == middle, "yesterday of tomorrow is noon", date);
    const Date midnight = startOfTheDay(next, calendar_);
    require(midnight > middle && midnight < next, "midnight lies between two noons", date);
    require(dayNumber(midnight - 1ms) == day, "days tile", date);
    require(interval(next, Component::day, date, calendar_) == dayNumber(next) - day, "days count", date);
  }

  /// By the wall clock's own dates, a skipped day included.
  [[nodiscard]] std::int64_t dayNumber(Date date) const {
    return static_cast<std::int64_t>(std::floor(zone_.wallClock(date).time_since_epoch() / kDay));
  }

  void require(bool holds, const char* what, Date date) {
    if (holds || !fault_.empty()) return;
    fault_ = zone_.identifier() + ": " + what + " at " + shown(date);
  }

  const Calendar calendar_;
  const TimeZone zone_;
  std::string fault_;
};

TEST(Dates, HoldTogetherInEveryZoneFrom1970To2040) {
  const auto names = zoneNames(false);
  ASSERT_GT(names.size(), 300U);
  for (const std::string& name : names) EXPECT_EQ(ZoneWalk(name).fault(), "");
}

TEST(Dates, HaveTheirDaysFirstMomentAndItsNeighboursNoons) {
  for (const ClockChange& change : kClockChanges) {
    SCOPED_TRACE(change.zone + (' ' + std::string(change.moment)));
    const auto calendar = calendarOf("gregorian", change.zone);
    const Date date = utc(change.moment);
    EXPECT_EQ(startOfTheDay(date, calendar), utc(change.start));
    EXPECT_EQ(yesterday(date, calendar), utc(change.yesterday));
    EXPECT_EQ(tomorrow(date, calendar), utc(change.tomorrow));
    int hour = 0, minute = 0;
    ASSERT_EQ(std::sscanf(change.shown, "%*d-%*d-%*d %d:%d", &hour, &minute), 2);
    EXPECT_EQ(calendar.date(hour, minute, 0, date), utc(change.first));
  }
}

TEST(Dates, OfNoDateAreGivenBackAndCountNothing) {
  const auto calendar = calendarOf("gregorian", "Europe/Kyiv");
  for (const double count : {HUGE_VAL, -HUGE_VAL, 1e18, -1e300}) {
    const Date date{Date::duration(count)};
    for (const auto& member : {startOfTheDay, noon, yesterday, tomorrow})
      EXPECT_EQ(member(date, calendar), date);
    for (const auto& member : {years, months, weeks, days, hours, minutes, seconds})
      EXPECT_EQ(member(utc("2024-03-10"), date, calendar), 0) << count;
    EXPECT_EQ(interval(date, Component::day, utc("2024-03-10"), calendar), 0);
    EXPECT_EQ(lastDayOfMonth(calendar, ManualClock(date), calendar), date);
    EXPECT_EQ(numberOfDaysInCurrentMonth(calendar, ManualClock(date)), 0);
  }
  EXPECT_TRUE(std::isnan(tomorrow(Date(Date::duration(std::nan(""))), calendar).time_since_epoch().count()));
}

struct MonthCase {
  const char *system, *now, *first, *last, *previousFirst, *previousLast;
  std::int64_t number, days;
  const char* zone = "UTC";
};

TEST(Months, HaveTheirBoundaries) {
  const MonthCase cases[] = {
      {"gregorian", "2024-03-31 23:59", "2024-03-01", "2024-03-31", "2024-02-01", "2024-02-29", 3, 31},
      {"gregorian", "2024-01-15", "2024-01-01", "2024-01-31", "2023-12-01", "2023-12-31", 1, 31},
      {"gregorian", "1582-10-20", "1582-10-11", "1582-10-31", "1582-09-11", "1582-10-10", 10, 21},
      // The month's first day begins at 1:00.
      {"gregorian", "2000-10-15", "2000-10-01 04:00", "2000-10-31 03:00", "2000-09-01 04:00",
       "2000-09-30 04:00", 10, 31, "America/Asuncion"},
      // The month lacks its last day but one.
      {"gregorian", "2011-12-15", "2011-12-01 10:00", "2011-12-30 10:00", "2011-11-01 10:00",
       "2011-11-30 10:00", 12, 31, "Pacific/Apia"},
      // The month lacks its last day.
      {"gregorian", "1994-12-15", "1994-12-01 10:00", "1994-12-30 10:00", "1994-11-01 10:00",
       "1994-11-30 10:00", 12, 31, "Pacific/Kiritimati"},
      // Adar I, which only leap years have, and the month that follows it.
      {"hebrew", "2024-03-01", "2024-02-10", "2024-03-10", "2024-01-11", "2024-02-09", 6, 30},
      {"hebrew", "2024-03-15", "2024-03-11", "2024-04-08", "2024-02-10", "2024-03-10", 7, 29},
      // The leap second month, and the first month of a year.
      {"chinese", "2023-04-01", "2023-03-22", "2023-04-19", "2023-02-20", "2023-03-21", 2, 29},
      {"chinese", "2024-02-20", "2024-02-10", "2024-03-09", "2024-01-11", "2024-02-09", 1, 29},
      // An emperor's first year, which begins with the month or in its midst.
      {"japanese", "2019-05-15", "2019-05-01", "2019-05-31", "2019-04-01", "2019-04-30", 5, 31},
      {"japanese", "1989-01-20", "1989-01-01", "1989-01-31", "1988-12-01", "1988-12-31", 1, 31},
      {"islamic-umalqura", "2024-03-20", "2024-03-11", "2024-04-09", "2024-02-11", "2024-03-10", 9, 30},
      {"buddhist", "2024-02-10", "2024-02-01", "2024-02-29", "2024-01-01", "2024-01-31", 2, 29},
      {"persian", "2025-03-20", "2025-02-19", "2025-03-20", "2025-01-20", "2025-02-18", 12, 30},
      {"coptic", "2023-09-10", "2023-09-06", "2023-09-11", "2023-08-07", "2023-09-05", 13, 6}};
  for (const MonthCase& month : cases) {
    SCOPED_TRACE(month.system + (' ' + std::string(month.now)));
    const auto calendar = calendarOf(month.system, month.zone);
    const ManualClock clock(utc(month.now));
    EXPECT_EQ(previousMonth(calendar, clock), utc(month.first));
    EXPECT_EQ(firstDayOfMonth(calendar, clock, calendar), utc(month.first));
    EXPECT_EQ(lastDayOfMonth(calendar, clock, calendar), utc(month.last));
    EXPECT_EQ(firstDayOfPreviousMonth(calendar, clock, calendar), utc(month.previousFirst));
    EXPECT_EQ(lastDayOfPreviousMonth(calendar, clock, calendar), utc(month.previousLast));
    EXPECT_EQ(numberOfDaysInCurrentMonth(calendar, clock), month.days);
    EXPECT_EQ(tq::month(calendar, clock), month.number);
  }
}

TEST(Months, BeginInTheKeptCalendarsZoneOnceTheUserHasMoved) {
  const auto tokyo = calendarOf("gregorian", "Asia/Tokyo");
  const auto kept = calendarOf("gregorian", "UTC");
  const ManualClock clock(utc("2024-03-15"));
  EXPECT_EQ(previousMonth(tokyo, clock), utc("2024-02-29 15:00"));
  EXPECT_EQ(firstDayOfMonth(tokyo, clock, kept), utc("2024-02-29"));
}

/// The first moment of those drawn at which the zone that `value` stands for differs from the C library's.
std::string differenceFromLibrary(const std::string& value, std::int64_t from, std::int64_t to) {
  const EnvironmentVariable variable("TZ", value);
  ::tzset();
  const TimeZone zone = TimeZone::ofVariable(value);
  std::mt19937_64 random(7);
  std::uniform_int_distribution<std::time_t> anyTime(from, to);
  for (int i = 0; i < 1500; ++i) {
    const std::time_t time = anyTime(random);
    std::tm shown{};
    ::localtime_r(&time, &shown);
    const Date date{std::chrono::seconds(time)};
    if (zone.offset(date).count() != shown.tm_gmtoff ||
        zone.isDaylightSavingTime(date) != (shown.tm_isdst > 0))
      return value + " at " + std::to_string(time);
  }
  return {};
}

TEST(Zones, AgreeWithTheLibraryOnEveryZoneFromTheFirstToTheFarthestDays) {
  const auto names = zoneNames(true);
  ASSERT_GT(names.size(), 400U);
  for (const std::string& name : names) {
    EXPECT_EQ(differenceFromLibrary(name, -4'000'000'000, 4'000'000'000), "");
    EXPECT_EQ(differenceFromLibrary(":" + name, -600'000'000'000, 2'000'000'000'000), "");
  }
  ::tzset();
}

TEST(Zones, UnderstandTheRulesAndPathsThatTheLibraryUnderstands) {
  for (const char* const value :
       {"EST5EDT,M3.2.0,M11.1.0", "<+03>-3", "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "GMT+3", "UTC0",
        "IST-1GMT0,M10.5.0,M3.5.0/1", "AAA-5:30:15BBB,J60/1,J300/-5", "AAA-5BBB,59,364/30",
        "AAA3BBB2:30,0/0,J365/23", "/usr/share/zoneinfo/Asia/Tokyo", ":/usr/share/zoneinfo/posix/Asia/Tokyo",
        "posix/Asia/Tokyo",
        // And on what is wrong: UTC.
        "", ":", "Foo", "Foo/Bar", "<+1", "<+1x>3", "AB3", "/etc/passwd", "/nowhere/zoneinfo/Asia/Tokyo",
        "../../../etc/passwd", "Europe"}) {
    EXPECT_EQ(differenceFromLibrary(value, 0, 40'000'000'000), "");
  }
  EXPECT_EQ(TimeZone::ofVariable(std::string(100'000, 'A') + "3"), TimeZone::utc());
}

TEST(Zones, HaveNamesAndRefuseWhatIsNone) {
  const auto kyiv = TimeZone::ofVariable("/usr/share/zoneinfo/right/Europe/Kyiv");
  EXPECT_EQ(kyiv.identifier(), "Europe/Kyiv");
  EXPECT_EQ(kyiv, TimeZone::make("Europe/Kyiv"));
  for (const char* const wrong :
       {"", "Europe", "Mars/Olympus", "../UTC", "/usr/share/zoneinfo/UTC", "Europe/Kyiv\n"})
    EXPECT_FALSE(TimeZone::make(wrong)) << wrong;
}

TEST(Zones, FallBackToIcuWhereTheSystemHasNoDatabase) {
  const TimeZone fromFile = TimeZone::make("Europe/Kyiv").value();
  const EnvironmentVariable nowhere("TZDIR", "/nowhere");
  const TimeZone fromICU = TimeZone::make("Europe/Kyiv").value();
  for (Date date = utc("1971-01-01"); date < utc("2600-01-01"); date += 100h)
    ASSERT_EQ(fromICU.offset(date), fromFile.offset(date)) << shown(date);
}

TEST(Zones, DamagedFilesAreNoZones) {
  const TemporaryFolder folder;
  const EnvironmentVariable database("TZDIR", folder.path());
  const std::string whole = readFile("/usr/share/zoneinfo/Europe/Kyiv");
  for (std::size_t length = 0; length < whole.size() - 40; length += 23) {
    writeFile(folder.path() / "Cut", whole.substr(0, length));
    ASSERT_FALSE(TimeZone::make("Cut")) << length;
  }
  std::mt19937 random(3);
  for (int i = 0; i < 200; ++i) {
    std::string damaged = whole;
    damaged[random() % damaged.size()] = static_cast<char>(random());
    writeFile(folder.path() / "Damaged", damaged);
    const auto zone = TimeZone::make("Damaged").value_or(TimeZone::utc());
    EXPECT_LE(std::chrono::abs(zone.offset(utc("2024-07-01"))), 26h);
  }
}

TEST(CurrentCalendar, FollowsTheSettingsAndIsKeptAsItWas) {
  const std::tuple<const char*, const char*, int> cases[] = {
      {"en_US_POSIX", "gregorian", 1}, {"en@calendar=hebrew", "hebrew", 1},
      {"de_DE", "gregorian", 2},       {"th@calendar=gregorian", "gregorian", 1},
      {"th_TH", "buddhist", 1},        {"fa_IR", "persian", 7}};
  const TimeZone kept = currentCalendar().timeZone();
  const std::string keptSystem = currentCalendar().identifier();
  ManualUserSettings user;
  for (const auto& [locale, system, firstWeekday] : cases) {
    user.set({.dates = Locale(locale), .timeZone = *TimeZone::make("Asia/Tokyo")});
    const Calendar calendar = Calendar::current(user);
    EXPECT_EQ(calendar.identifier(), system) << locale;
    EXPECT_EQ(calendar.firstWeekday(), firstWeekday) << locale;
    EXPECT_EQ(calendar.timeZone().identifier(), "Asia/Tokyo");
    EXPECT_EQ(&calendar.timeZone(), &Calendar::current(user).timeZone());  // one for each snapshot
    EXPECT_EQ(currentCalendar().timeZone(), kept);
    EXPECT_EQ(currentCalendar().identifier(), keptSystem);
  }
  // A day is read back in the user's zone, which may be another than the kept one.
  EXPECT_EQ(day(utc("2024-01-01 20:00"), user), utc("2024-01-01 15:00"));
}

}  // namespace
}  // namespace tq::tests
