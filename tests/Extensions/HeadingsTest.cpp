// The headings of days and months, reading them back, and whose language they are in.

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/Extensions/TQDateExtensions.h"
#include "TQFoundation/Extensions/TQDateFormatterExtensions.h"
#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Platform/Core/Bundle.h"
#include "tests/support/Dates.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using platform::Bundle;

constexpr const char* kDay = "dd MMM, yyyy";
constexpr const char* kMonth = "MMMM yyyy";

platform::DateFormatter formatter(const char* pattern, const char* locale = "en") {
  return {pattern, platform::Locale(locale)};
}

TEST(Headings, AreInTheWordsDigitsAndCalendarOfTheLanguage) {
  const EnvironmentVariable zone("TZ", "UTC");
  // Checked against another library's data; the years of Thailand and Iran by hand.
  const struct {
    const char* locale;
    const char* day;
    const char* month;
  } cases[] = {
      {"en", "05 Mar, 2024", "March 2024"},     {"de", "05 März, 2024", "März 2024"},
      {"pt-BR", "05 mar., 2024", "março 2024"}, {"ru", "05 мар., 2024", "марта 2024"},
      {"uk", "05 бер., 2024", "березня 2024"},  {"pl", "05 mar, 2024", "marca 2024"},
      {"el", "05 Μαρ, 2024", "Μαρτίου 2024"},   {"fi", "05 maalisk., 2024", "maaliskuuta 2024"},
      {"ja", "05 3月, 2024", "3月 2024"},       {"zh-Hans", "05 3月, 2024", "三月 2024"},
      {"ar_EG", "٠٥ مارس, ٢٠٢٤", "مارس ٢٠٢٤"},  {"ar_AE", "05 مارس, 2024", "مارس 2024"},
      {"mr", "०५ मार्च, २०२४", "मार्च २०२४"},     {"th", "05 มี.ค., 2567", "มีนาคม 2567"},
      {"fa", "۱۵ اسفند, ۱۴۰۲", "اسفند ۱۴۰۲"},   {"en@calendar=hebrew", "25 Adar I, 5784", "Adar I 5784"}};
  for (const auto& [locale, day, month] : cases) {
    EXPECT_EQ(formatter(kDay, locale).string(utc("2024-03-05")), day) << locale;
    EXPECT_EQ(formatter(kMonth, locale).string(utc("2024-03-05")), month) << locale;
    EXPECT_EQ(formatter(kDay, locale).date(day), utc("2024-03-05")) << locale;
  }
  EXPECT_EQ(formatter("LLLL yyyy", "ru").string(utc("2024-03-05")), "март 2024");
  EXPECT_EQ(formatter("''dd'd' yyyy").string(utc("1600-01-01")), "'01d 1600");
}

// Most dates are written and read without ICU, which has to agree on every one.
TEST(Headings, AreWhatICUWritesInEveryLocaleAndAreReadBack) {
  const EnvironmentVariable zone("TZ", "UTC");
  std::vector<double> dates;
  for (const char* const edge :
       {"1599-12-31 23:59:59", "1600-01-01", "1600-02-29", "1582-10-15", "1582-10-04", "0800-07-01",
        "9999-12-31 23:59:59", "10000-01-01", "12024-11-11"})
    dates.push_back(utc(edge).time_since_epoch().count());
  for (double date = -1e12; date < 3e12; date += 2.013e11) dates.push_back(date);
  int count = 0;
  const icu::Locale* const locales = icu::Locale::getAvailableLocales(count);
  for (int i = 0; i < count; ++i) {
    for (const char* const pattern : {kDay, kMonth}) {
      UErrorCode status = U_ZERO_ERROR;
      icu::SimpleDateFormat theirs(pattern, locales[i], status);
      theirs.setTimeZone(*icu::TimeZone::getGMT());
      const auto ours = formatter(pattern, locales[i].getName());
      for (const double date : dates) {
        std::string expected;
        icu::UnicodeString text;
        theirs.format(date, text).toUTF8String(expected);
        const std::string text8 = ours.string(Date(Date::duration(date)));
        ASSERT_EQ(text8, expected) << locales[i].getName() << " at " << date;
        if (expected.find('-') != std::string::npos) continue;  // a year before the era
        const auto back = ours.date(text8);
        ASSERT_TRUE(back) << locales[i].getName() << ": " << text8;
        ASSERT_EQ(ours.string(*back), text8) << locales[i].getName();
      }
    }
  }
}

