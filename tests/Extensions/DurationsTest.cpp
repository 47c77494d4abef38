// The text of durations.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "TQFoundation/Extensions/TQDurationExtensions.h"
#include "TQFoundation/Extensions/TQStringExtensions.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using Formatter = DateComponentsFormatter;

TEST(Duration, IsCutTowardZeroAndHasHoursFromTheSecondBeyondOne) {
  const EnvironmentVariable locale("LC_ALL", "en_US.UTF-8");
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, const char*> cases[] = {{0, "00:00"},
                                                  {5, "00:05"},
                                                  {59.9, "00:59"},
                                                  {65, "01:05"},
                                                  {3599, "59:59"},
                                                  {3600, "60:00"},
                                                  {3600.999, "60:00"},
                                                  {3601, "01:00:01"},
                                                  {359'999, "99:59:59"},
                                                  {360'000, "100:00:00"},
                                                  {-0.9, "00:00"},
                                                  {-1, "-00:01"},
                                                  {-65.5, "-01:05"},
                                                  {-7'261, "-121:01"},
                                                  {0x1p63 - 1024, "2562047788015215:13:04"},
                                                  {-0x1p63, "-153722867280912930:08"},
                                                  {0x1p63, "--:--"},
                                                  {-0x1p63 - 2048, "--:--"},
                                                  {infinity, "--:--"},
                                                  {std::nan(""), "--:--"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(timeFormattedString(seconds), text) << seconds;
  for (const float seconds : {0.0F, 59.9F, 3600.5F, 3601.0F, -65.5F, 1e30F, std::nanf("")}) {
    EXPECT_EQ(timeFormattedString(seconds), timeFormattedString(double{seconds}));
    EXPECT_EQ(String::timeLabelFor(seconds), timeFormattedString(seconds));
  }
}

TEST(Duration, FormatterAllowsTheUnitsThatTheCountCallsFor) {
  const EnvironmentVariable locale("LC_ALL", "C");
  for (const std::int64_t seconds :
       {std::numeric_limits<std::int64_t>::min(), std::int64_t{-3601}, std::int64_t{0}, std::int64_t{3600}})
    EXPECT_EQ(Formatter::timeRemainingFormatterWith(seconds).allowedUnits, 192U) << seconds;
  Formatter formatter = Formatter::timeRemainingFormatterWith(3601);
  EXPECT_EQ(formatter.allowedUnits, 224U);
  EXPECT_EQ(static_cast<std::uint32_t>(formatter.zeroFormattingBehavior), 65536U);
  const struct {
    Formatter::Units units;
    const char* text;
    const char* unpadded;
  } cases[] = {{Formatter::hour, "02", "2"},
               {Formatter::minute, "121", "121"},
               {Formatter::second, "7261", "7261"},
               {Formatter::hour | Formatter::second, "02:61", "2:61"},
               {Formatter::hour | Formatter::minute, "02:01", "2:01"},
               {0, "", ""}};
  for (const auto& [units, text, unpadded] : cases) {
    formatter.allowedUnits = units;
    formatter.zeroFormattingBehavior = Formatter::ZeroFormattingBehavior::pad;
    EXPECT_EQ(formatter.string(7'261.5), text);
    formatter.zeroFormattingBehavior = Formatter::ZeroFormattingBehavior::standard;
    EXPECT_EQ(formatter.string(7'261.5), unpadded);
  }
  formatter.allowedUnits = Formatter::minute;
  EXPECT_EQ(formatter.string(-59), "0");
  EXPECT_EQ(formatter.string(-60), "-1");
  formatter.allowedUnits = 0;
  EXPECT_EQ(formatter.string(-7'261.5), "");
}

TEST(Duration, HasTheSeparatorAndTheDigitsOfTheUsersLocale) {
  const std::pair<const char*, const char*> cases[] = {
      {"da_DK.UTF-8", "-01.05 02.00.01"},
      {"fi_FI", "-01.05 02.00.01"},
      {"sr_RS@latin", "-01.05 02.00.01"},
      {"ar_AE", "-01:05 02:00:01"},
      {"ar_EG", "-٠١:٠٥ ٠٢:٠٠:٠١"},
      {"fa_IR", "-۰۱:۰۵ ۰۲:۰۰:۰۱"},
      {"mr_IN", "-०१:०५ ०२:००:०१"},
      {"my_MM", "-၀၁:၀၅ ၀၂:၀၀:၀၁"},
      {"th_TH", "-01:05 02:00:01"},
      {"th_TH@numbers=thai", "-๐๑:๐๕ ๐๒:๐๐:๐๑"},
      {"ff_Adlm_SN", "-𞥐𞥑:𞥐𞥕 𞥐𞥒:𞥐𞥐:𞥐𞥑"},
      {"zh_CN@numbers=hans", "-01:05 02:00:01"}};
  for (const auto& [name, text] : cases) {
    const EnvironmentVariable locale("LC_ALL", name);
    EXPECT_EQ(timeFormattedString(-65.0) + " " + timeFormattedString(7201.0), text) << name;
  }
}

TEST(Duration, FollowsTheEnvironmentHoweverItChanges) {
  const EnvironmentVariable all("LC_ALL", "");
  const EnvironmentVariable time("LC_TIME", "");
  const EnvironmentVariable lang("LANG", "da_DK");
  const auto now = [] { return timeFormattedString(65.0); };
  EXPECT_EQ(now(), "01.05");
  const EnvironmentVariable another("TQ_ANOTHER", "1");
  ::setenv("LC_TIME", "fa_IR", 1);
  EXPECT_EQ(now(), "۰۱:۰۵");
  ::unsetenv("TQ_ANOTHER");
  ::unsetenv("LC_ALL");
  EXPECT_EQ(now(), "۰۱:۰۵");
  ::setenv("LC_ALL", "de_DE", 1);  // as many variables as before
  EXPECT_EQ(now(), "01:05");
  ::unsetenv("LC_ALL");
  ::unsetenv("LC_TIME");
  EXPECT_EQ(now(), "01.05");
  ::setenv("LANG", "C", 1);
  EXPECT_EQ(now(), "01:05");
}

}  // namespace
}  // namespace tq::tests
