// Calendar systems: their dates, differences beside an oracle that counts by stepping, positions in eras, far
// dates, and many threads on one calendar.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Core/Calendar.h"
#include "tests/support/Dates.h"

namespace tq::tests {
namespace {

using platform::Calendar;
using platform::DateComponents;
using platform::TimeZone;
using Component = Calendar::Component;
using namespace std::chrono_literals;

const std::vector<const char*> kSystems = {
    "gregorian", "iso8601",  "buddhist", "roc",           "japanese",         "hebrew",  "persian", "indian",
    "coptic",    "ethiopic", "islamic",  "islamic-civil", "islamic-umalqura", "chinese", "dangi"};

TEST(Calendars, NameDatesAndFindThemAgain) {
  const struct {
    const char* system;
    const char* date;
    DateComponents parts;
  } cases[] = {
      {"gregorian", "2024-02-29", {.era = 1, .year = 2024, .month = 2, .day = 29, .isLeapMonth = false}},
      {"gregorian", "-043-03-13", {.era = 0, .year = 44, .month = 3, .day = 15, .isLeapMonth = false}},
      {"hebrew", "2023-09-16", {.era = 0, .year = 5784, .month = 1, .day = 1, .isLeapMonth = false}},
      {"hebrew", "2024-03-01", {.era = 0, .year = 5784, .month = 6, .day = 21, .isLeapMonth = false}},
      {"chinese", "2023-03-21", {.era = 78, .year = 40, .month = 2, .day = 30, .isLeapMonth = false}},
      {"chinese", "2023-04-01", {.era = 78, .year = 40, .month = 2, .day = 11, .isLeapMonth = true}},
      {"japanese", "2019-04-30", {.era = 235, .year = 31, .month = 4, .day = 30, .isLeapMonth = false}},
      {"japanese", "2019-05-01", {.era = 236, .year = 1, .month = 5, .day = 1, .isLeapMonth = false}},
      {"islamic-umalqura",
       "2024-03-11",
       {.era = 0, .year = 1445, .month = 9, .day = 1, .isLeapMonth = false}},
      {"buddhist", "2024-02-29", {.era = 0, .year = 2567, .month = 2, .day = 29, .isLeapMonth = false}},
      {"persian", "2025-03-20", {.era = 0, .year = 1403, .month = 12, .day = 30, .isLeapMonth = false}},
      {"coptic", "2023-09-11", {.era = 1, .year = 1739, .month = 13, .day = 6, .isLeapMonth = false}}};
  for (const auto& [system, date, parts] : cases) {
    const auto calendar = calendarOf(system, "Europe/Kyiv");
    const Date start = calendar.timeZone().firstMoment(utc(date));
    EXPECT_EQ(calendar.dateComponents({Component::era, Component::year, Component::month, Component::day},
                                      start + 23h),
              parts)
        << system << ' ' << date;
    EXPECT_EQ(calendar.date(parts), start) << system << ' ' << date;
  }
  EXPECT_EQ(calendarOf("japanese", "UTC").date({.year = 1, .month = 5, .day = 32, .hour = 25}),
            utc("2019-06-02 01:00"));
}

TEST(Calendars, KeepTheTimeOfDayWhereItExists) {
  const auto kyiv = calendarOf("gregorian", "Europe/Kyiv");
  const Date beforeGap = utc("2024-03-30 01:30");  // 3:30, which clocks skip on the day after
  EXPECT_EQ(kyiv.date(Component::day, 1, beforeGap), utc("2024-03-31 01:00"));
  EXPECT_EQ(kyiv.date(Component::day, 2, beforeGap), utc("2024-04-01 00:30"));
  EXPECT_EQ(days(utc("2024-03-31 01:00"), beforeGap, kyiv), 1);
  EXPECT_EQ(days(utc("2024-03-31 01:00") - 1ms, beforeGap, kyiv), 0);
  EXPECT_EQ(kyiv.date(3, 30, 0, beforeGap + 24h), utc("2024-03-31 01:00"));
  EXPECT_EQ(kyiv.date(3, 30, 0, utc("2024-10-27 10:00")), utc("2024-10-27 00:30"));  // of two the first
  EXPECT_FALSE(kyiv.date(24, 0, 0, beforeGap));
  // Months before days; an offset of nothing is nothing, also in the second of two equal hours.
  EXPECT_EQ(kyiv.date({.month = 1, .day = -1}, utc("2024-01-31 10:00")), utc("2024-02-28 10:00"));
  EXPECT_EQ(kyiv.date({.day = 0}, utc("2024-10-27 01:30")), utc("2024-10-27 01:30"));
  EXPECT_EQ(kyiv.date({.day = 1, .hour = 24}, utc("2024-10-26 10:00")), utc("2024-10-28 11:00") - 0h);
  EXPECT_FALSE(kyiv.date(Component::era, 1, beforeGap));
}

/// Counts by stepping from month to month and from date to date, without adding anything to a date.
class Oracle {
 public:
  explicit Oracle(const Calendar& calendar) : calendar_(calendar) {}

