// Runs the real program: its commands but for those that load and download.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TQFoundation/Extensions/TQDeviceExtensions.h"
#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

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
  EXPECT_THAT(shown.out, HasSubstr("29 ก.พ. 2567"));
  EXPECT_THAT(shown.out, HasSubstr("day heading             29 Feb, 2024\n"));
  const auto refused = runIn("UTC", "C", {"dates", "2024-02-30"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_EQ(refused.error, "tq: \"2024-02-30\" is no date such as 2024-03-05 or 2024-03-05T09:30:00\n");
}

TEST(TqDuration, ShowsEachNumberOfSecondsAndRefusesOtherTexts) {
  EXPECT_EQ(runIn("UTC", "fi_FI.UTF-8", {"duration", "59.9", "-65", "nan"}).out, "00.59\n-01.05\n--:--\n");
  const auto refused = runIn("UTC", "C", {"duration", "5", "5x"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.error, "tq: \"5x\" is no number of seconds\n");
}

TEST(TqDevice, PrintsAFactPerLineInTheUsersLocale) {
  const Sandbox sandbox;
  const EnvironmentVariable simulated("SIMULATOR_MODEL_IDENTIFIER", "iPad6,3");
  const std::string facts = "model           " + std::string(rawValue(UIDevice::type())) +
                            "\nidentifier      " + DeviceInfo::shared()->hardwareIdentifier() +
                            "\nsystem version  " + UIDevice::osVersion() + "\nlanguage        ";
  const auto tq = runTq(sandbox, {"device"}, {"LC_ALL=ar_EG.UTF-8", "SIMULATOR_MODEL_IDENTIFIER=iPad6,3"});
  EXPECT_EQ(tq.exitCode, 0) << tq.error;
  ASSERT_EQ(tq.out.substr(0, facts.size()), facts);
  constexpr const char* kEnding =
      "ar_EG\nfree space      (٠|١|٢|٣|٤|٥|٦|٧|٨|٩)+(٫(٠|١|٢|٣|٤|٥|٦|٧|٨|٩)+)? [KMGTPE]B\n";
  EXPECT_THAT(tq.out.substr(facts.size()), testing::MatchesRegex(kEnding));
}

// As root of a new network namespace: two ends of a cable, and what happens to them. Each step waits for the
// line that it leads to.
constexpr const char* kScript = R"sh(
set -e
out=$1
ip link set lo up
ip link add here type veth peer name there
ip address add 10.9.0.1/24 dev here
ip link set here up
ip link set there up
"$2" net >"$out" &
tq=$!
lines() { for i in $(seq 500); do [ "$(wc -l <"$out")" -ge "$1" ] && return; sleep 0.02; done; kill $tq; exit 9; }
lines 1; ip route add default via 10.9.0.2
lines 2; ip link set there down
lines 3; ip link set there up
lines 4; ip route replace default dev here
lines 5; ip link set here down
lines 6; kill -INT $tq
wait $tq
"$2" net --once 127.0.0.1 >>"$out"
"$2" net --once no-such-host.invalid >>"$out"
"$2" net --once "" >>"$out" 2>/dev/null || echo "status $?" >>"$out"
)sh";

TEST(TqNet, ShowsTheNetworkAndEachChangeUntilCtrlC) {
  if (std::system("unshare -rn ip link >/dev/null 2>&1") != 0)  // NOLINT(concurrency-mt-unsafe): one thread
    GTEST_SKIP() << "this user may not make a network namespace";
  const Sandbox sandbox;
  const auto script = sandbox.root / "script";
  const auto out = sandbox.root / "out";
  writeFile(script, kScript);
  const std::string command = "unshare -rn sh " + script.string() + " " + out.string() + " " TQ_PROGRAM;
  EXPECT_EQ(std::system(command.c_str()), 0);  // NOLINT(concurrency-mt-unsafe): one thread
  EXPECT_EQ(readFile(out),
            "No Connection  -- -------\n"
            "WiFi           -R -------\n"
            "No Connection  -- -------\n"
            "WiFi           -R -------\n"
            "WiFi           -R ------d\n"
            "No Connection  -- -------\n"
            "WiFi           -R -----ld\n"
            "No Connection  -- -------\n"
            "status 2\n");
}

class TqFolders : public testing::Test {
 protected:
  TqFolders() {
    fs::create_directories(cloud_ / "sub");
    fs::permissions(temporary_, fs::perms::owner_all);
    writeFile(cloud_ / "a.mov", std::string(1'500'000, 'a'));
    writeFile(cloud_ / "sub/b.mov", std::string(40'000, 'b'));
    writeFile(sandbox_.root / "film", std::string(9'000'000, 'f'));
    fs::create_symlink(sandbox_.root / "film", cloud_ / "link");
  }

  Finished run(const std::vector<std::string>& arguments, const std::string& locale = "C") {
    return runTq(sandbox_, arguments, {data_, "LC_ALL=" + locale});
  }

  Sandbox sandbox_;
  const std::string data_ = "XDG_DATA_HOME=" + (sandbox_.home / "data").string();
  const fs::path temporary_ = sandbox_.temporary / ("tq-" + std::to_string(::geteuid()));
  const fs::path cloud_ = temporary_ / "CloudMedias";
  const fs::path partialFiles_ = sandbox_.home / ".cache/tq/PartialFiles";
  const fs::path content_ = sandbox_.home / "data/tq/InAppMessageContent";
};

TEST_F(TqFolders, ShowsWhatEachHoldsInTheUsersLocale) {
  writeFile(temporary_ / "EditingMedias", "");
  const auto tq = run({"folders"}, "de_DE.UTF-8");
  EXPECT_EQ(tq.out, "temporary      4 files, 1,5 MB  " + temporary_.string() +
                        "\n"
                        "cloud media    3 files, 1,5 MB  " +
                        cloud_.string() +
                        "\n"
                        "editing media  none             cannot be had\n"
                        "partial files  none             " +
                        partialFiles_.string() +
                        "\n"
                        "videos         empty            " +
                        (sandbox_.home / "data/tq/RecommendedVideos").string() +
                        "\n"
                        "message image  none             " +
                        (content_ / "inAppMessageBackgroundImage.png").string() + "\n");
  EXPECT_EQ(tq.error, "tq: Unable to create new directory. Returning Temporary Directory\n");
}

TEST_F(TqFolders, CleansOnlyWhatItIsToldTo) {
  const auto refused = run({"clean"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.error, HasSubstr("--yes"));
  EXPECT_TRUE(fs::exists(cloud_ / "sub/b.mov"));

  fs::create_directories(content_);
  fs::create_directories(partialFiles_);
  writeFile(partialFiles_ / (".tq-" + std::string(64, 'a') + ".part"), "part");
  fs::permissions(partialFiles_, fs::perms::owner_all);
  writeFile(content_ / "inAppMessageBackgroundImage.png", "image");
  const auto cleaned = run({"clean", "--yes"});
  EXPECT_EQ(cleaned.out, "Removed:\ncloud media    3 files, 1.5 MB  " + cloud_.string() +
                             "\npartial files  1 file, 4 bytes  " + partialFiles_.string() + "\n");
  EXPECT_EQ(cleaned.error, "");
  EXPECT_EQ(fs::file_size(sandbox_.root / "film"), 9'000'000U);
  EXPECT_THAT(run({"clean", "--yes", "--image"}).out, HasSubstr("message image  1 file, 5 bytes  "));
  EXPECT_TRUE(fs::is_empty(content_));
  EXPECT_EQ(run({"clean"}).out, "There is nothing to remove.\n");
}

TEST_F(TqFolders, AsksOnATerminal) {
  if (!hasTerminals()) GTEST_SKIP() << "needs a pseudo terminal (/dev/pts)";
  const std::tuple<std::string, int, bool> answers[] = {
      {"\n", 1, true}, {"\x04", 130, true}, {"\x03", 130, true}, {"y\n", 0, false}};
  for (const auto& [answer, exitCode, stays] : answers) {
    RunningTq tq(sandbox_, {"clean"}, {data_}, 80);
    tq.typeAfter("[y/N] ", answer);
    const auto ended = tq.finish();
    EXPECT_EQ(ended.exitCode, exitCode) << ended.error;
    EXPECT_EQ(fs::exists(cloud_), stays);
  }
}

}  // namespace
}  // namespace tq::tests
