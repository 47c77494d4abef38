// Runs the real program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>
#include <tuple>

#include "tests/support/LoopbackServer.h"
#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;
using Words = std::vector<std::string>;

class Tq : public testing::Test {
 protected:
  static fs::path clip(const std::string& name) { return fs::path(TQ_CLIPS) / name; }

  Finished run(const Words& arguments, const Words& environment = {}) const {
    return runTq(sandbox_, arguments, environment);
  }
  void addToCloud(const std::string& name, const std::string& url) const {
    writeFile(sandbox_.library / (name + ".cloud"), url + "\n");
  }
  Sandbox sandbox_;
  const std::string library_ = sandbox_.library.path();
  const std::string file_ = sandbox_.root / "a.mov";
  LoopbackServer server_;
  const std::string url_ = server_.url("/clip");
};

TEST_F(Tq, LoadPrintsARowForEachElementInTheGivenOrderAndKeepsWhatItHasFetched) {
  server_.serve("/clip", {.body = readFile(clip("life.mkv"))});
  fs::copy(clip("test-card.mp4"), library_);
  addToCloud("life.mkv", url_);
  for (int round = 0; round < 2; ++round) {
    const auto tq = run({"load", library_, "--cache", file_, "life.mkv", "test-card.mp4", "life.mkv"});
    EXPECT_EQ(tq.exitCode, 0) << tq.error;
    EXPECT_EQ(tq.out,
              "life.mkv       0:04.0   160x90  hevc  fetched\n"
              "test-card.mp4  0:03.0  320x180  h264  local\n"
              "life.mkv       0:04.0   160x90  hevc  fetched\n");
  }
  EXPECT_EQ(server_.requests("/clip"), 1);
  EXPECT_EQ(sandbox_.temporary.files(), 0);
}

TEST_F(Tq, LoadsTheWholeFolderAndLetsNoNameActOnTheTerminal) {
  fs::create_symlink("nowhere", sandbox_.library / "gone.avi");
  const auto none = run({"load", "--json", library_});
  EXPECT_EQ(none.out, "[]\n");
  EXPECT_THAT(none.error, HasSubstr("no videos"));
  EXPECT_THAT(none.error, HasSubstr("tq: skipped: cannot read " + library_ + "/gone.avi"));
  const std::string hostile = "a\x1b]0;own\a\n\xff\u202e.avi";
  fs::copy(clip("colour-bars.mov"), library_);
  fs::copy(clip("gradients.avi"), sandbox_.library / hostile);
  EXPECT_EQ(run({"load", library_, hostile, "colour-bars.mov"}).out,
            "a\\x1B]0;own\\x07\\x0A\\xFF\\xE2\\x80\\xAE.avi  0:02.0  240x136  mjpeg  local\n"
            "colour-bars.mov                          0:02.5  256x144  mpeg4  local\n");
  const auto tq = run({"load", "--json", library_});
  const auto json = nlohmann::json::parse(tq.out);
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["identifier"], "a\x1b]0;own\a\n\ufffd\u202e.avi");
  const std::string file = sandbox_.library / "colour-bars.mov";
  EXPECT_EQ(json[1].dump(), R"({"codec":"mpeg4","duration":2.5,"file":")" + file + R"(","height":144,)" +
                                R"("identifier":"colour-bars.mov","source":"local","width":256})");
  EXPECT_THAT(tq.out, Not(HasSubstr("\x1b")));
}

TEST_F(Tq, DownloadPutsTheFileInPlaceAndWarnsOfAStatusThatIsNoSuccess) {
  for (const int status : {200, 404}) {
    server_.serve("/clip", {.status = status, .body = "film"});
    const auto tq = run({"download", url_, file_});
    EXPECT_EQ(tq.exitCode, 0) << tq.error;
    EXPECT_EQ(readFile(file_), "film");
    fs::remove(file_);
    EXPECT_EQ(tq.error.find("answered with status 404") != std::string::npos, status == 404) << tq.error;
  }
}

TEST_F(Tq, DownloadNeverOverwritesAlsoWhatAppearsDuringTheTransfer) {
  server_.serve("/clip", {.body = "film", .pause = 300ms, .pauseEvery = 2});
  RunningTq tq(sandbox_, {"download", url_, file_});
  ASSERT_TRUE(eventually([&] { return server_.requests("/clip") == 1; }));
  writeFile(file_, "mine");
  for (const auto& ended : {tq.finish(), run({"download", url_, file_})}) {
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_THAT(ended.error, HasSubstr("exists"));
  }
  EXPECT_EQ(readFile(file_), "mine");
  EXPECT_EQ(server_.requests("/clip"), 1);
  EXPECT_EQ(sandbox_.temporary.files(), 0);
}