TEST(Headings, AreReadOnlyWhereTheyFitAndTheDayExists) {
  const EnvironmentVariable zone("TZ", "UTC");
  const auto heading = formatter(kDay);
  for (const char* const text : {"05 MAR, 2024", "05  mar, 2024", "٠٥ Mar, 2024", "29 Feb, 2024"})
    EXPECT_TRUE(heading.date(text)) << text;
  for (const char* const text :
       {"", "5 Mar, 2024", "32 Mar, 2024", "00 Mar, 2024", "30 Feb, 2024", "29 Feb, 2023", "05 Mär, 2024",
        "05 Mar 2024", "05 Mar, 2024 ", "05 Mar, 2024x", "05 Mar, 20\xFF", "05 Mar, 99999999999"})
    EXPECT_FALSE(heading.date(text)) << text;
  EXPECT_FALSE(heading.date(std::string(1 << 20, '5')));
  EXPECT_EQ(formatter(kMonth).date("February 2024"), utc("2024-02-01"));
  EXPECT_EQ(formatter(kDay, "fa").date("15 اسفند, 1402"), utc("2024-03-05"));
  EXPECT_EQ(formatter("yyyy-MM-dd HH:mm Z").date("2024-03-05 10:00 +0200"), utc("2024-03-05 08:00"));
}

TEST(Headings, OfWhatIsNoDateOrInAPatternThatMeansNothingAreEmpty) {
  const EnvironmentVariable zone("TZ", "UTC");
  const double infinity = std::numeric_limits<double>::infinity();
  const double none[] = {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity, 1e300, -1e19};
  for (const double number : none) {
    const Date date{Date::duration(number)};
    EXPECT_EQ(libraryDayGroupFormatted(date), "");
    EXPECT_EQ(formatter("HH:mm").string(date), "");
    const Date back = day(date);
    EXPECT_TRUE(back == date || number != number);
  }
  EXPECT_EQ(formatter("yyyy G").string(Date(Date::duration(1e17))), "3170843 AD");
  for (const char* const pattern : {"jj", "dd J", "nn"}) {
    EXPECT_EQ(formatter(pattern).string(utc("2024-03-05")), "") << pattern;
    EXPECT_FALSE(formatter(pattern).date("05")) << pattern;
  }
}

TEST(Headings, FollowTheDevicesZoneAtEachCallWhileACalendarStays) {
  const EnvironmentVariable kyiv("TZ", "Europe/Kyiv");
  const auto time = formatter("dd HH:mm xxx");
  const Date afterMidnight = utc("2024-03-04 22:30");
  const auto calendar = calendarOf("gregorian", "Europe/Kyiv");
  EXPECT_EQ(libraryDayGroupFormatted(afterMidnight), "05 Mar, 2024");
  EXPECT_EQ(time.string(afterMidnight), "05 00:30 +02:00");
  EXPECT_EQ(day(afterMidnight), utc("2024-03-04 22:00"));
  const EnvironmentVariable lordHowe("TZ", "Australia/Lord_Howe");
  EXPECT_EQ(libraryMonthGroupFormatted(utc("2024-02-29 13:00")), "March 2024");
  EXPECT_EQ(time.string(afterMidnight), "05 09:30 +11:00");
  EXPECT_EQ(day(afterMidnight), utc("2024-03-04 13:00"));
  EXPECT_EQ(startOfTheDay(afterMidnight, calendar), utc("2024-03-04 22:00"));
}

TEST(Headings, AreReadAsTheFirstMomentOfADayThatClocksChange) {
  const struct {
    const char* zone;
    const char* text;
    const char* moment;
  } cases[] = {{"America/Santiago", "08 Sep, 2024 00:00", "2024-09-08 04:00"},  // midnight is skipped
               {"America/Havana", "03 Nov, 2024 00:00", "2024-11-03 04:00"},    // and occurs twice
               {"Europe/Kyiv", "27 Oct, 2024 03:30", "2024-10-27 00:30"},
               {"Australia/Lord_Howe", "06 Oct, 2024 02:15", "2024-10-05 15:30"}};
  for (const auto& [zone, text, moment] : cases) {
    const EnvironmentVariable there("TZ", zone);
    EXPECT_EQ(formatter("dd MMM, yyyy HH:mm").date(text), utc(moment)) << zone;
    const auto start = formatter(kDay).date(std::string(text).substr(0, 12));
    EXPECT_EQ(day(utc(moment)), start) << zone;
    EXPECT_EQ(startOfTheDay(utc(moment), calendarOf("gregorian", zone)), start) << zone;
  }
}

