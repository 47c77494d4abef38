// The headings of days and months, reading them back, the text of durations, and whose language they are in.

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "TQFoundation/Platform/Resources/Bundle.h"
#include "TQFoundationTesting/ManualUserSettings.h"
#include "tests/support/ClockChanges.h"
#include "tests/support/Dates.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using Formatter = DateComponentsFormatter;
using namespace std::string_literals;

constexpr const char* kDay = "dd MMM, yyyy";
constexpr const char* kMonth = "MMMM yyyy";

DateFormatter formatter(const char* pattern, const char* locale = "en") {
  return {pattern, Locale(locale)};
}

UserSettings in(const char* zone) {
  return {.timeZone = TimeZone::make(zone).value()};
}

TEST(Headings, AreInTheWordsDigitsAndCalendarOfTheLanguage) {
  const ManualUserSettings user(in("UTC"));
  // Checked against another library's data; the years of Thailand and Iran by hand.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"en", "05 Mar, 2024", "March 2024"},     {"de", "05 März, 2024", "März 2024"},
      {"pt-BR", "05 mar., 2024", "março 2024"}, {"ru", "05 мар., 2024", "марта 2024"},
      {"uk", "05 бер., 2024", "березня 2024"},  {"pl", "05 mar, 2024", "marca 2024"},
      {"el", "05 Μαρ, 2024", "Μαρτίου 2024"},   {"fi", "05 maalisk., 2024", "maaliskuuta 2024"},
      {"ja", "05 3月, 2024", "3月 2024"},       {"zh-Hans", "05 3月, 2024", "三月 2024"},
      {"ar_EG", "٠٥ مارس, ٢٠٢٤", "مارس ٢٠٢٤"},  {"ar_AE", "05 مارس, 2024", "مارس 2024"},
      {"mr", "०५ मार्च, २०२४", "मार्च २०२४"},     {"th", "05 มี.ค., 2567", "มีนาคม 2567"},
      {"fa", "۱۵ اسفند, ۱۴۰۲", "اسفند ۱۴۰۲"},   {"en@calendar=hebrew", "25 Adar I, 5784", "Adar I 5784"}};
  for (const auto& [locale, day, month] : cases) {
    EXPECT_EQ(formatter(kDay, locale).string(utc("2024-03-05"), user), day) << locale;
    EXPECT_EQ(formatter(kMonth, locale).string(utc("2024-03-05"), user), month) << locale;
    EXPECT_EQ(formatter(kDay, locale).date(day, user), utc("2024-03-05")) << locale;
  }
  EXPECT_EQ(formatter("LLLL yyyy", "ru").string(utc("2024-03-05"), user), "март 2024");
  EXPECT_EQ(formatter("''dd'd' yyyy").string(utc("1600-01-01"), user), "'01d 1600");
}

TEST(Headings, InALanguageWithoutDataAreNotInTheProcesssDefaultLanguage) {
  const icu::Locale before;
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale("de"), status);
  EXPECT_EQ(formatter(kDay, "la_VA").string(utc("2024-03-05"), ManualUserSettings()), "05 Mar, 2024");
  EXPECT_EQ(Locale("tlh").identifier(), "en_US_POSIX");
  icu::Locale::setDefault(before, status);
}

TEST(Headings, AreReadBackInEveryLocale) {
  const ManualUserSettings user(in("UTC"));
  std::vector<Date> dates = {utc("1599-12-31 23:59:59"), utc("1582-10-15"), utc("1582-10-04"),
                             utc("0800-07-01"), utc("10000-01-01")};
  for (double date = -1e12; date < 3e12; date += 2.013e11) dates.emplace_back(Date::duration(date));
  int count = 0;
  const icu::Locale* const locales = icu::Locale::getAvailableLocales(count);
  for (int i = 0; i < count; ++i) {
    for (const char* const pattern : {kDay, kMonth}) {
      const auto heading = formatter(pattern, locales[i].getName());
      for (const Date date : dates) {
        const std::string text = heading.string(date, user);
        if (text.find('-') != std::string::npos) continue;  // a year before the era
        const auto back = heading.date(text, user);
        ASSERT_TRUE(back) << locales[i].getName() << ": " << text;
        ASSERT_EQ(heading.string(*back, user), text) << locales[i].getName();
      }
    }
  }
}