TEST_F(Tq, RefusesWithASentenceAndItsExitCode) {
  fs::copy(clip("gradients.avi"), library_);
  addToCloud("cloud.mp4", "http://127.0.0.1:1/refused");
  writeFile(sandbox_.library / "broken.mp4", "no video");
  const std::string away = "http://127.0.0.1:1/a";
  const std::tuple<int, const char*, Words> cases[] = {
      {1, R"(no video "b\x1B.avi")", {"load", library_, "gradients.avi", "b\x1b.avi"}},
      {1, "No such file or directory", {"load", library_ + "/nowhere"}},
      {1, "broken.mp4 is not playable", {"load", library_, "gradients.avi", "broken.mp4"}},
      {1, "cannot fetch", {"load", library_, "cloud.mp4"}},
      {1, "cannot fetch", {"download", "--retries", "0", away, file_}},
      {1, "no http or https URL", {"download", "http://a b", file_}},
      {1, "there is no folder", {"download", away, file_ + "/a"}},
      {1, "is a folder", {"download", away, library_}},
      {2, "name a command", {}},
      {2, "lode", {"lode"}},
      {2, "--fast", {"load", library_, "--fast"}},
      {2, "FILE", {"download", away}}};
  for (const auto& [exitCode, sentence, arguments] : cases) {
    const auto tq = run(arguments);
    EXPECT_EQ(tq.exitCode, exitCode) << sentence;
    EXPECT_TRUE(tq.error.starts_with("tq: ")) << tq.error;
    EXPECT_THAT(tq.error, HasSubstr(sentence));
    EXPECT_EQ(tq.out, "");
  }
  const auto full = run({"load", library_, "gradients.avi"}, {"HOME=/proc"});
  EXPECT_THAT(full.error, HasSubstr("more than 300 MiB must be free"));
  EXPECT_EQ(sandbox_.temporary.files(), 0);
}