  [[nodiscard]] std::int64_t months(Date date, Date from) const {
    std::int64_t crossed = 0;
    const bool back = date < from;
    Date month = monthOf(back ? date : from).start;
    for (const Date end = monthOf(back ? from : date).start; month < end; month = monthOf(month).end)
      ++crossed;
    return whole(crossed, date, from, 0);
  }

  [[nodiscard]] std::int64_t years(Date date, Date from) const {
    std::int64_t crossed = 0;
    const bool back = date < from;
    Date year = yearOf(back ? date : from).start;
    for (const Date end = yearOf(back ? from : date).start; year < end; year = yearOf(year).end) ++crossed;
    return whole(crossed, date, from, part(Component::month, from) - part(Component::month, date));
  }

  [[nodiscard]] std::int64_t days(Date date, Date from) const {
    const auto crossed = std::chrono::floor<std::chrono::days>(calendar_.timeZone().wallClock(date)) -
                         std::chrono::floor<std::chrono::days>(calendar_.timeZone().wallClock(from));
    const bool back = date < from;
    const bool tooMuch = back ? time(from) < time(date) : time(from) > time(date);
    return crossed.count() + (tooMuch ? (back ? 1 : -1) : 0);
  }

 private:
  [[nodiscard]] platform::DateInterval monthOf(Date date) const {
    return *calendar_.dateInterval(Component::month, date);
  }
  [[nodiscard]] platform::DateInterval yearOf(Date date) const {
    return *calendar_.dateInterval(Component::year, date);
  }
  [[nodiscard]] std::int64_t part(Component component, Date date) const {
    return calendar_.component(component, date).value();
  }
  [[nodiscard]] Date::duration time(Date date) const {
    const Date shown = calendar_.timeZone().wallClock(date);
    return shown - std::chrono::floor<std::chrono::days>(shown);
  }

  /// Of the boundaries crossed the last one does not count when the place in the unit has not been reached. A
  /// day that the month lacks is its last one.
  [[nodiscard]] std::int64_t whole(std::int64_t crossed, Date date, Date from,
                                   std::int64_t monthsAhead) const {
    const std::int64_t lastDay = part(Component::day, monthOf(date).end - 1h);
    const auto start = std::tuple(monthsAhead, std::min(part(Component::day, from), lastDay), time(from));
    const auto end = std::tuple(std::int64_t{0}, part(Component::day, date), time(date));
    if (date < from) return -(crossed - (start < end ? 1 : 0));
    return crossed - (start > end ? 1 : 0);
  }