// The zone database has changed since ICU's data was made (Cairo, Cancun, Vostok; Ciudad Juarez is new), and
// it knows of standard times in summer (Dublin, Windhoek).
TEST(Headings, NameZonesAsPeopleDoAndAreReadByThePresentRules) {
  const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
      {"Europe/Dublin", "2024-01-15 10:00", "10:00 Greenwich Mean Time", "10:00 Europe/Dublin"},
      {"Europe/Dublin", "2024-07-15 10:00", "11:00 Irish Standard Time", "11:00 Europe/Dublin"},
      {"Africa/Windhoek", "2010-01-15 10:00", "12:00 West Africa Summer Time", "12:00 Africa/Windhoek"},
      {"Africa/Windhoek", "2010-07-15 10:00", "11:00 West Africa Standard Time", "11:00 Africa/Windhoek"},
      {"America/New_York", "2024-11-03 05:30", "01:30 Eastern Daylight Time", "01:30 America/New_York"},
      {"Antarctica/Vostok", "2024-07-15 10:00", "15:00 Vostok Time", "15:00 Antarctica/Vostok"},
      {"Africa/Cairo", "2023-05-15 10:00", "13:00 Eastern European Summer Time", "13:00 Africa/Cairo"},
      {"America/Cancun", "1995-07-15 10:00", "04:00 Eastern Standard Time", "04:00 America/Cancun"},
      {"America/Ciudad_Juarez", "2024-07-15 10:00", "04:00 GMT-06:00", "04:00 America/Ciudad_Juarez"}};
  const auto byName = formatter("dd MMM yyyy HH:mm zzzz");
  const auto byIdentifier = formatter("dd MMM yyyy HH:mm VV");
  for (const auto& [zone, date, named, identified] : cases) {
    const ManualUserSettings user(in(zone));
    const std::string day = formatter("dd MMM yyyy ").string(utc(date), user);
    EXPECT_EQ(byName.string(utc(date), user), day + named);
    EXPECT_EQ(byName.date(day + named, user), utc(date)) << named;
    EXPECT_EQ(byIdentifier.string(utc(date), user), day + identified);
    const ManualUserSettings away(in("Asia/Tokyo"));
    EXPECT_EQ(byIdentifier.date(day + identified, away), utc(date)) << identified;
  }
  // In the hour that occurs twice the name says which one is meant.
  const ManualUserSettings user(in("America/New_York"));
  EXPECT_EQ(byName.date("03 Nov 2024 01:30 Eastern Standard Time", user), utc("2024-11-03 06:30"));
}

TEST(Headings, AreReadOnlyWhereTheyFitAndTheDayExists) {
  const ManualUserSettings user(in("UTC"));
  const auto heading = formatter(kDay);
  for (const char* const text : {"05 MAR, 2024", "05  mar, 2024", "٠٥ Mar, 2024", "29 Feb, 2024"})
    EXPECT_TRUE(heading.date(text, user)) << text;
  for (const char* const text :
       {"", "5 Mar, 2024", "05 Mar, 24", "05 Mar, 024", "٠٥ Mar, ٢٤", "32 Mar, 2024", "00 Mar, 2024",
        "30 Feb, 2024", "29 Feb, 2023", "05 Mär, 2024", "05 Mar 2024", "05 Mar, 2024 ", "05 Mar, 2024x",
        "05 Mar, 20\xFF", "05 Mar, 99999999999"})
    EXPECT_FALSE(heading.date(text, user)) << text;
  EXPECT_FALSE(heading.date(std::string(1 << 20, '5'), user));
  EXPECT_EQ(formatter(kMonth).date("February 2024", user), utc("2024-02-01"));
  EXPECT_EQ(formatter(kDay, "fa").date("15 اسفند, 1402", user), utc("2024-03-05"));
  EXPECT_EQ(formatter("yyyy-MM-dd HH:mm Z").date("2024-03-05 10:00 +0200", user), utc("2024-03-05 08:00"));
  for (const char* const text : {"24-03-05 10:00 +0200", "2024-3-05 10:00 +0200", "2024-03-05 9:00 +0200"})
    EXPECT_FALSE(formatter("yyyy-MM-dd HH:mm Z").date(text, user)) << text;
  EXPECT_EQ(formatter("d MMM yy").date("5 Mar 24", user), utc("2024-03-05"));
}

