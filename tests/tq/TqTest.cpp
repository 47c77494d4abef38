// Runs the real program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/Platform/Default/DirectoryPhotoLibrary/Clips.h"
#include "tests/support/LoopbackServer.h"
#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;
using Words = std::vector<std::string>;

fs::path clip(const std::string& name) {
  return fs::path(TQ_CLIPS) / name;
}

void addToCloud(const Sandbox& sandbox, const std::string& name, const std::string& url) {
  writeFile(sandbox.library / (name + ".cloud"), url + "\n");
}

TEST(TqLoad, PrintsARowForEachElementInTheGivenOrderAndKeepsWhatItHasFetched) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/original", {.body = readFile(clip("life.mkv"))});
  fs::copy(clip("test-card.mp4"), sandbox.library.path());
  addToCloud(sandbox, "life.mkv", server.url("/original"));
  const std::string cache = (sandbox.root / "cache").string();
  for (int run = 0; run < 2; ++run) {
    const auto tq = runTq(
        sandbox, {"load", sandbox.library.path(), "--cache", cache, "life.mkv", "test-card.mp4", "life.mkv"});
    EXPECT_EQ(tq.exitCode, 0) << tq.error;
    EXPECT_EQ(tq.out,
              "life.mkv       0:04.0   160x90  hevc  fetched\n"
              "test-card.mp4  0:03.0  320x180  h264  local\n"
              "life.mkv       0:04.0   160x90  hevc  fetched\n");
  }
  EXPECT_EQ(server.requests("/original"), 1);
  EXPECT_EQ(sandbox.temporary.files(), 0);
}

TEST(TqLoad, LoadsTheWholeFolderAndLetsNoNameActOnTheTerminal) {
  const Sandbox sandbox;
  const std::string hostile = "a\x1b]0;own\a\n\xff\u202e.avi";
  fs::copy(clip("colour-bars.mov"), sandbox.library.path());
  fs::copy(clip("gradients.avi"), sandbox.library / hostile);

  const auto rows = runTq(sandbox, {"load", sandbox.library.path()});
  EXPECT_EQ(rows.out,
            "a\\x1B]0;own\\x07\\x0A\\xFF\\xE2\\x80\\xAE.avi  0:02.0  240x136  mjpeg  local\n"
            "colour-bars.mov                          0:02.5  256x144  mpeg4  local\n");

  const auto tq = runTq(sandbox, {"load", "--json", sandbox.library.path()});
  const auto json = nlohmann::json::parse(tq.out);
  ASSERT_EQ(json.size(), 2U);
  EXPECT_EQ(json[0]["identifier"], "a\x1b]0;own\a\n\ufffd\u202e.avi");
  EXPECT_EQ(json[1], (nlohmann::json{{"identifier", "colour-bars.mov"},
                                     {"duration", 2.5},
                                     {"width", 256},
                                     {"height", 144},
                                     {"codec", "mpeg4"},
                                     {"source", "local"},
                                     {"file", (sandbox.library / "colour-bars.mov").string()}}));
  EXPECT_THAT(tq.out, Not(HasSubstr("\x1b")));
  EXPECT_EQ(runTq(sandbox, {"load", sandbox.library.path(), hostile}).exitCode, 0);
}

TEST(TqLoad, TellsTheDurationsOfManyContainersHereAndInTheCloud) {
  ASSERT_GE(allClips().size(), 20U);
  for (const bool halfInTheCloud : {false, true}) {
    const Sandbox sandbox;
    LoopbackServer server;
    bool inCloud = false;
    for (const Clip& clip : allClips()) {
      const std::string path = "/" + std::string(clip.name);
      inCloud = halfInTheCloud && !inCloud;
      if (inCloud) {
        server.serve(path, {.body = readFile(clipFile(clip.name))});
        addToCloud(sandbox, clip.name, server.url(path));
      } else {
        fs::copy(clipFile(clip.name), sandbox.library.path());
      }
    }
    const auto tq = runTq(sandbox, {"load", "--json", sandbox.library.path()});
    ASSERT_EQ(tq.exitCode, 0) << tq.error;
    const auto rows = nlohmann::json::parse(tq.out);
    ASSERT_EQ(rows.size(), allClips().size());
    for (const Clip& clip : allClips()) {
      const auto row =
          std::find_if(rows.begin(), rows.end(), [&](const auto& r) { return r["identifier"] == clip.name; });
      ASSERT_NE(row, rows.end()) << clip.name;
      EXPECT_NEAR((*row)["duration"].get<double>(), clip.seconds, kDurationTolerance) << clip.name;
      EXPECT_EQ((*row)["codec"], clip.codec);
    }
    const auto fetched =
        std::count_if(rows.begin(), rows.end(), [](const auto& r) { return r["source"] == "fetched"; });
    EXPECT_EQ(fetched, halfInTheCloud ? static_cast<std::ptrdiff_t>((rows.size() + 1) / 2) : 0);
  }
}