TEST_F(Tq, DownloadsWithoutStandardStreamsAndSurvivesALimitOfFileSizes) {
  const std::string body(100'000, 'f');
  server_.serve("/clip", {.body = body, .pause = 150ms, .pauseEvery = 25'000});  // progress is shown
  const auto shell = [this](const std::string& before, const std::string& after) {
    const std::string environment =
        "HOME=" + sandbox_.home.path().string() + " TMPDIR=" + sandbox_.temporary.path().string();
    const std::string command =
        before + environment + " " TQ_PROGRAM " download " + url_ + ' ' + file_ + after;
    return std::system(command.c_str());  // NOLINT(concurrency-mt-unsafe): one thread
  };
  EXPECT_EQ(shell("", " <&- 2>&-"), 0);
  EXPECT_EQ(readFile(file_), body);
  fs::remove(file_);
  const fs::path error = sandbox_.root / "error";
  EXPECT_EQ(WEXITSTATUS(shell("ulimit -f 8; ", " 2>" + error.string())), 1);
  EXPECT_THAT(readFile(error), HasSubstr("File too large"));
}

TEST_F(Tq, EndsWithoutATraceAtEverySignal) {
  server_.serve("/clip", {.body = readFile(clip("life.mkv")), .then = Reply::Then::stall, .after = 9000});
  addToCloud("life.mkv", url_);
  int requests = 0;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    for (const auto& arguments : {Words{"load", library_, "--cache", sandbox_.root / "cache"},
                                  Words{"download", url_, sandbox_.root / "a.mkv"}}) {
      RunningTq tq(sandbox_, arguments);
      ++requests;
      ASSERT_TRUE(eventually([&] { return server_.requests("/clip") == requests; }));
      tq.signal(signal);
      const auto ended = tq.finish();
      EXPECT_EQ(ended.exitCode, 130);
      EXPECT_THAT(ended.error, HasSubstr("tq: cancelled\n"));
      EXPECT_EQ(ended.out, "");
      EXPECT_EQ(sandbox_.temporary.files() + sandbox_.root.files(), 0);
    }
  }
}

TEST_F(Tq, DownloadGoesOnFromWhereItWasInterruptedUnlessToldNotTo) {
  const std::string body(900'000, 'v');
  for (const bool resumes : {true, false}) {
    Words arguments{"download", url_, file_};
    if (!resumes) arguments.push_back("--no-resume");
    server_.serve("/clip",
                  {.headers = "ETag: \"a\"\r\n", .body = body, .then = Reply::Then::stall, .after = 600'000});
    const int requests = server_.requests("/clip");
    RunningTq tq(sandbox_, arguments);
    ASSERT_TRUE(eventually([&] { return server_.requests("/clip") > requests; }));
    ASSERT_TRUE(eventually([&] { return sandbox_.home.files() == (resumes ? 2 : 0); }));
    tq.signal(SIGINT);
    EXPECT_EQ(tq.finish().exitCode, 130);
    EXPECT_EQ(sandbox_.home.files(), resumes ? 2 : 0);
    // The server's thread may outlive this case: what it uses it holds.
    const auto asksForTheRest = std::make_shared<std::atomic<bool>>(false);
    server_.serve("/clip", {.respond = [asksForTheRest, body](const std::string& request) {
                    *asksForTheRest = request.find("If-Range: \"a\"\r\n") != std::string::npos;
                    return Reply{.headers = "ETag: \"a\"\r\n", .body = body};
                  }});
    EXPECT_EQ(run(arguments).exitCode, 0);
    EXPECT_EQ(*asksForTheRest, resumes);
    EXPECT_EQ(readFile(file_), body);
    EXPECT_EQ(sandbox_.home.files(), 0);
    fs::remove(file_);
  }
}

// Both signals wait while the program is stopped, and come before it can do anything.
TEST_F(Tq, EndsAtOnceAtASecondSignal) {
  server_.serve("/clip", {.raw = "", .then = Reply::Then::stall});
  RunningTq tq(sandbox_, {"download", "--no-resume", url_, file_});
  ASSERT_TRUE(eventually([&] { return server_.requests("/clip") == 1; }));
  for (const int number : {SIGSTOP, SIGINT, SIGTERM, SIGCONT}) tq.signal(number);
  const auto ended = tq.finish();
  EXPECT_EQ(ended.exitCode, 130);
  EXPECT_EQ(ended.error, "");
}

TEST_F(Tq, ProgressStaysOnOneLineOfATerminalAndIsWipedOut) {
  if (!hasTerminals()) GTEST_SKIP() << "needs a pseudo terminal (/dev/pts)";
  server_.serve("/clip", {.body = readFile(clip("life.mkv")), .pause = 20ms, .pauseEvery = 3000});
  addToCloud("a name that is longer than the line, 長い名前.mkv", url_);
  constexpr unsigned short kColumns = 40;
  const auto tq = RunningTq(sandbox_, {"load", library_}, {}, kColumns).finish();
  EXPECT_EQ(tq.exitCode, 0);
  EXPECT_THAT(tq.error, Not(HasSubstr("\n")));
  EXPECT_TRUE(tq.error.ends_with("\r\x1b[K")) << tq.error;
  int drawn = 0;
  std::istringstream lines(tq.error);
  for (std::string line; std::getline(lines, line, '\r');) {
    EXPECT_LT(line.size(), kColumns + 3U);  // what fits is ASCII, and three bytes wipe the rest of the line
    drawn += line.find('%') != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(drawn, 3);
}

TEST_F(Tq, ProgressIsAFewPlainLinesElsewhere) {
  server_.serve("/clip", {.generatedBytes = 2'000'000, .pause = 5ms, .pauseEvery = 20'000});
  const auto tq = run({"download", url_, file_});
  EXPECT_TRUE(tq.error.ends_with("tq: downloaded 100 %\n")) << tq.error;
  const auto lines = std::count(tq.error.begin(), tq.error.end(), '\n');
  EXPECT_GE(lines, 3);
  EXPECT_LE(lines, 10);
}

TEST_F(Tq, DemoLoadsItsOwnLibraryAndTakesItAway) {
  const auto tq = run({"demo"}, {"http_proxy=http://127.0.0.1:1"});
  EXPECT_EQ(tq.exitCode, 0) << tq.error;
  EXPECT_THAT(tq.out, HasSubstr("\n"
                                "colour-bars.mov  0:02.5  256x144  mpeg4  local\n"
                                "mandelbrot.webm  0:03.2  192x108  vp9    fetched\n"
                                "gradients.avi    0:02.0  240x136  mjpeg  local\n"
                                "test-card.mp4    0:03.0  320x180  h264   fetched\n"
                                "colour-bars.mov  0:02.5  256x144  mpeg4  local\n"
                                "life.mkv         0:04.0   160x90  hevc   fetched\n"));
  EXPECT_EQ(sandbox_.temporary.files() + sandbox_.home.files(), 0);
}

}  // namespace
}  // namespace tq::tests
