#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "TQFoundation/Platform/Core/Directories.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "tests/contract/URLSessionContract.h"
#include "tests/support/LoopbackServer.h"

namespace tq::tests {
namespace {

using namespace platform;
using namespace std::chrono_literals;

// A port on which nobody listens: taken, never listened on, held while the test runs.
class DeadPort {
 public:
  DeadPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), size);
    ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/clip.mov";
  }
  ~DeadPort() { ::close(socket_); }
  DeadPort(const DeadPort&) = delete;
  DeadPort& operator=(const DeadPort&) = delete;
  [[nodiscard]] const std::string& url() const { return url_; }

 private:
  int socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
  std::string url_;
};

struct LoopbackWorld : SessionWorld {
  LoopbackWorld() {
    server.serve("/good", {.body = std::string(kBody)});
    server.serve("/stalling",
                 {.body = std::string(9'000, 'x'), .fault = Reply::Fault::stallInBody, .faultAfter = 5});
    good = server.url("/good");
    missing = server.url("/missing");
    stalling = server.url("/stalling");
    unreachable = port.url();
  }
  NSURLSessionMaker maker() override { return NSURLSession::sessionWithConfiguration; }
  LoopbackServer server;
  DeadPort port;
};

struct FakeWorld : SessionWorld {
  FakeWorld() {
    good = "https://fake/good";
    missing = "https://fake/missing";
    stalling = "https://fake/stalling";
    unreachable = "https://nowhere/";
    network->add(good, {.body = std::string(kBody), .progress = {5}});
    network->add(missing, {.body = "none", .status = 404});
    network->add(stalling, {.body = std::string(9'000, 'x'), .progress = {5}, .stalls = true});
  }
  NSURLSessionMaker maker() override { return network->maker(); }
  std::shared_ptr<doubles::FakeNetwork> network = doubles::FakeNetwork::make();
};

using Worlds = testing::Types<LoopbackWorld, FakeWorld>;
INSTANTIATE_TYPED_TEST_SUITE_P(Sessions, URLSessionContract, Worlds);

// The faults of servers, and what comes of each. Nothing of them may leave a file behind.
struct Fault {
  const char* name;
  Reply reply;
  std::optional<std::int64_t> code;  // absent: the transfer is a success
  std::string body = {};
};

void PrintTo(const Fault& fault, std::ostream* out) {
  *out << fault.name;
}

class URLSessionFaults : public testing::TestWithParam<Fault> {
 protected:
  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  LoopbackServer server_;
  std::shared_ptr<SessionRecorder> recorder_ = std::make_shared<SessionRecorder>();
};

const std::string kLong(100'000, 'y');

INSTANTIATE_TEST_SUITE_P(
    Server, URLSessionFaults,
    testing::Values(
        Fault{"ClosesTooSoon",
              {.body = kLong, .fault = Reply::Fault::closeInBody, .faultAfter = 50'000},
              -1005},
        Fault{"Resets", {.body = kLong, .fault = Reply::Fault::resetInBody, .faultAfter = 50'000}, -1005},
        Fault{"AnnouncesTooMuch", {.body = "12345", .announce = 10}, -1005},
        Fault{"AnnouncesTooLittle", {.body = "1234567890", .announce = 4}, std::nullopt, "1234"},
        Fault{"SendsChunks", {.body = kLong, .length = Reply::Length::chunked}, std::nullopt, kLong},
        Fault{"BreaksOffItsChunks",
              {.body = kLong,
               .length = Reply::Length::chunked,
               .fault = Reply::Fault::closeInBody,
               .faultAfter = 9},
              -1005},
        Fault{"AnnouncesNothing", {.body = kLong, .length = Reply::Length::none}, std::nullopt, kLong},
        Fault{"SendsAnEmptyBody", {}, std::nullopt, ""},
        Fault{"StallsBeforeTheHeaders", {.fault = Reply::Fault::stallBeforeHeaders}, -1001},
        Fault{"StallsInTheHeaders", {.body = "x", .fault = Reply::Fault::stallInHeaders}, -1001},
        Fault{"StallsInTheBody",
              {.body = kLong, .fault = Reply::Fault::stallInBody, .faultAfter = 50'000},
              -1001},
        Fault{"RedirectsForEver", {.status = 302, .headers = {"Location: /"}}, -1007},
        Fault{"RedirectsToAFile", {.status = 302, .headers = {"Location: file:///etc/passwd"}}, -1002},
        Fault{"RedirectsToFtp", {.status = 302, .headers = {"Location: ftp://127.0.0.1/x"}}, -1002},
        Fault{"RedirectsNowhere", {.status = 302, .body = "gone"}, std::nullopt, "gone"}),
    [](const auto& fault) { return fault.param.name; });

TEST_P(URLSessionFaults, EndInTheirErrorAndLeaveNothing) {
  server_.serve("/", GetParam().reply);
  const auto session =
      NSURLSession::sessionWithConfiguration({.timeoutIntervalForRequest = 300ms}, recorder_);
  session->downloadTaskWithRequest({.url = *URL::parse(server_.url("/"))})->resume();
  ASSERT_TRUE(recorder_->wait());
  EXPECT_EQ(recorder_->ends, 1);
  if (GetParam().code) {
    ASSERT_TRUE(recorder_->error);
    EXPECT_EQ(recorder_->error->code, *GetParam().code) << recorder_->error->localizedDescription();
    EXPECT_EQ(recorder_->error->domain, NSURLErrorDomain);
    EXPECT_TRUE(recorder_->temporary.empty());
  } else {
    EXPECT_FALSE(recorder_->error) << recorder_->error->localizedDescription();
    EXPECT_EQ(recorder_->body, GetParam().body);
  }
  EXPECT_EQ(folder_.files(), 0);
}

TEST(CurlURLSession, SpeaksNothingButHttp) {
  for (const char* const url :
       {"file:///etc/passwd", "ftp://127.0.0.1/x", "javascript:1", "clip.mov", "//127.0.0.1/"}) {
    const auto recorder = std::make_shared<SessionRecorder>();
    const auto session = NSURLSession::sessionWithConfiguration({}, recorder);
    session->downloadTaskWithRequest({.url = *URL::parse(url)})->resume();
    ASSERT_TRUE(recorder->wait());
    ASSERT_TRUE(recorder->error) << url;
    EXPECT_EQ(recorder->error->code, NSURLErrorUnsupportedURL) << url;
  }
}

TEST(CurlURLSession, KeepsConnectionsAcrossSessionsAndReportsSeldom) {
  LoopbackServer server;
  server.serve("/clip", {.body = std::string(400, 'z'), .pause = 5ms, .pauseEvery = 10});
  for (int i = 0; i < 3; ++i) {
    const auto recorder = std::make_shared<SessionRecorder>();
    NSURLSession::sessionWithConfiguration({}, recorder)
        ->downloadTaskWithRequest({.url = *URL::parse(server.url("/clip"))})
        ->resume();
    ASSERT_TRUE(recorder->wait());
    EXPECT_EQ(recorder->lastTotal, 400);
    EXPECT_GE(recorder->dataCalls, 3);
    EXPECT_LE(recorder->dataCalls, 30);  // of 40 pieces in some 200 ms, 20 a second and a slow machine
  }
  EXPECT_EQ(server.connections(), 1);
}

TEST(CurlURLSession, PutsItsFileOnTheVolumeItIsWantedOn) {
  const TemporaryFolder temporary;
  const EnvironmentVariable variable("TMPDIR", temporary.path().string());
  const TemporaryFolder wanted("/dev/shm");
  LoopbackServer server;
  server.serve("/", {.body = "x"});
  for (const auto& folder : {wanted.path(), wanted / "missing", temporary.path()}) {
    const auto recorder = std::make_shared<SessionRecorder>();
    NSURLSession::sessionWithConfiguration({.destinationFolder = folder}, recorder)
        ->downloadTaskWithRequest({.url = *URL::parse(server.url("/"))})
        ->resume();
    ASSERT_TRUE(recorder->wait());
    const auto expected = folder == wanted.path() ? folder : NSTemporaryDirectory();
    EXPECT_EQ(recorder->temporary.parent_path(), expected);
  }
  EXPECT_EQ(wanted.files() + temporary.files(), 0);
}

// Start, cancel and end meet in every order; each task ends exactly once and leaves no file.
TEST(CurlURLSession, SurvivesCancelsAtEveryMomentFromOtherThreads) {
  const TemporaryFolder temporary;
  const EnvironmentVariable variable("TMPDIR", temporary.path().string());
  LoopbackServer server;
  server.serve("/", {.body = std::string(30'000, 'q')});
  const auto url = *URL::parse(server.url("/"));
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
    EXPECT_EQ(recorder->ends, 1);
    EXPECT_EQ(recorder->body.empty(), recorder->error.has_value());
    if (recorder->error) ++cancelled;
  }
  EXPECT_EQ(temporary.files(), 0);
  EXPECT_GT(cancelled, 0);
}

}  // namespace
}  // namespace tq::tests