TEST(TqLoad, AnEmptyLibraryIsNoFailure) {
  const Sandbox sandbox;
  const auto tq = runTq(sandbox, {"load", "--json", sandbox.library.path()});
  EXPECT_EQ(tq.exitCode, 0);
  EXPECT_EQ(tq.out, "[]\n");
  EXPECT_THAT(tq.error, HasSubstr("no videos"));
}

TEST(TqDownload, PutsTheFileInPlaceAndWarnsOfAStatusThatIsNoSuccess) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip", {.body = "film", .length = Reply::Length::chunked});
  server.serve("/gone", {.status = 404, .body = "no such film"});
  const fs::path file = sandbox.root / "a.mov";
  const auto tq = runTq(sandbox, {"download", server.url("/clip"), file});
  EXPECT_EQ(tq.exitCode, 0) << tq.error;
  EXPECT_EQ(readFile(file), "film");
  EXPECT_THAT(tq.error, Not(HasSubstr("warning")));

  const auto gone = runTq(sandbox, {"download", server.url("/gone"), sandbox.root / "b.mov"});
  EXPECT_EQ(gone.exitCode, 0);
  EXPECT_EQ(readFile(sandbox.root / "b.mov"), "no such film");
  EXPECT_THAT(gone.error, HasSubstr("warning: the server answered with status 404"));
}

TEST(TqDownload, NeverOverwritesAlsoWhatAppearsDuringTheTransfer) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip", {.body = "film", .pause = 300ms, .pauseEvery = 2});
  const fs::path file = sandbox.root / "a.mov";
  RunningTq tq(sandbox, {"download", server.url("/clip"), file});
  ASSERT_TRUE(eventually([&] { return server.requests("/clip") == 1; }));
  writeFile(file, "mine");
  for (const auto& run : {tq.finish(), runTq(sandbox, {"download", server.url("/clip"), file})}) {
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.error, HasSubstr("exists"));
  }
  EXPECT_EQ(readFile(file), "mine");
  EXPECT_EQ(server.requests("/clip"), 1);
  EXPECT_EQ(sandbox.temporary.files(), 0);
}

struct Refusal {
  std::string name;
  Words arguments;  // "@" stands for the library
  int exitCode;
  std::string sentence;
  Words environment{};
};

class TqRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(TqRefuses, WithASentenceAndItsExitCode) {
  const Sandbox sandbox;
  fs::copy(clip("gradients.avi"), sandbox.library.path());
  addToCloud(sandbox, "cloud.mp4", "http://127.0.0.1:1/refused");
  writeFile(sandbox.library / "broken.mp4", "no video");
  auto arguments = GetParam().arguments;
  for (auto& argument : arguments) {
    if (argument.starts_with('@')) argument.replace(0, 1, sandbox.library.path().string());
  }
  const auto tq = runTq(sandbox, arguments, GetParam().environment);
  EXPECT_EQ(tq.exitCode, GetParam().exitCode);
  EXPECT_TRUE(tq.error.starts_with("tq: ")) << tq.error;
  EXPECT_THAT(tq.error, HasSubstr(GetParam().sentence));
  EXPECT_EQ(tq.out, "");
  EXPECT_EQ(sandbox.temporary.files(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Everything, TqRefuses,
    testing::ValuesIn(std::vector<Refusal>{
        {"UnknownVideo", {"load", "@", "gradients.avi", "b\x1b.avi"}, 1, R"(no video "b\x1B.avi")"},
        {"MissingFolder", {"load", "@/nowhere"}, 1, "No such file or directory"},
        {"BrokenVideo", {"load", "@", "gradients.avi", "broken.mp4"}, 1, "broken.mp4 is not playable"},
        {"ServerAway", {"load", "@", "cloud.mp4"}, 1, "cannot fetch"},
        {"DiskFull", {"load", "@", "gradients.avi"}, 1, "more than 300 MiB must be free", {"HOME=/proc"}},
        {"DownloadServerAway", {"download", "http://127.0.0.1:1/a", "@/a"}, 1, "cannot fetch"},
        {"DownloadOtherScheme", {"download", "ftp://127.0.0.1/a", "@/a"}, 1, "no http or https URL"},
        {"DownloadBrokenURL", {"download", "http://a b", "@/a"}, 1, "no http or https URL"},
        {"DownloadMissingFolder", {"download", "http://127.0.0.1:1/a", "@/b/a"}, 1, "there is no folder"},
        {"DownloadOntoFolder", {"download", "http://127.0.0.1:1/a", "@"}, 1, "is a folder"},
        {"NoCommand", {}, 2, "name a command"},
        {"UnknownCommand", {"lode"}, 2, "lode"},
        {"UnknownOption", {"load", "@", "--fast"}, 2, "--fast"},
        {"MissingArgument", {"download", "http://127.0.0.1:1/a"}, 2, "FILE"}}),
    [](const auto& refusal) { return refusal.param.name; });

class TqCancelled : public testing::TestWithParam<int> {};

TEST_P(TqCancelled, EndsWithoutATrace) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip",
               {.body = readFile(clip("life.mkv")), .fault = Reply::Fault::stallInBody, .faultAfter = 9000});
  addToCloud(sandbox, "life.mkv", server.url("/clip"));
  const fs::path cache = sandbox.root / "cache";
  const fs::path file = sandbox.root / "a.mkv";
  int requests = 0;
  for (const auto& arguments : {Words{"load", sandbox.library.path(), "--cache", cache},
                                Words{"download", server.url("/clip"), file}}) {
    RunningTq tq(sandbox, arguments);
    ++requests;
    ASSERT_TRUE(
        eventually([&] { return server.requests("/clip") == requests && sandbox.temporary.files() == 1; }));
    tq.signal(GetParam());
    const auto ended = tq.finish();
    EXPECT_EQ(ended.exitCode, 130);
    EXPECT_THAT(ended.error, HasSubstr("tq: cancelled\n"));
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(sandbox.temporary.files(), 0);
  }
  EXPECT_EQ(sandbox.root.files(), 0);
}