TEST(Headings, OfWhatIsNoDateOrInAPatternThatMeansNothingAreEmpty) {
  const ManualUserSettings user(in("UTC"));
  for (const double number : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1e19}) {
    const Date date{Date::duration(number)};
    EXPECT_EQ(libraryDayGroupFormatted(date, user), "");
    EXPECT_EQ(formatter("HH:mm").string(date, user), "");
    EXPECT_TRUE(day(date, user) == date || std::isnan(number));
  }
  EXPECT_EQ(formatter("yyyy G").string(Date(Date::duration(1e17)), user), "3170843 AD");
  for (const char* const pattern : {"jj", "dd J", "nn"}) {
    EXPECT_EQ(formatter(pattern).string(utc("2024-03-05"), user), "") << pattern;
    EXPECT_FALSE(formatter(pattern).date("05", user)) << pattern;
  }
}

TEST(Headings, FollowTheDevicesZoneAtEachCallWhileACalendarStays) {
  const auto time = formatter("dd HH:mm xxx");
  const Date afterMidnight = utc("2024-03-04 22:30");
  const auto calendar = calendarOf("gregorian", "Europe/Kyiv");
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"Europe/Kyiv", "05 00:30 +02:00", "2024-03-04 22:00"},
      {"America/St_Johns", "04 19:00 -03:30", "2024-03-04 03:30"}};
  ManualUserSettings user;
  for (const auto& [zone, text, start] : cases) {
    user.set(in(zone));
    EXPECT_EQ(time.string(afterMidnight, user), text);
    EXPECT_EQ(libraryDayGroupFormatted(afterMidnight, user), std::string(text, 2) + " Mar, 2024");
    EXPECT_EQ(day(afterMidnight, user), utc(start));
    EXPECT_EQ(startOfTheDay(afterMidnight, calendar), utc("2024-03-04 22:00"));
  }
}

TEST(Headings, AreReadAsTheFirstMomentWhereClocksChange) {
  for (const ClockChange& change : kClockChanges) {
    SCOPED_TRACE(change.zone + (' ' + std::string(change.moment)));
    const ManualUserSettings user(in(change.zone));
    EXPECT_EQ(formatter("yyyy-MM-dd HH:mm").date(change.shown, user), utc(change.first));
    EXPECT_EQ(day(utc(change.moment), user), utc(change.start));
  }
}

TEST(Headings, AreWrittenAndReadByManyThreadsAtOnce) {
  const ManualUserSettings user({.dates = Locale("da_DK"), .timeZone = *TimeZone::make("Europe/Kyiv")});
  const auto persian = formatter("EEEE d MMMM yyyy HH:mm", "fa");
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < 12; ++thread) {
    threads.emplace_back([thread, persian, &user] {
      for (int round = 0; round < 200; ++round) {
        const Date date = utc("2024-01-01") + std::chrono::hours(24 * (round * 12 + thread));
        EXPECT_EQ(persian.date(persian.string(date, user), user), date);
        EXPECT_EQ(dayFormatter().string(day(date, user), user), libraryDayGroupFormatted(date, user));
        EXPECT_EQ(monthFormatter().string(
                      *monthFormatter().date(libraryMonthGroupFormatted(date, user), user), user),
                  libraryMonthGroupFormatted(date, user));
        EXPECT_EQ(timeFormattedString(3601.0, user), "01.00.01");
      }
    });
  }
}

// The last thing that a thread does is to run the destructors of its own objects, in reverse order.
TEST(Headings, CanBeWrittenWhileAThreadEnds) {
  struct WritesAtTheEnd {
    std::string* text;
    ~WritesAtTheEnd() {
      *text = libraryDayGroupFormatted(utc("2024-03-05 12:00")) + timeFormattedString(65.0) +
              std::to_string(years(utc("2024-03-05"), utc("2020-03-04")));
    }
  };
  std::string atTheEnd, before;
  std::thread([&] {
    const thread_local WritesAtTheEnd writer{&atTheEnd};
    before = libraryDayGroupFormatted(utc("2024-03-05 12:00")) + timeFormattedString(65.0) + "4";
    EXPECT_EQ(writer.text, &atTheEnd);
  }).join();
  EXPECT_EQ(atTheEnd, before);
}

