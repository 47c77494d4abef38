#include <unistd.h>

#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "tests/contract/URLSessionContract.h"
#include "tests/support/LoopbackServer.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using Then = Reply::Then;

struct LoopbackWorld {
  LoopbackWorld() {
    server.serve("/good", {.body = std::string(kSessionBody)});
    server.serve("/stalling", {.body = std::string(9'000, 'x'), .then = Then::stall, .after = 5});
  }
  LoopbackServer server;
  NSURLSessionMaker maker = NSURLSession::sessionWithConfiguration;
  std::string base = server.url(""), unreachable = "http://127.0.0.1:1/";
};

struct FakeWorld {
  FakeWorld() {
    network->add(base + "/good", {.body = std::string(kSessionBody), .progress = {5}});
    network->add(base + "/missing", {.body = "none", .status = 404});
    network->add(base + "/stalling", {.body = std::string(9'000, 'x'), .progress = {5}, .stalls = true});
  }
  std::shared_ptr<FakeNetwork> network = FakeNetwork::make();
  NSURLSessionMaker maker = network->maker();
  std::string base = "https://fake", unreachable = "https://nowhere/";
};

using Worlds = testing::Types<LoopbackWorld, FakeWorld>;
INSTANTIATE_TYPED_TEST_SUITE_P(Sessions, URLSessionContract, Worlds);

// A server, and a folder in which every file of a transfer would show.
class CurlURLSession : public testing::Test {
 protected:
  // What a transfer has told, once it has ended.
  static std::shared_ptr<SessionRecorder> fetch(const std::string& url,
                                                const NSURLSessionConfiguration& configuration = {}) {
    auto recorder = std::make_shared<SessionRecorder>();
    NSURLSession::sessionWithConfiguration(configuration, recorder)
        ->downloadTaskWithRequest({.url = *URL::parse(url)})
        ->resume();
    EXPECT_TRUE(recorder->wait());
    return recorder;
  }
  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  LoopbackServer server_;
};

// What servers may do, and what comes of each: an error's code, or a body.
TEST_F(CurlURLSession, EndsWhateverTheServerDoesInAnErrorOrABodyAndLeavesNothing) {
  const std::string body(100'000, 'y');
  const std::string chunks = chunkedReply(body);
  const std::string beforeTrailers = chunks.substr(0, chunks.size() - 2);
  std::string trailers;
  for (int i = 0; i < 1'000; ++i) trailers += "X-Trailer: 0123456789\r\n";
  struct Case {
    const char* what;
    Reply reply;
    std::int64_t code = 0;
    std::string body = {};
  };
  const Case cases[] = {
      {"closes", {.body = body, .then = Then::close, .after = 50'000}, NSURLErrorNetworkConnectionLost},
      {"resets", {.body = body, .then = Then::reset, .after = 50'000}, NSURLErrorNetworkConnectionLost},
      {"breaks off", {.raw = chunks.substr(0, 90), .then = Then::close}, NSURLErrorNetworkConnectionLost},
      {"sends trailers for ever", {.raw = beforeTrailers, .repeated = trailers}, NSURLErrorBadServerResponse},
      {"announces two lengths",
       {.headers = "Content-Length: 7\r\n", .body = body},
       NSURLErrorBadServerResponse},
      {"announces nothing", {.raw = chunks}, 0, body},
      {"sends an empty body", {}},
      {"is silent", {.raw = "", .then = Then::stall}, NSURLErrorTimedOut},
      {"stalls", {.body = body, .then = Then::stall, .after = 50'000}, NSURLErrorTimedOut},
      {"redirects for ever", {.status = 302, .headers = "Location: /\r\n"}, NSURLErrorHTTPTooManyRedirects},
      {"to a file", {.status = 302, .headers = "Location: file:///etc/passwd\r\n"}, NSURLErrorUnsupportedURL},
      {"to ftp", {.status = 302, .headers = "Location: ftp://127.0.0.1/x\r\n"}, NSURLErrorUnsupportedURL},
      {"redirects nowhere", {.status = 302, .body = "gone"}, 0, "gone"}};
  for (const auto& [what, reply, code, expected] : cases) {
    SCOPED_TRACE(what);
    server_.serve("/", reply);
    const auto told = fetch(server_.url("/"), {.timeoutIntervalForRequest = 300ms});
    EXPECT_EQ(told->error ? told->error->code : 0, code);
    EXPECT_EQ(told->body, expected);
    EXPECT_EQ(told->temporary.empty(), told->error.has_value());
    EXPECT_NE(told->error.has_value(), told->status != 0);
    EXPECT_EQ(folder_.files(), 0);
  }
}

TEST_F(CurlURLSession, SpeaksNothingButHttp) {
  for (const char* const url : {"file:///etc/passwd", "ftp://127.0.0.1/x", "javascript:1", "clip.mov",
                                "//127.0.0.1/", "http:/127.0.0.1"})
    EXPECT_EQ(fetch(url)->error.value_or(NSError{}).code, NSURLErrorUnsupportedURL) << url;
}

TEST_F(CurlURLSession, KeepsConnectionsAcrossSessionsAndReportsSeldom) {
  server_.serve("/clip", {.body = std::string(400, 'z'), .pause = 5ms, .pauseEvery = 10});
  for (int i = 0; i < 3; ++i) {
    const auto told = fetch(server_.url("/clip"));
    const auto reports = std::ssize(told->events) - 2;
    EXPECT_EQ(told->lastTotal, 400);
    EXPECT_GE(reports, 3);
    EXPECT_LE(reports, 30);  // of 40 pieces in some 200 ms, 20 a second and a slow machine
  }
  EXPECT_EQ(server_.connections(), 1U);
}

TEST_F(CurlURLSession, PutsItsFileOnTheVolumeItIsWantedOn) {
  const TemporaryFolder wanted("/dev/shm");
  server_.serve("/", {.body = "x"});
  for (const auto& folder : {wanted.path(), wanted / "missing", folder_.path()}) {
    const auto expected = folder == wanted.path() ? folder : NSTemporaryDirectory();
    EXPECT_EQ(fetch(server_.url("/"), {.destinationFolder = folder})->temporary.parent_path(), expected);
  }
  EXPECT_EQ(wanted.files() + folder_.files(), 0);
}

TEST_F(CurlURLSession, ChecksTheDestinationBeforeTheRequestWhenAsked) {
  const TemporaryFolder wanted;
  server_.serve("/", {.body = "x"});
  writeFile(wanted / "file", "");
  for (const auto& folder : {wanted / "missing", wanted / "file", std::filesystem::path("/proc")}) {
    const auto told = fetch(server_.url("/"), {.destinationFolder = folder, .checksDestinationFolder = true});
    EXPECT_EQ(told->error.value_or(NSError{}).domain, NSCocoaErrorDomain) << folder;
  }
  EXPECT_EQ(server_.requests("/"), 0);
  EXPECT_EQ(
      fetch(server_.url("/"), {.destinationFolder = wanted.path(), .checksDestinationFolder = true})->body,
      "x");
  EXPECT_EQ(wanted.files(), 1);
}

TEST_F(CurlURLSession, LeavesBytesOfTheVolumeFreeWhenAsked) {
  constexpr std::uint64_t kMiB = 1 << 20;
  const TemporaryFolder small;
  if (::geteuid() != 0 || std::system(("mount -t tmpfs -o size=16m x " + small.path().string()).c_str()) != 0)
    GTEST_SKIP() << "needs the right to mount a small tmpfs";
  server_.serve("/known", {.generatedBytes = 12 * kMiB});
  server_.serve("/endless", {.raw = "HTTP/1.1 200 Reply\r\n\r\n", .repeated = std::string(50'000, 'e')});
  for (const auto& [path, atMost] : {std::pair("/known", std::uint64_t{0}), {"/endless", 8 * kMiB}}) {
    const auto told =
        fetch(server_.url(path), {.destinationFolder = small.path(), .minimumFreeBytes = 8 * kMiB});
    EXPECT_EQ(told->error.value_or(NSError{}).code, NSFileWriteOutOfSpaceError) << path;
    EXPECT_LE(static_cast<std::uint64_t>(told->lastTotal), atMost) << path;
  }
  EXPECT_EQ(small.files(), 0);
  EXPECT_EQ(std::system(("umount " + small.path().string()).c_str()), 0);
}

// Start, cancel and end meet in every order; each task ends exactly once and leaves no file.
TEST_F(CurlURLSession, SurvivesCancelsAtEveryMomentFromOtherThreads) {
  server_.serve("/", {.body = std::string(30'000, 'q')});
  const auto url = *URL::parse(server_.url("/"));
  int cancelled = 0;
  for (int i = 0; i < 400; ++i) {
    const auto recorder = std::make_shared<SessionRecorder>();
    const auto task =
        NSURLSession::sessionWithConfiguration({}, recorder)->downloadTaskWithRequest({.url = url});
    std::thread canceller([&] {
      std::this_thread::sleep_for(std::chrono::microseconds(i % 40 * 10));
      task->cancel();
    });
    task->resume();
    canceller.join();
    ASSERT_TRUE(recorder->wait());
    EXPECT_EQ(recorder->body.empty(), recorder->error.has_value());
    if (recorder->error) ++cancelled;
  }
  EXPECT_EQ(folder_.files(), 0);
  EXPECT_GT(cancelled, 0);
}

// As many tasks as run side by side at all wait for what only the library's own threads can bring.
TEST_F(CurlURLSession, DeliversToTasksThatFillThePoolAndWait) {
  constexpr int kTasks = 64;
  server_.serve("/", {.body = "x"});
  std::atomic<int> begun = 0, done = 0;
  for (int i = 0; i < kTasks; ++i) {
    DispatchQueue::global()->async([&] {
      ++begun;
      EXPECT_TRUE(eventually([&] { return begun == kTasks; }));
      EXPECT_TRUE(fetch(server_.url("/"))->error == std::nullopt);
      ++done;
    });
  }
  EXPECT_TRUE(eventually([&] { return done == kTasks; }));
}

}  // namespace
}  // namespace tq::tests
