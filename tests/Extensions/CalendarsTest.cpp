// Calendar systems: their dates, adding beside stepping, differences, positions in eras, far dates, and many
// threads on one calendar.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Time/Calendar.h"
#include "tests/support/Dates.h"

namespace tq::tests {
namespace {

using Component = Calendar::Component;
using namespace std::chrono_literals;

const std::vector<const char*> kSystems = {
    "gregorian", "iso8601",  "buddhist", "roc",           "japanese",         "hebrew",  "persian", "indian",
    "coptic",    "ethiopic", "islamic",  "islamic-civil", "islamic-umalqura", "chinese", "dangi"};

constexpr Component kUnits[] = {Component::year, Component::month, Component::weekOfYear, Component::day,
                                Component::hour};
constexpr decltype(&years) kCounts[] = {years, months, weeks, days, hours};

TEST(Calendars, NameDatesAndFindThemAgain) {
  const std::tuple<const char*, const char*, int, int, int, int> cases[] = {
      {"gregorian", "-043-03-13", 0, 44, 3, 15},  {"hebrew", "2023-09-16", 0, 5784, 1, 1},
      {"hebrew", "2024-03-01", 0, 5784, 6, 21},   {"chinese", "2023-03-21", 78, 40, 2, 30},
      {"chinese", "2023-04-01", 78, 40, 2, 11},   {"japanese", "2019-04-30", 235, 31, 4, 30},
      {"japanese", "2019-05-01", 236, 1, 5, 1},   {"islamic-umalqura", "2024-03-11", 0, 1445, 9, 1},
      {"buddhist", "2024-02-29", 0, 2567, 2, 29}, {"persian", "2025-03-20", 0, 1403, 12, 30},
      {"coptic", "2023-09-11", 1, 1739, 13, 6}};
  for (const auto& [system, date, era, year, month, day] : cases) {
    const bool isLeap = std::string_view(date) == "2023-04-01";  // in the second of two second months
    const DateComponents parts{.era = era, .year = year, .month = month, .day = day, .isLeapMonth = isLeap};
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
  EXPECT_FALSE(kyiv.date(24, 0, 0, beforeGap));
  // Months before days; an offset of nothing is nothing, also in the second of two equal hours.
  EXPECT_EQ(kyiv.date({.month = 1, .day = -1}, utc("2024-01-31 10:00")), utc("2024-02-28 10:00"));
  EXPECT_EQ(kyiv.date({.day = 0}, utc("2024-10-27 01:30")), utc("2024-10-27 01:30"));
  EXPECT_EQ(kyiv.date({.day = 1, .hour = 24}, utc("2024-10-26 10:00")), utc("2024-10-28 11:00"));
  EXPECT_FALSE(kyiv.date(Component::era, 1, beforeGap));
}

TEST(Months, AddedToADateLeadAsFarAsSteppingThroughThem) {
  for (const char* const system : kSystems) {
    const auto calendar = calendarOf(system, "Australia/Lord_Howe");
    for (const auto& [unit, counts] : {std::pair(Component::month, 150), std::pair(Component::year, 12)}) {
      const auto first = *calendar.dateInterval(unit, utc("2000-06-01"));
      const Date last = noon(first.end - 1h, calendar);
      Date start = first.start;
      for (int count = 1; count < counts; ++count) {
        start = calendar.dateInterval(unit, start)->end;
        const Date reached = *calendar.date(unit, count, last);
        ASSERT_EQ(calendar.dateInterval(unit, reached)->start, start) << system << count;
        const Date end = calendar.dateInterval(Component::month, reached)->end - 1h;
        ASSERT_EQ(calendar.component(Component::day, reached),
                  std::min(calendar.component(Component::day, last), calendar.component(Component::day, end)))
            << system << count;
        ASSERT_EQ(calendar.date(unit, -count, noon(start, calendar)), noon(first.start, calendar)) << system;
      }
    }
  }
}

TEST(Differences, AreTheMostUnitsThatCanBeAddedWithoutPassingTheDate) {
  std::mt19937_64 random(11);
  const auto anyDate = [&] { return utc("2000-06-01") + std::chrono::minutes(random() % 15'000'000); };
  for (const char* const system : kSystems) {
    const auto calendar = calendarOf(system, "Australia/Lord_Howe");
    for (int i = 0; i < 100; ++i) {
      const Date from = anyDate();
      const Date date = i % 3 == 0 ? from + std::chrono::minutes(random() % 60'000) : anyDate();
      const int step = date < from ? -1 : 1;
      for (std::size_t unit = 0; unit < std::size(kUnits); ++unit) {
        const auto count = kCounts[unit](date, from, calendar);
        const auto what = std::string(system) + ' ' + shown(from) + ' ' + shown(date);
        const Date reached = *calendar.date(kUnits[unit], count, from);
        const Date next = *calendar.date(kUnits[unit], count + step, from);
        ASSERT_TRUE(step > 0 ? reached <= date && date < next : next < date && date <= reached) << what;
      }
    }
  }
}

TEST(Differences, AreCutTowardZeroExactly) {
  const auto calendar = calendarOf("gregorian", "UTC");
  const Date from = utc("2024-01-31 12:00");
  EXPECT_EQ(months(utc("2024-02-29 12:00"), from, calendar), 1);
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
  const std::pair<const char*, std::vector<int>> cases[] = {{"0000-12-30", {1, 1, 1, 1, 1}},
                                                            {"0000-12-29", {0, 0, 1, 0, -23}},
                                                            {"-001-12-30", {0, -11, -51, -365, -8783}},
                                                            {"0001-02-01", {1, 2, 6, 34, 793}}};
  for (const auto& [date, ordinals] : cases) {
    for (std::size_t unit = 0; unit < std::size(kUnits); ++unit)
      EXPECT_EQ(gregorian.ordinality(kUnits[unit], Component::era, utc(date)), ordinals[unit]) << date;
  }
  const auto japanese = calendarOf("japanese", "UTC");
  EXPECT_EQ(japanese.ordinality(Component::day, Component::era, utc("1989-01-08")), 1);
  EXPECT_EQ(japanese.ordinality(Component::month, Component::era, utc("1989-02-01")), 2);
  const auto hebrew = calendarOf("hebrew", "UTC");
  EXPECT_EQ(hebrew.ordinality(Component::month, Component::era, utc("2024-03-01")), 71'532);
  // Quarters need twelve months a year, which these do not have.
  for (const char* const system : {"hebrew", "coptic", "ethiopic", "chinese", "dangi"})
    EXPECT_EQ(interval(utc("2024-04-01"), Component::quarter, utc("2000-04-01"), calendarOf(system, "UTC")),
              0);
  for (const char* const system : {"gregorian", "iso8601", "buddhist", "roc", "japanese"}) {
    const auto calendar = calendarOf(system, "UTC");
    EXPECT_EQ(interval(utc("2024-04-01"), Component::quarter, utc("2024-03-31"), calendar), 1) << system;
    EXPECT_EQ(interval(utc("2023-12-31"), Component::quarter, utc("2019-07-01"), calendar), 17) << system;
  }
  EXPECT_EQ(gregorian.ordinality(Component::quarter, Component::era, utc("-001-12-30")), -3);
  for (const Component none : {Component::era, Component::weekday, Component::nanosecond})
    EXPECT_FALSE(gregorian.ordinality(none, Component::era, utc("2024-03-01")));
  // The day of 25 hours has 24 by the wall clock.
  const auto kyiv = calendarOf("gregorian", "Europe/Kyiv");
  EXPECT_EQ(interval(utc("2024-10-27 22:00"), Component::hour, utc("2024-10-26 21:00"), kyiv), 24);
}

TEST(FarDates, AreSupportedAsFarAsCalendarsReachAndNoFarther) {
  for (const char* const system : kSystems) {
    const auto calendar = calendarOf(system, "America/New_York");
    for (const double farAway : {1e16, -1e16, 1.83e17, -1.83e17}) {
      const Date date{Date::duration(farAway)};
      EXPECT_EQ(startOfTheDay(startOfTheDay(date, calendar), calendar), startOfTheDay(date, calendar));
      EXPECT_EQ(yesterday(tomorrow(date, calendar), calendar), noon(date, calendar)) << system;
      const auto all = static_cast<double>(days(date, utc("2024-01-01"), calendar));
      EXPECT_NEAR(all, farAway / 86'400'000, 20'000) << system;
      const Date middle = noon(date, calendar);
      EXPECT_EQ(interval(date, Component::second, middle, calendar), std::llround((date - middle) / 1s));
      EXPECT_TRUE(calendar.component(Component::month, date)) << system;
    }
    EXPECT_FALSE(calendar.date(Component::year, 6'500'000, utc("2024-01-01"))) << system;
    for (const std::int64_t tooMany : {std::int64_t{1} << 40, INT64_MAX, INT64_MIN}) {
      for (const Component unit : {Component::year, Component::month, Component::day})
        EXPECT_FALSE(calendar.date(unit, tooMany, utc("2024-01-01"))) << system << tooMany;
      EXPECT_FALSE(calendar.date({.year = tooMany, .day = tooMany})) << system;
    }
  }
}

TEST(Calendars, ServeManyThreadsAtOnce) {
  for (const char* const system : {"gregorian", "hebrew", "chinese"}) {
    const auto calendar = calendarOf(system, "Europe/Kyiv");
    const auto results = [&calendar] {
      std::vector<std::tuple<Date, Date, std::int64_t, std::int64_t>> all;
      for (Date date = utc("2000-01-01"); date < utc("2012-01-01"); date += 1000h) {
        all.emplace_back(startOfTheDay(date, calendar), calendar.dateInterval(Component::month, date)->end,
                         months(date, utc("1980-01-01"), calendar),
                         interval(date, Component::day, utc("1990-01-01"), calendar));
      }
      return all;
    };
    const auto expected = results();
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, copy = calendar] { EXPECT_EQ(results(), expected) << system; });
    }
  }
}

TEST(Calendars, AreMadeForKnownSystemsOnly) {
  for (const char* const wrong : {"", "Gregorian", "mayan", "gregorian;numbers=thai", "gregorian@x"})
    EXPECT_FALSE(Calendar::make(wrong, TimeZone::utc(), Locale("en"))) << wrong;
}

}  // namespace
}  // namespace tq::tests