TEST(Duration, IsCutTowardZeroAndHasHoursFromTheSecondBeyondOne) {
  const ManualUserSettings user;
  const std::initializer_list<std::pair<double, std::string>> cases = {
      {0, "00:00"},          {59.9, "00:59"},        {65, "01:05"},      {3600.999, "60:00"},
      {-1, "-00:01"},        {-0.9, "00:00"},        {-65.5, "-01:05"},  {3601, "01:00:01"},
      {359'999, "99:59:59"}, {360'000, "100:00:00"}, {-7'261, "-121:01"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(timeFormattedString(seconds, user), text) << seconds;
  EXPECT_EQ(timeFormattedString(0x1p63 - 1024, user), "2562047788015215:13:04");
  EXPECT_EQ(timeFormattedString(-0x1p63, user), "-153722867280912930:08");
  for (const double none : {0x1p63, -0x1p63 - 2048, HUGE_VAL, -HUGE_VAL, std::nan("")})
    EXPECT_EQ(timeFormattedString(none, user), "--:--") << none;
  for (const float seconds : {0.0F, 59.9F, 3600.5F, 3601.0F, -65.5F, 1e30F, std::nanf("")}) {
    EXPECT_EQ(timeFormattedString(seconds, user), timeFormattedString(double{seconds}, user));
    EXPECT_EQ(timeLabelFor(seconds, user), timeFormattedString(seconds, user));
  }
}

TEST(Duration, FormatterAllowsTheUnitsThatTheCountCallsFor) {
  const ManualUserSettings user;
  Formatter formatter = timeRemainingFormatterWith(3600);
  EXPECT_EQ(formatter.allowedUnits, Formatter::minute | Formatter::second);
  formatter = timeRemainingFormatterWith(3601);
  EXPECT_EQ(formatter.allowedUnits, Formatter::hour | Formatter::minute | Formatter::second);
  EXPECT_EQ(formatter.string(7'261.5, user), "02:01:01");
  formatter.allowedUnits = Formatter::hour | Formatter::second;
  EXPECT_EQ(formatter.string(7'261.5, user), "02:61");
  formatter.zeroFormattingBehavior = Formatter::ZeroFormattingBehavior::standard;
  EXPECT_EQ(formatter.string(7'261.5, user), "2:61");
  formatter.allowedUnits = Formatter::minute;
  EXPECT_EQ(formatter.string(-59, user), "0");
  EXPECT_EQ(formatter.string(-60, user), "-1");
}

TEST(Duration, HasTheSeparatorAndTheDigitsOfTheUsersLocale) {
  const std::initializer_list<std::pair<const char*, const char*>> cases = {
      {"da_DK", "-01.05 02.00.01"},
      {"sr_Latn_RS", "-01.05 02.00.01"},
      {"zh@numbers=hans", "-01:05 02:00:01"},
      {"ar_EG", "-٠١:٠٥ ٠٢:٠٠:٠١"},
      {"fa_IR", "-۰۱:۰۵ ۰۲:۰۰:۰۱"},
      {"th@numbers=thai", "-๐๑:๐๕ ๐๒:๐๐:๐๑"},
      {"mr_IN", "-०१:०५ ०२:००:०१"},
      {"ar_AE", "-01:05 02:00:01"},
      {"ff_Adlm_SN", "-𞥐𞥑:𞥐𞥕 𞥐𞥒:𞥐𞥐:𞥐𞥑"}};
  ManualUserSettings user;
  for (const auto& [name, text] : cases) {
    user.set({.dates = Locale(name)});
    EXPECT_EQ(timeFormattedString(-65.0, user) + " " + timeFormattedString(7201.0, user), text) << name;
  }
}

// Runs once more in a copy of this program that has another main bundle beside it.
TEST(DeviceLocale, StaysWhatItWasAtFirstUseAndIsReadAfreshWhereAsked) {
  const auto& main = Bundle::main();
  if (main.preferredLocalizations({"uk"}).front() != "uk") {
    const TemporaryFolder folder;
    fs::copy_file("/proc/self/exe", folder / "program");
    for (const char* const table : {"de.lproj/Localizable.strings", "uk.lproj/Localizable.strings"}) {
      fs::create_directories((folder / "Resources" / table).parent_path());
      writeFile(folder / "Resources" / table, "k = v;");
    }
    const EnvironmentVariable language("LANGUAGE", "de_AT");
    const std::string command = (folder / "program").string() + " --gtest_filter='DeviceLocale.*'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return;
  }
  const ManualUserSettings user({.languages = {"uk"}});
  EXPECT_EQ(deviceLocale().identifier(), "de");
  EXPECT_EQ(deviceLocale(Bundle::main(), user).identifier(), "uk");
  EXPECT_EQ(deviceLocale().identifier(), "de");
  EXPECT_EQ(libraryDayGroupFormatted(utc("2024-03-05"), user), "05 März, 2024");
  EXPECT_EQ(dateFormatter(kMonth).string(utc("2024-03-05"), user), "März 2024");
}

}  // namespace
}  // namespace tq::tests
