#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "TQFoundation/Platform/Files/PartialFile.h"
#include "TQFoundation/Platform/Files/PartialJournal.h"
#include "tests/contract/URLSessionContract.h"
#include "tests/support/LoopbackServer.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using internal::PartialFile;
using Then = Reply::Then;

constexpr std::size_t kSize = 900'000;
constexpr std::size_t kCut = 600'000;

// A file that changes at each byte, so that a part of it is right in one place only.
std::string bodyOf(unsigned seed) {
  std::string body(kSize, '\0');
  for (char& c : body) c = static_cast<char>((seed = seed * 1'664'525 + 1'013'904'223) >> 24);
  return body;
}
const std::string kOld = bodyOf(1), kNew = bodyOf(2);

// A server of one file, and what is peculiar to it.
struct Origin {
  std::string body = kOld;
  std::string headers = "ETag: \"old\"\r\n";
  bool ignoresRange = false;      // sends the whole
  bool ignoresCondition = false;  // sends the rest of whatever the file is now
  bool alwaysSendsRest = false;   // also when nobody asked for it
  std::int64_t shift = 0;         // sends from another byte, and says so
  std::int64_t totalShift = 0;    // says another total
  int status = 0;                 // says nothing but that
  std::size_t cut = std::string::npos;

  [[nodiscard]] Reply reply(const std::string& request) const {
    if (status != 0) return {.status = status, .body = "no"};
    const auto value = [&](const std::string& name) {
      const std::size_t at = request.find("\r\n" + name + ": ");
      if (at == std::string::npos) return std::string();
      const std::size_t begin = at + name.size() + 4;
      return request.substr(begin, request.find('\r', begin) - begin);
    };
    const std::string range = value("Range"), condition = value("If-Range");
    Reply reply{.headers = headers, .body = body, .then = Then::nextRequest};
    if (cut != std::string::npos) reply.then = Then::close, reply.after = cut;
    const bool holds = ignoresCondition || headers.find(": " + condition + "\r\n") != std::string::npos;
    if ((range.empty() && !alwaysSendsRest) || ignoresRange || (!range.empty() && !holds)) return reply;
    const auto asked = range.empty() ? 100 : std::stoll(range.substr(6));
    const auto first = static_cast<std::size_t>(asked + shift);
    reply.status = 206;
    reply.headers += "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(body.size() - 1) +
                     "/" + std::to_string(static_cast<std::int64_t>(body.size()) + totalShift) + "\r\n";
    reply.body = body.substr(first);
    return reply;
  }
};

class Resume : public testing::Test {
 protected:
  void serve(const Origin& origin) {
    server_.serve("/clip", {.respond = [this, origin](const std::string& request) {
                    const MutexLock lock(mutex_);
                    request_ = request;
                    return origin.reply(request);
                  }});
  }
  [[nodiscard]] NSURLSessionConfiguration configuration() const {
    NSURLSessionConfiguration configuration;
    configuration.durable = true;
    configuration.partials = {.folder = partials_, .key = {}};
    return configuration;
  }
  std::shared_ptr<NSURLSessionDownloadTask> start() {
    recorder_ = std::make_shared<SessionRecorder>();
    auto task = NSURLSession::sessionWithConfiguration(configuration(), recorder_)
                    ->downloadTaskWithRequest({.url = *URL::parse(server_.url("/clip?sig=1"))});
    task->resume();
    return task;
  }
  // Returns the error's code, or 0.
  std::int64_t fetch() {
    const auto task = start();
    EXPECT_TRUE(recorder_->wait());
    response_ = task->response();
    return recorder_->error ? recorder_->error->code : 0;
  }
  // A first transfer leaves `kCut` bytes of the old file.
  void leavePartial(Origin origin = {}) {
    std::filesystem::remove_all(partials_);
    origin.cut = kCut;
    serve(origin);
    EXPECT_EQ(fetch(), NSURLErrorNetworkConnectionLost);
  }
  [[nodiscard]] std::shared_ptr<PartialFile> claim() const {
    return PartialFile::claim(partials_, server_.url("/clip?sig=1"), PartialFile::IfMissing::absent);
  }
  [[nodiscard]] std::int64_t keptBytes() const {
    const auto partial = claim();
    return partial ? partial->usableBytes() : 0;
  }
  std::string lastRequest() {
    const MutexLock lock(mutex_);
    return request_;
  }

  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  const std::filesystem::path partials_ = folder_ / "partials";
  Mutex mutex_;
  std::string request_;
  LoopbackServer server_;
  std::shared_ptr<SessionRecorder> recorder_;
  std::optional<NSHTTPURLResponse> response_;
};

// Whatever the server does with ranges, and whether its file is another one by now or not: what comes is its
// file.
TEST_F(Resume, BringsTheServersFileWhateverItDoesWithRanges) {
  struct Case {
    const char* what;
    Origin origin;
    bool continues;  // when the file is the same
    std::string newHeaders = "ETag: \"new\"\r\n";
  };
  const std::string young =
      "Last-Modified: Mon, 23 Nov 2026 11:59:30 GMT\r\nDate: Mon, 23 Nov 2026 12:00:00 GMT\r\n";
  const std::string old =
      "Last-Modified: Sat, 21 Nov 2026 12:00:00 GMT\r\nDate: Mon, 23 Nov 2026 12:00:00 GMT\r\n";
  const std::string newer =
      "Last-Modified: Sun, 22 Nov 2026 12:00:00 GMT\r\nDate: Mon, 23 Nov 2026 12:00:00 GMT\r\n";
  const Case cases[] = {
      {"does it right", {}, true},
      {"goes by the date", {.headers = old}, true, newer},
      {"ignores the range", {.ignoresRange = true}, false},
      {"ignores the condition", {.ignoresCondition = true}, true},
      {"ignores the condition, by date", {.headers = old, .ignoresCondition = true}, true, newer},
      {"begins earlier", {.ignoresCondition = true, .shift = -1}, false},
      {"begins later", {.ignoresCondition = true, .shift = 1}, false},
      {"has another total", {.ignoresCondition = true, .totalShift = 1}, false},
      {"has a weak tag",
       {.headers = "ETag: W/\"old\"\r\n" + young, .ignoresCondition = true},
       false,
       "ETag: W/\"old\"\r\n" + young},
      {"has no validator", {.headers = "", .ignoresCondition = true}, false, ""},
      {"encodes",
       {.headers = "ETag: \"old\"\r\nContent-Encoding: gzip\r\n", .ignoresCondition = true},
       false}};
  for (const auto& [what, origin, continues, newHeaders] : cases) {
    for (const bool changed : {false, true}) {
      SCOPED_TRACE(std::string(what) + (changed ? ", changed" : ""));
      leavePartial(origin);
      const int before = server_.requests("/clip");
      Origin now = origin;
      if (changed) now.body = kNew, now.headers = newHeaders;
      serve(now);
      EXPECT_EQ(fetch(), 0);
      EXPECT_EQ(recorder_->body == now.body, true);
      EXPECT_LE(server_.requests("/clip") - before, 2);
      const bool continued = continues && !changed;
      ASSERT_TRUE(response_);
      EXPECT_EQ(response_->continuedFrom, continued ? static_cast<std::int64_t>(kCut) : 0);
      EXPECT_EQ(response_->statusCode, continued ? 206 : 200);
      EXPECT_EQ(recorder_->lastTotal, static_cast<std::int64_t>(kSize));
      EXPECT_EQ(folder_.files(), 0);
    }
  }
}

TEST_F(Resume, TakesNoPartThatNobodyAskedForAndNoMoreOrLessThanTheRest) {
  serve({.alwaysSendsRest = true});
  EXPECT_EQ(fetch(), NSURLErrorBadServerResponse);
  leavePartial();
  constexpr std::size_t kStatusLine = 20;
  const std::string rest = kOld.substr(kCut);
  const std::string head =
      "HTTP/1.1 206 Part\r\nETag: \"old\"\r\nContent-Range: bytes 600000-899999/900000\r\n";
  server_.serve("/clip", {.raw = chunkedReply(rest.substr(1)).replace(0, kStatusLine, head)});
  EXPECT_EQ(fetch(), NSURLErrorNetworkConnectionLost);
  EXPECT_EQ(keptBytes(), static_cast<std::int64_t>(kSize - 1));
  leavePartial();
  server_.serve("/clip", {.raw = chunkedReply(rest + 'x').replace(0, kStatusLine, head)});
  EXPECT_EQ(fetch(), NSURLErrorBadServerResponse);
  EXPECT_EQ(folder_.files(), 0);
}

TEST_F(Resume, KeepsOrDropsWhatItHasByTheStatusAndHandsOverTheBodyOfThat) {
  for (const auto& [status, keeps] :
       {std::pair(404, false), {410, false}, {403, true}, {429, true}, {500, true}, {503, true}}) {
    leavePartial();
    serve({.status = status});
    EXPECT_EQ(fetch(), 0);
    EXPECT_EQ(recorder_->body, "no");
    EXPECT_EQ(recorder_->status, status);
    EXPECT_EQ(keptBytes(), keeps ? static_cast<std::int64_t>(kCut) : 0) << status;
  }
  leavePartial();
  server_.serve("/clip", {.respond = [](const std::string& request) {
                  if (request.find("\r\nRange:") != std::string::npos) return Reply{.status = 416};
                  return Origin{.body = kNew}.reply(request);
                }});
  EXPECT_EQ(fetch(), 0);
  EXPECT_TRUE(recorder_->body == kNew);
}

TEST_F(Resume, TakesNoByteOfAFileThatTheVolumeCannotHold) {
  server_.serve("/clip",
                {.raw = "HTTP/1.1 200 Reply\r\nETag: \"old\"\r\nContent-Length: 1125899906842624\r\n\r\nfilm",
                 .then = Then::stall});
  EXPECT_EQ(fetch(), NSFileWriteOutOfSpaceError);
  EXPECT_EQ(recorder_->events, (std::vector<std::string>{"end"}));
  EXPECT_EQ(folder_.files(), 0);
}

TEST_F(Resume, AsksForTheLastByteOfAWholeFileThatWasNeverMoved) {
  leavePartial();
  {
    const auto partial = claim();
    ASSERT_EQ(partial->continueAt(kCut) + partial->write(kOld.data() + kCut, kSize - kCut), 0);
  }
  serve({});
  EXPECT_EQ(fetch(), 0);
  EXPECT_NE(lastRequest().find("Range: bytes=899999-\r\n"), std::string::npos);
  EXPECT_TRUE(recorder_->body == kOld);
}

TEST_F(Resume, DropsWhatItHasWhenCancelledAndLetsOneTransferAtATimeHaveIt) {
  server_.serve("/clip", {.headers = "ETag: \"old\"\r\n", .body = kOld, .then = Then::stall, .after = kCut});
  const auto first = start();
  const auto firstRecorder = recorder_;
  ASSERT_TRUE(eventually([&] { return folder_.files() == 2; }));  // only its owner makes them
  EXPECT_FALSE(claim());
  serve({.body = kNew});
  EXPECT_EQ(fetch(), 0);
  EXPECT_TRUE(recorder_->body == kNew);
  EXPECT_EQ(lastRequest().find("Range"), std::string::npos);
  first->cancel();
  EXPECT_TRUE(firstRecorder->wait());
  EXPECT_EQ(folder_.files(), 0);
}

}  // namespace
}  // namespace tq::tests
