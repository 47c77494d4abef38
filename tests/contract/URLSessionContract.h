#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "TQFoundation/Platform/Core/DispatchQueue.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {

/// Waits for `done`, for up to 20 seconds; answers it.
template <class Done>
[[nodiscard]] bool eventuallyTrue(Done done) {
  for (int i = 0; i < 20'000 && !done(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return done();
}

/// Notes what a session tells, in words, and lets a test wait for the end.
class SessionRecorder final : public platform::NSURLSessionDownloadDelegate {
 public:
  using Task = platform::NSURLSessionDownloadTask;

  void didWriteData(Task&, std::int64_t bytes, std::int64_t total, std::int64_t expected) override {
    events.push_back("data");
    EXPECT_EQ(lastTotal + bytes, total);
    lastTotal = total;
    lastExpected = expected;
  }
  void didFinishDownloadingToURL(Task& task, const platform::URL& location) override {
    events.push_back("file");
    temporary = *location.filePath();
    body = readFile(temporary);
    status = task.response() ? task.response()->statusCode : 0;
  }
  void didCompleteWithError(Task&, const std::optional<platform::NSError>& ended) override {
    events.push_back("end");
    error = ended;
    EXPECT_EQ(++ends, 1);
  }
  [[nodiscard]] bool wait() const {
    return eventuallyTrue([this] { return ends > 0; });
  }

  std::vector<std::string> events;
  std::int64_t lastTotal = 0, lastExpected = 0;
  std::atomic<int> ends = 0;
  int status = 0;
  std::string body;
  std::filesystem::path temporary;
  std::optional<platform::NSError> error;
};

inline constexpr std::string_view kSessionBody = "a short film";

/// What every `NSURLSession` promises. Instantiated with networks as types: they have a `maker`, an
/// `unreachable` URL and a `base` under which "/good" is `kSessionBody`, "/missing" a 404, and "/stalling"
/// never ends after its first bytes.
template <class World>
class URLSessionContract : public testing::Test {
 protected:
  std::shared_ptr<platform::NSURLSessionDownloadTask> makeTask(const std::string& url) {
    return world_.maker({}, recorder_)->downloadTaskWithRequest({.url = *platform::URL::parse(url)});
  }
  std::shared_ptr<platform::NSURLSessionDownloadTask> start(const std::string& path) {
    auto task = makeTask(world_.base + path);
    task->resume();
    return task;
  }
  void expectError() {
    ASSERT_TRUE(recorder_->wait() && recorder_->error);
    EXPECT_EQ(recorder_->error->domain, platform::NSURLErrorDomain);
    EXPECT_TRUE(recorder_->error->userInfo.contains(std::string(platform::NSLocalizedDescriptionKey)));
  }

  World world_;
  std::shared_ptr<SessionRecorder> recorder_ = std::make_shared<SessionRecorder>();
};

TYPED_TEST_SUITE_P(URLSessionContract);

TYPED_TEST_P(URLSessionContract, HandsOverTheWholeBodyOnceAndThenEnds) {
  const auto task = this->start("/good");
  task->resume();  // a second start is none
  ASSERT_TRUE(this->recorder_->wait());
  EXPECT_EQ(this->recorder_->body, kSessionBody);
  EXPECT_EQ(this->recorder_->lastTotal, this->recorder_->lastExpected);
  EXPECT_EQ(this->recorder_->status, 200);
  const std::vector<std::string> tail(this->recorder_->events.end() - 3, this->recorder_->events.end());
  EXPECT_EQ(tail, (std::vector<std::string>{"data", "file", "end"}));
  EXPECT_FALSE(this->recorder_->error || std::filesystem::exists(this->recorder_->temporary));
  task->cancel();  // too late to matter
}

TYPED_TEST_P(URLSessionContract, TheBodyOfA404IsABodyAndItsStatusIsTold) {
  const auto task = this->start("/missing");
  ASSERT_TRUE(this->recorder_->wait());
  EXPECT_FALSE(this->recorder_->error || this->recorder_->body.empty());
  EXPECT_EQ(this->recorder_->status, 404);
}

TYPED_TEST_P(URLSessionContract, AnErrorEndsTheTaskWithASentenceAndNoFile) {
  const auto task = this->makeTask(this->world_.unreachable);
  task->resume();
  this->expectError();
  EXPECT_EQ(this->recorder_->events, (std::vector<std::string>{"end"}));
  EXPECT_FALSE(task->response());
}

TYPED_TEST_P(URLSessionContract, CancelEndsAStalledTransferOnceAndSoon) {
  const auto task = this->start("/stalling");
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const auto begin = std::chrono::steady_clock::now();
  task->cancel();
  task->cancel();
  this->expectError();
  EXPECT_EQ(this->recorder_->error->code, platform::NSURLErrorCancelled);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
}

TYPED_TEST_P(URLSessionContract, CancelBeforeTheStartEndsTheTaskWithoutOne) {
  const auto task = this->makeTask(this->world_.base + "/good");
  task->cancel();
  task->resume();
  this->expectError();
  EXPECT_EQ(this->recorder_->error->code, platform::NSURLErrorCancelled);
  EXPECT_EQ(this->recorder_->events, (std::vector<std::string>{"end"}));
}

TYPED_TEST_P(URLSessionContract, AStartedTaskKeepsItsDelegateToTheEndAndLetsGoOfItThen) {
  const std::weak_ptr<SessionRecorder> weak = this->recorder_;
  const auto task = this->start("/stalling");
  this->recorder_.reset();
  EXPECT_FALSE(weak.expired());
  task->cancel();
  EXPECT_TRUE(eventuallyTrue([&] { return weak.expired(); }));
}

REGISTER_TYPED_TEST_SUITE_P(URLSessionContract, HandsOverTheWholeBodyOnceAndThenEnds,
                            TheBodyOfA404IsABodyAndItsStatusIsTold, AnErrorEndsTheTaskWithASentenceAndNoFile,
                            CancelEndsAStalledTransferOnceAndSoon, CancelBeforeTheStartEndsTheTaskWithoutOne,
                            AStartedTaskKeepsItsDelegateToTheEndAndLetsGoOfItThen);

}  // namespace tq::tests