TEST(Headings, AreWrittenAndReadByManyThreadsAtOnce) {
  const EnvironmentVariable zone("TZ", "Europe/Kyiv");
  const EnvironmentVariable danish("LC_ALL", "da_DK");
  const auto persian = formatter("EEEE d MMMM yyyy HH:mm", "fa");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 12; ++thread) {
    threads.emplace_back([thread, persian] {
      for (int round = 0; round < 200; ++round) {
        const Date date = utc("2024-01-01") + std::chrono::hours(24 * (round * 12 + thread));
        EXPECT_EQ(persian.date(persian.string(date)), date);
        EXPECT_EQ(dayFormatter().string(day(date)), libraryDayGroupFormatted(date));
        EXPECT_EQ(monthFormatter().string(*monthFormatter().date(libraryMonthGroupFormatted(date))),
                  libraryMonthGroupFormatted(date));
        EXPECT_EQ(timeFormattedString(3601.0), "01.00.01");
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(UserLocale, IsTheFirstOfTheEnvironmentInUnicodesWords) {
  const EnvironmentVariable noAll("LC_ALL", "");
  const EnvironmentVariable noTime("LC_TIME", "");
  const std::pair<std::string, const char*> cases[] = {
      {"de_DE.UTF-8@euro", "de_DE"},
      {"sr_RS.UTF-8@latin", "sr_Latn_RS"},
      {"ca_ES@valencia", "ca_ES_VALENCIA"},
      {"en_US.UTF-8@calendar=hebrew", "en_US@calendar=hebrew"},
      {"C.UTF-8@calendar=hebrew", "en_US_POSIX@calendar=hebrew"},
      {"th_TH@numbers=thai;x=y;calendar=nonsense", "th_TH@numbers=thai"},
      {"C", "en_US_POSIX"},
      {"", "en_US_POSIX"},
      {"xx_YY", "en_US_POSIX"},
      {"../../etc/passwd", "en_US_POSIX"},
      {"_", "en_US_POSIX"},
      {"de\xFF", "en_US_POSIX"},
      {"de_" + std::string(100'000, 'x'), "en_US_POSIX"}};
  for (const auto& [name, identifier] : cases) {
    const EnvironmentVariable lang("LANG", name);
    EXPECT_EQ(platform::Locale::current().identifier(), identifier) << name.substr(0, 40);
  }
  const EnvironmentVariable lang("LANG", "de_DE");
  const EnvironmentVariable time("LC_TIME", "fr_FR");
  EXPECT_EQ(platform::Locale::current(), platform::Locale("fr-FR"));
  const EnvironmentVariable all("LC_ALL", "ja_JP");
  EXPECT_EQ(platform::Locale::current().identifier(), "ja_JP");
}

void speak(const fs::path& folder, const std::vector<std::string>& languages) {
  for (const std::string& language : languages) {
    fs::create_directories(folder / (language + ".lproj"));
    writeFile(folder / (language + ".lproj/Localizable.strings"), "k = v;");
  }
}

TEST(PreferredLocalizations, BeginWithTheBestMatchAndAreNeverNone) {
  const TemporaryFolder folder;
  using Languages = std::vector<std::string>;
  EXPECT_EQ(Bundle(folder.path()).preferredLocalizations({"de"}), Languages{"en"});
  speak(folder.path(), {"de", "fr", "pt-BR"});
  EXPECT_EQ(Bundle(folder.path()).preferredLocalizations({"ja"}), Languages{"en"});
  speak(folder.path(), {"en"});
  const Bundle bundle(folder.path(), {});
  const std::pair<Languages, Languages> cases[] = {{{"de_AT", "fr", "de"}, {"de", "fr"}},
                                                   {{"ja", "pt", "fr_CA"}, {"pt-BR", "fr"}},
                                                   {{"ja"}, {"en"}},
                                                   {{}, {"en"}}};
  for (const auto& [wanted, best] : cases) EXPECT_EQ(bundle.preferredLocalizations(wanted), best);
}

// Runs once more in a copy of this program that has another main bundle beside it.
TEST(DeviceLocale, StaysWhatItWasAtFirstUseAndIsReadAfreshWhereAsked) {
  const auto& main = Bundle::main();
  if (main.preferredLocalizations({"uk"}).front() != "uk") {
    const TemporaryFolder folder;
    fs::copy_file("/proc/self/exe", folder / "program");
    speak(folder / "Resources", {"de", "uk"});
    const EnvironmentVariable language("LANGUAGE", "de_AT");
    const std::string command = (folder / "program").string() + " --gtest_filter='DeviceLocale.*'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return;
  }
  const EnvironmentVariable zone("TZ", "UTC");
  EXPECT_EQ(deviceLocale().identifier(), "de");
  const EnvironmentVariable language("LANGUAGE", "uk");
  EXPECT_EQ(Locale::deviceLocale().identifier(), "uk");
  EXPECT_EQ(deviceLocale().identifier(), "de");
  EXPECT_EQ(libraryDayGroupFormatted(utc("2024-03-05")), "05 März, 2024");
  EXPECT_EQ(DateFormatter(kMonth).string(utc("2024-03-05")), "März 2024");
}

}  // namespace
}  // namespace tq::tests
