#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Core/DispatchQueue.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {

/// Notes what a session tells, in words, and lets a test wait for the end.
class SessionRecorder final : public platform::NSURLSessionDownloadDelegate {
 public:
  using Task = platform::NSURLSessionDownloadTask;

  void didWriteData(Task&, std::int64_t bytes, std::int64_t total, std::int64_t expected) override {
    sum += bytes;
    EXPECT_EQ(sum, total);
    events.push_back("data");
    lastTotal = total;
    lastExpected = expected;
    ++dataCalls;
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
    if (++ends == 1) done_.set_value();
  }

  [[nodiscard]] bool wait() const {
    return end_.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
  }

  /// For those who do not hold the recorder while they wait.
  [[nodiscard]] std::shared_future<void> end() const { return end_; }

  std::vector<std::string> events;
  std::int64_t sum = 0, lastTotal = 0, lastExpected = 0;
  int dataCalls = 0, ends = 0, status = 0;
  std::string body;
  std::filesystem::path temporary;
  std::optional<platform::NSError> error;

 private:
  std::promise<void> done_;
  std::shared_future<void> end_ = done_.get_future().share();
};

/// A network on which the contract is tried: URLs of a body of `kBody`, of a 404, of one that never ends
/// after its first bytes, and of one that cannot be reached.
struct SessionWorld {
  static constexpr std::string_view kBody = "a short film";
  virtual ~SessionWorld() = default;
  virtual platform::NSURLSessionMaker maker() = 0;
  std::string good, missing, stalling, unreachable;
};

/// What every `NSURLSession` promises. Instantiated with `SessionWorld`s as types.
template <class World>
class URLSessionContract : public testing::Test {
 protected:
  std::shared_ptr<platform::NSURLSessionDownloadTask> start(const std::string& url) {
    auto task = makeTask(url);
    task->resume();
    return task;
  }
  std::shared_ptr<platform::NSURLSessionDownloadTask> makeTask(const std::string& url) {
    return world_.maker()({}, recorder_)->downloadTaskWithRequest({.url = *platform::URL::parse(url)});
  }
  void expectCancelled() {
    ASSERT_TRUE(recorder_->wait());
    ASSERT_TRUE(recorder_->error);
    EXPECT_EQ(recorder_->error->domain, platform::NSURLErrorDomain);
    EXPECT_EQ(recorder_->error->code, platform::NSURLErrorCancelled);
    EXPECT_EQ(recorder_->ends, 1);
  }

  World world_;
  std::shared_ptr<SessionRecorder> recorder_ = std::make_shared<SessionRecorder>();
};

TYPED_TEST_SUITE_P(URLSessionContract);

TYPED_TEST_P(URLSessionContract, HandsOverTheWholeBodyOnceAndThenEnds) {
  const auto task = this->start(this->world_.good);
  task->resume();  // a second start is none
  ASSERT_TRUE(this->recorder_->wait());
  EXPECT_EQ(this->recorder_->body, SessionWorld::kBody);
  EXPECT_EQ(this->recorder_->lastTotal, this->recorder_->lastExpected);
  EXPECT_EQ(this->recorder_->status, 200);
  const std::vector<std::string> tail(this->recorder_->events.end() - 3, this->recorder_->events.end());
  EXPECT_EQ(tail, (std::vector<std::string>{"data", "file", "end"}));
  EXPECT_FALSE(this->recorder_->error);
  EXPECT_FALSE(std::filesystem::exists(this->recorder_->temporary));
  task->cancel();  // too late to matter
  EXPECT_EQ(this->recorder_->ends, 1);
}

TYPED_TEST_P(URLSessionContract, TheBodyOfA404IsABodyAndItsStatusIsTold) {
  const auto task = this->start(this->world_.missing);
  ASSERT_TRUE(this->recorder_->wait());
  EXPECT_FALSE(this->recorder_->error);
  EXPECT_EQ(this->recorder_->status, 404);
}

TYPED_TEST_P(URLSessionContract, AnErrorEndsTheTaskWithASentenceAndNoFile) {
  const auto task = this->start(this->world_.unreachable);
  ASSERT_TRUE(this->recorder_->wait());
  ASSERT_TRUE(this->recorder_->error);
  EXPECT_EQ(this->recorder_->error->domain, platform::NSURLErrorDomain);
  EXPECT_TRUE(this->recorder_->error->userInfo.contains(std::string(platform::NSLocalizedDescriptionKey)));
  EXPECT_EQ(this->recorder_->events, (std::vector<std::string>{"end"}));
  EXPECT_FALSE(task->response());
}

TYPED_TEST_P(URLSessionContract, CancelEndsAStalledTransferOnceAndSoon) {
  const auto task = this->start(this->world_.stalling);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  const auto begin = std::chrono::steady_clock::now();
  task->cancel();
  task->cancel();
  this->expectCancelled();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
}

TYPED_TEST_P(URLSessionContract, CancelBeforeTheStartEndsTheTaskWithoutOne) {
  const auto task = this->makeTask(this->world_.good);
  task->cancel();
  task->resume();
  this->expectCancelled();
  EXPECT_EQ(this->recorder_->events, (std::vector<std::string>{"end"}));
}

TYPED_TEST_P(URLSessionContract, AStartedTaskKeepsItsDelegateToTheEndAndLetsGoOfItThen) {
  std::weak_ptr<SessionRecorder> weak = this->recorder_;
  auto task = this->start(this->world_.stalling);
  const auto end = this->recorder_->end();
  this->recorder_.reset();
  EXPECT_FALSE(weak.expired());
  task->cancel();
  ASSERT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  for (int i = 0; i < 2'000 && !weak.expired(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_TRUE(weak.expired());
}

REGISTER_TYPED_TEST_SUITE_P(URLSessionContract, HandsOverTheWholeBodyOnceAndThenEnds,
                            TheBodyOfA404IsABodyAndItsStatusIsTold, AnErrorEndsTheTaskWithASentenceAndNoFile,
                            CancelEndsAStalledTransferOnceAndSoon, CancelBeforeTheStartEndsTheTaskWithoutOne,
                            AStartedTaskKeepsItsDelegateToTheEndAndLetsGoOfItThen);

}  // namespace tq::tests