  const Calendar& calendar_;
};

TEST(Differences, AgreeWithCountingByStepping) {
  std::mt19937_64 random(11);
  for (const char* const system : kSystems) {
    for (const char* const zone : {"Europe/Kyiv", "Australia/Lord_Howe"}) {
      const auto calendar = calendarOf(system, zone);
      const Oracle oracle(calendar);
      // Months of the same number follow each other in a leap year of these.
      const bool yearsVary =
          std::string_view(" hebrew chinese dangi ").find(system) != std::string_view::npos;
      const int pairs = yearsVary ? 12 : 60;  // the moon's path takes its time
      std::uniform_int_distribution<std::int64_t> anyMinute(0, 15'000'000);
      for (int i = 0; i < pairs; ++i) {
        const Date from = utc("2000-06-01") + std::chrono::minutes(anyMinute(random));
        const Date date = i % 3 == 0 ? from + std::chrono::minutes(anyMinute(random) / 250)
                                     : utc("2000-06-01") + std::chrono::minutes(anyMinute(random));
        const auto what = std::string(system) + ' ' + shown(from) + ' ' + shown(date);
        ASSERT_EQ(months(date, from, calendar), oracle.months(date, from)) << what;
        ASSERT_EQ(days(date, from, calendar), oracle.days(date, from)) << what;
        ASSERT_EQ(weeks(date, from, calendar), oracle.days(date, from) / 7) << what;
        if (!yearsVary) {
          ASSERT_EQ(years(date, from, calendar), oracle.years(date, from)) << what;
        }
      }
    }
  }
}

TEST(Differences, AreCutTowardZeroExactly) {
  const auto calendar = calendarOf("gregorian", "UTC");
  const Date from = utc("2024-01-31 12:00");
  EXPECT_EQ(hours(from + 119min, from, calendar), 1);
  EXPECT_EQ(hours(from - 119min, from, calendar), -1);
  EXPECT_EQ(weeks(from + 20 * 24h, from, calendar), 2);
  EXPECT_EQ(days(utc("2024-02-01 11:00"), from, calendar), 0);
  EXPECT_EQ(months(utc("2024-02-29 12:00"), from, calendar), 1);
  EXPECT_EQ(months(utc("2024-02-01"), from, calendar), 0);
  EXPECT_EQ(interval(utc("2024-02-01"), Component::month, from, calendar), 1);
  EXPECT_EQ(interval(utc("2024-02-01 00:01"), Component::day, utc("2024-01-31 23:59"), calendar), 1);
  EXPECT_EQ(calendar.dateComponents({Component::month, Component::day, Component::hour}, from,
                                    utc("2024-03-15 13:00")),
            (DateComponents{.month = 1, .day = 15, .hour = 1}));
  // The difference of these rounds up to a whole second.
  const Date nearly{Date::duration(1e-9)};
  EXPECT_EQ(seconds(Date(Date::duration(1.7e12)), nearly, calendar), 1'699'999'999);
  EXPECT_EQ(seconds(nearly, Date(Date::duration(1.7e12)), calendar), -1'699'999'999);
}

TEST(Ordinals, CountFromTheirEraAndDownBeforeIt) {
  const auto gregorian = calendarOf("gregorian", "UTC", "de_DE");
  const struct {
    const char* date;
    std::int64_t year, month, week, day;
  } cases[] = {{"0000-12-30", 1, 1, 1, 1},
               {"0000-12-29", 0, 0, 1, 0},
               {"-001-12-30", 0, -11, -51, -365},
               {"0001-02-01", 1, 2, 6, 34}};
  for (const auto& [date, year, month, week, day] : cases) {
    const auto ordinal = [&](Component unit) {
      return gregorian.ordinality(unit, Component::era, utc(date));
    };
    EXPECT_EQ(ordinal(Component::year), year) << date;
    EXPECT_EQ(ordinal(Component::month), month) << date;
    EXPECT_EQ(ordinal(Component::weekOfYear), week) << date;
    EXPECT_EQ(ordinal(Component::day), day) << date;
    EXPECT_EQ(ordinal(Component::hour), (day - 1) * 24 + 1) << date;
  }
  const auto japanese = calendarOf("japanese", "UTC");
  EXPECT_EQ(japanese.ordinality(Component::day, Component::era, utc("1989-01-08")), 1);
  EXPECT_EQ(japanese.ordinality(Component::month, Component::era, utc("1989-02-01")), 2);
  EXPECT_EQ(calendarOf("hebrew", "UTC").ordinality(Component::month, Component::era, utc("2024-03-01")),
            71'532);
  for (const Component none : {Component::era, Component::weekday, Component::nanosecond})
    EXPECT_FALSE(gregorian.ordinality(none, Component::era, utc("2024-03-01")));
  // The day of 25 hours has 24 by the wall clock.
  EXPECT_EQ(interval(utc("2024-10-27 22:00"), Component::hour, utc("2024-10-26 21:00"),
                     calendarOf("gregorian", "Europe/Kyiv")),
            24);
}

TEST(FarDates, AreAnsweredAsFarAsCalendarsReachAndNoFarther) {
  for (const char* const system : kSystems) {
    const auto calendar = calendarOf(system, "America/New_York");
    for (const double farAway : {1e16, -1e16, 1.83e17, -1.83e17}) {
      const Date date{Date::duration(farAway)};
      EXPECT_EQ(startOfTheDay(startOfTheDay(date, calendar), calendar), startOfTheDay(date, calendar));
      EXPECT_EQ(yesterday(tomorrow(date, calendar), calendar), noon(date, calendar)) << system;
      const std::int64_t all = days(date, utc("2024-01-01"), calendar);
      EXPECT_NEAR(static_cast<double>(all), farAway / 86'400'000, 20'000) << system;
      EXPECT_EQ(interval(date, Component::second, noon(date, calendar), calendar),
                std::llround((date - noon(date, calendar)) / 1s))
          << system;
      EXPECT_TRUE(calendar.component(Component::month, date)) << system;
    }
    for (const std::int64_t tooMany :
         {std::int64_t{6'500'000}, std::int64_t{1} << 40, INT64_MAX, INT64_MIN}) {
      EXPECT_FALSE(calendar.date(Component::year, tooMany, utc("2024-01-01"))) << system << tooMany;
      if (tooMany > 6'500'000 || tooMany < 0) {
        EXPECT_FALSE(calendar.date(Component::month, tooMany, utc("2024-01-01"))) << system;
        EXPECT_FALSE(calendar.date(Component::day, tooMany, utc("2024-01-01"))) << system;
      }
      EXPECT_FALSE(calendar.date({.year = tooMany, .day = tooMany})) << system;
    }
  }
}

TEST(Calendars, AnswerManyThreadsAtOnce) {
  for (const char* const system : {"gregorian", "hebrew", "chinese"}) {
    const auto calendar = calendarOf(system, "Europe/Kyiv");
    const auto answers = [&calendar](int i) {
      const Date date = utc("2000-01-01") + i * 1000h;
      return std::tuple(startOfTheDay(date, calendar), calendar.dateInterval(Component::month, date)->end,
                        months(date, utc("1980-01-01"), calendar),
                        interval(date, Component::day, utc("1990-01-01"), calendar));
    };
    std::vector<decltype(answers(0))> expected;
    for (int i = 0; i < 100; ++i) expected.push_back(answers(i));
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, copy = calendar] {
        for (int i = 0; i < 100; ++i) wrong += answers(i) != expected[static_cast<std::size_t>(i)];
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0) << system;
  }
}

TEST(Calendars, AreMadeForKnownSystemsOnly) {
  for (const char* const wrong : {"", "Gregorian", "mayan", "gregorian;numbers=thai", "gregorian@x"})
    EXPECT_FALSE(Calendar::make(wrong, TimeZone::utc(), platform::Locale("en"))) << wrong;
}

}  // namespace
}  // namespace tq::tests
