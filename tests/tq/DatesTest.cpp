// Runs the real program.

#include <gtest/gtest.h>

#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

Finished runIn(const std::string& zone, const std::string& locale, std::vector<std::string> arguments) {
  return runTq(Sandbox(), std::move(arguments), {"TZ=" + zone, "LC_ALL=" + locale});
}

TEST(TqDates, TellsADayItsNeighboursAndItsMonthInTheUsersZone) {
  const auto shown = runIn("Europe/Kyiv", "en_US.UTF-8", {"dates", "2024-03-31T23:30"});
  EXPECT_EQ(shown.out,
            "calendar                gregorian, Europe/Kyiv, en_US\n"
            "moment                  Sun 31 Mar 2024, 23:30:00 +03:00\n"
            "start of the day        Sun 31 Mar 2024, 00:00:00 +02:00\n"
            "noon                    Sun 31 Mar 2024, 12:00:00 +03:00\n"
            "yesterday               Sat 30 Mar 2024, 12:00:00 +02:00\n"
            "tomorrow                Mon 1 Apr 2024, 12:00:00 +03:00\n"
            "day heading             31 Mar, 2024\n"
            "month heading           March 2024\n"
            "first day of month      Fri 1 Mar 2024, 00:00:00 +02:00\n"
            "last day of month       Sun 31 Mar 2024, 00:00:00 +02:00\n"
            "first of previous month Thu 1 Feb 2024, 00:00:00 +02:00\n"
            "last of previous month  Thu 29 Feb 2024, 00:00:00 +02:00\n"
            "days in the month       31\n");
}

TEST(TqDates, CountsInTheUsersCalendarAndRefusesWhatIsNoDate) {
  const auto shown = runIn("Asia/Bangkok", "th_TH.UTF-8", {"dates", "2024-02-29"});
  EXPECT_NE(shown.out.find("buddhist, Asia/Bangkok, th_TH\n"), std::string::npos) << shown.out;
  EXPECT_NE(shown.out.find("29 ก.พ. 2567"), std::string::npos) << shown.out;
  EXPECT_NE(shown.out.find("day heading             29 Feb, 2024\n"), std::string::npos) << shown.out;

  const auto refused = runIn("UTC", "C", {"dates", "2024-02-30"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_EQ(refused.error, "tq: \"2024-02-30\" is no date such as 2024-03-05 or 2024-03-05T09:30:00\n");
}

TEST(TqDuration, ShowsEachNumberOfSecondsAndRefusesOtherTexts) {
  const auto shown = runIn("UTC", "en_US.UTF-8", {"duration", "0", "59.9", "3600", "3601", "-65", "nan"});
  EXPECT_EQ(shown.out, "00:00\n00:59\n60:00\n01:00:01\n-01:05\n--:--\n");
  EXPECT_EQ(runIn("UTC", "fi_FI.UTF-8", {"duration", "65"}).out, "01.05\n");

  const auto refused = runIn("UTC", "C", {"duration", "5", "5x"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.error, "tq: \"5x\" is no number of seconds\n");
}

}  // namespace
}  // namespace tq::tests
