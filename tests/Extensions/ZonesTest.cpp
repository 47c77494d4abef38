// Time zones beside the C library's, and where the user's zone and calendar come from.

#include <gtest/gtest.h>

#include <ctime>
#include <random>
#include <string>
#include <thread>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Platform/Core/Calendar.h"
#include "TQFoundation/Platform/Core/TimeZone.h"
#include "tests/support/Dates.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using platform::Calendar;
using platform::TimeZone;
using namespace std::chrono_literals;

/// The first moment of those drawn at which the zone that `value` stands for differs from the C library's.
std::string differenceFromLibrary(const std::string& value, std::int64_t from, std::int64_t to) {
  const EnvironmentVariable variable("TZ", value);
  ::tzset();
  const TimeZone zone = TimeZone::current();
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
  const EnvironmentVariable variable("TZ", std::string(100'000, 'A') + "3");
  EXPECT_EQ(TimeZone::current(), TimeZone::utc());
}

TEST(Zones, HaveNamesAndRefuseWhatIsNone) {
  const EnvironmentVariable path("TZ", "/usr/share/zoneinfo/right/Europe/Kyiv");
  EXPECT_EQ(TimeZone::current().identifier(), "Europe/Kyiv");
  EXPECT_EQ(TimeZone::current(), TimeZone::make("Europe/Kyiv"));
  for (const char* const wrong :
       {"", "Europe", "Mars/Olympus", "../UTC", "/usr/share/zoneinfo/UTC", "Europe/Kyiv\n"})
    EXPECT_FALSE(TimeZone::make(wrong)) << wrong;
}

TEST(Zones, FallBackToIcuWhereTheSystemHasNoDatabase) {
  const TimeZone fromFile = TimeZone::make("Europe/Kyiv").value();
  const EnvironmentVariable nowhere("TZDIR", "/nowhere");
  const TimeZone fromICU = TimeZone::make("Europe/Kyiv").value();
  for (Date date = utc("1971-01-01"); date < utc("2600-01-01"); date += 100h)
    ASSERT_EQ(fromICU.offset(date), fromFile.offset(date)) << date.time_since_epoch().count();
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

TEST(Zones, OfTheDeviceFollowsTheVariableAtOnceAndIsShared) {
  const EnvironmentVariable variable("TZ", "Asia/Tokyo");
  const TimeZone first = TimeZone::deviceZone();
  EXPECT_EQ(first.identifier(), "Asia/Tokyo");
  std::thread([&] { EXPECT_EQ(&TimeZone::deviceZone().identifier(), &first.identifier()); }).join();
  const EnvironmentVariable changed("TZ", "Europe/Kyiv");
  EXPECT_EQ(TimeZone::deviceZone().identifier(), "Europe/Kyiv");
}

TEST(CurrentCalendar, ReadsTheEnvironmentAnewAndIsKeptAsItWas) {
  const struct {
    const char* locale;
    const char* system;
    int firstWeekday;
  } cases[] = {{"C.UTF-8", "gregorian", 1},
               {"de_DE.UTF-8", "gregorian", 2},
               {"th_TH.UTF-8", "buddhist", 1},
               {"fa_IR.UTF-8", "persian", 7},
               {"en_US@calendar=hebrew", "hebrew", 1},
               {"th_TH.UTF-8@calendar=gregorian", "gregorian", 1}};
  const TimeZone kept = currentCalendar().timeZone();
  const std::string keptSystem = currentCalendar().identifier();
  for (const auto& [locale, system, firstWeekday] : cases) {
    const EnvironmentVariable all("LC_ALL", locale);
    const EnvironmentVariable zone("TZ", kept.identifier() == "Asia/Tokyo" ? "Asia/Seoul" : "Asia/Tokyo");
    const Calendar calendar = Calendar::current();
    EXPECT_EQ(calendar.identifier(), system) << locale;
    EXPECT_EQ(calendar.firstWeekday(), firstWeekday) << locale;
    EXPECT_EQ(calendar.timeZone().offset(utc("2024-01-01")), 9h);
    EXPECT_EQ(currentCalendar().timeZone(), kept);
    EXPECT_EQ(currentCalendar().identifier(), keptSystem);
    // A day is read back in the device's zone, which may be another than the kept one.
    EXPECT_EQ(day(utc("2024-01-01 20:00")), utc("2024-01-01 15:00")) << locale;
  }
}

}  // namespace
}  // namespace tq::tests