INSTANTIATE_TEST_SUITE_P(ByEverySignal, TqCancelled, testing::Values(SIGINT, SIGTERM, SIGHUP));

// Both signals wait while the program is stopped, and come before it can do anything.
TEST(TqInterrupted, ASecondSignalEndsItAtOnce) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip", {.fault = Reply::Fault::stallBeforeHeaders});
  RunningTq tq(sandbox, {"download", server.url("/clip"), sandbox.root / "a"});
  ASSERT_TRUE(eventually([&] { return server.requests("/clip") == 1; }));
  for (const int number : {SIGSTOP, SIGINT, SIGTERM, SIGCONT}) tq.signal(number);
  const auto ended = tq.finish();
  EXPECT_EQ(ended.exitCode, 130);
  EXPECT_EQ(ended.error, "");
}

TEST(TqProgress, StaysOnOneLineOfATerminalAndIsWipedOut) {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (terminal < 0) GTEST_SKIP() << "needs a pseudo terminal (/dev/pts)";
  ::close(terminal);
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip", {.body = readFile(clip("life.mkv")), .pause = 20ms, .pauseEvery = 3000});
  const std::string name = "a name that is longer than the line, 長い名前.mkv";
  addToCloud(sandbox, name, server.url("/clip"));
  constexpr unsigned short kColumns = 40;
  const auto tq = RunningTq(sandbox, {"load", sandbox.library.path()}, {}, kColumns).finish();
  EXPECT_EQ(tq.exitCode, 0);
  EXPECT_THAT(tq.error, Not(HasSubstr("\n")));
  EXPECT_TRUE(tq.error.ends_with("\r\x1b[K")) << tq.error;
  int drawn = 0;
  std::istringstream lines(tq.error);
  for (std::string line; std::getline(lines, line, '\r');) {
    if (line.ends_with("\x1b[K")) line.resize(line.size() - 3);
    EXPECT_LT(line.size(), kColumns);  // what fits is ASCII
    drawn += line.find('%') != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(drawn, 3);
}

TEST(TqProgress, IsAFewPlainLinesElsewhere) {
  const Sandbox sandbox;
  LoopbackServer server;
  server.serve("/clip", {.generatedBytes = 2'000'000, .pause = 5ms, .pauseEvery = 20'000});
  const auto tq = runTq(sandbox, {"download", server.url("/clip"), sandbox.root / "a"});
  EXPECT_TRUE(tq.error.ends_with("tq: downloaded 100 %\n")) << tq.error;
  const auto lines = std::count(tq.error.begin(), tq.error.end(), '\n');
  EXPECT_GE(lines, 3);
  EXPECT_LE(lines, 10);
}

TEST(TqDemo, LoadsItsOwnLibraryAndTakesItAway) {
  const Sandbox sandbox;
  const auto tq = runTq(sandbox, {"demo"}, {"http_proxy=http://127.0.0.1:1"});
  EXPECT_EQ(tq.exitCode, 0) << tq.error;
  EXPECT_THAT(tq.out, HasSubstr("\n"
                                "colour-bars.mov  0:02.5  256x144  mpeg4  local\n"
                                "mandelbrot.webm  0:03.2  192x108  vp9    fetched\n"
                                "gradients.avi    0:02.0  240x136  mjpeg  local\n"
                                "test-card.mp4    0:03.0  320x180  h264   fetched\n"
                                "colour-bars.mov  0:02.5  256x144  mpeg4  local\n"
                                "life.mkv         0:04.0   160x90  hevc   fetched\n"));
  EXPECT_EQ(sandbox.temporary.files() + sandbox.home.files(), 0);
}

TEST(TqDemo, TakesItsLibraryAwayWhenInterrupted) {
  const Sandbox sandbox;
  RunningTq tq(sandbox, {"demo"});
  ASSERT_TRUE(eventually([&] { return sandbox.temporary.files() > 5; }));  // the library, and a transfer
  tq.signal(SIGINT);
  EXPECT_EQ(tq.finish().exitCode, 130);
  EXPECT_TRUE(fs::is_empty(*fs::directory_iterator(sandbox.temporary.path())));
}

}  // namespace
}  // namespace tq::tests
