#pragma once

#include <gtest/gtest.h>

#include <atomic>

#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "tests/support/MainQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {

/// Notes what a session tells, in words, and lets a test wait for the end.
class SessionRecorder final : public NSURLSessionDownloadDelegate {
 public:
  using Task = NSURLSessionDownloadTask;

  void didWriteData(Task&, std::int64_t bytes, std::int64_t total, std::int64_t expected) override {
    events.push_back("data");
    EXPECT_EQ(lastTotal + bytes, total);
    lastTotal = total;
    lastExpected = expected;
  }
  void didFinishDownloadingToURL(Task& task, const URL& location) override {
    events.push_back("file");
    temporary = *location.filePath();
    body = readFile(temporary);
    status = task.response() ? task.response()->statusCode : 0;
  }
  void didCompleteWithError(Task&, const std::optional<NSError>& ended) override {
    events.push_back("end");
    error = ended;
    EXPECT_EQ(++ends, 1);
  }
  [[nodiscard]] bool wait() const {
    return eventually([this] { return ends > 0; });
  }

  std::vector<std::string> events;
  std::int64_t lastTotal = 0, lastExpected = 0;
  std::atomic<int> ends = 0;
  int status = 0;
  std::string body;
  std::filesystem::path temporary;
  std::optional<NSError> error;
};

inline constexpr std::string_view kSessionBody = "a short film";

/// What every `NSURLSession` promises. Instantiated with networks as types: they have a `maker`, an
/// `unreachable` URL and a `base` under which "/good" is `kSessionBody`, "/missing" a 404, and "/stalling"
/// never ends after its first bytes.
template <class World>
class URLSessionContract : public testing::Test {
 protected:
  std::shared_ptr<NSURLSessionDownloadTask> makeTask(const std::string& url) {
    recorder_ = std::make_shared<SessionRecorder>();
    return world_.maker({}, recorder_)->downloadTaskWithRequest({.url = *URL::parse(url)});
  }
  void expectError(bool cancelled) {
    ASSERT_TRUE(recorder_->wait() && recorder_->error);
    EXPECT_EQ(recorder_->error->domain, NSURLErrorDomain);
    EXPECT_EQ(recorder_->error->code == NSURLErrorCancelled, cancelled);
    const auto sentence = recorder_->error->userInfo.find(std::string(NSLocalizedDescriptionKey));
    ASSERT_NE(sentence, recorder_->error->userInfo.end());
    EXPECT_EQ(sentence->second.find("secret"), std::string::npos) << sentence->second;
  }

  World world_;
  std::shared_ptr<SessionRecorder> recorder_;
};

TYPED_TEST_SUITE_P(URLSessionContract);

TYPED_TEST_P(URLSessionContract, HandsOverTheWholeBodyOnceWithItsStatusAndThenEnds) {
  for (const auto& [path, status] : {std::pair("/good", 200), {"/missing", 404}}) {
    const auto task = this->makeTask(this->world_.base + path);
    task->resume();
    task->resume();  // a second start is none
    ASSERT_TRUE(this->recorder_->wait());
    EXPECT_EQ(this->recorder_->body == kSessionBody, status == 200);
    EXPECT_EQ(this->recorder_->status, status);
    EXPECT_EQ(this->recorder_->lastTotal, std::ssize(this->recorder_->body));
    EXPECT_EQ(this->recorder_->lastTotal, this->recorder_->lastExpected);
    const std::vector<std::string> tail(this->recorder_->events.end() - 3, this->recorder_->events.end());
    EXPECT_EQ(tail, (std::vector<std::string>{"data", "file", "end"}));
    EXPECT_FALSE(this->recorder_->error || std::filesystem::exists(this->recorder_->temporary));
    task->cancel();  // too late to matter
  }
}

TYPED_TEST_P(URLSessionContract, AnErrorOrACancelBeforeTheStartEndsTheTaskWithASentenceAndNoFile) {
  for (const bool cancelled : {false, true}) {
    const auto url = cancelled ? this->world_.base + "/good" : this->world_.unreachable;
    const auto task = this->makeTask(url + "?sig=secret");
    if (cancelled) task->cancel();
    task->resume();
    this->expectError(cancelled);
    EXPECT_EQ(this->recorder_->events, (std::vector<std::string>{"end"}));
    EXPECT_FALSE(task->response());
  }
}

TYPED_TEST_P(URLSessionContract, CancelEndsAStalledTransferOnceAndSoonAndLetsGoOfTheDelegateItKept) {
  const auto task = this->makeTask(this->world_.base + "/stalling");
  task->resume();
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_GT(this->recorder_.use_count(), 1);
  const auto begin = std::chrono::steady_clock::now();
  task->cancel();
  task->cancel();
  this->expectError(true);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
  EXPECT_TRUE(eventually([&] { return this->recorder_.use_count() == 1; }));
}

REGISTER_TYPED_TEST_SUITE_P(URLSessionContract, HandsOverTheWholeBodyOnceWithItsStatusAndThenEnds,
                            AnErrorOrACancelBeforeTheStartEndsTheTaskWithASentenceAndNoFile,
                            CancelEndsAStalledTransferOnceAndSoonAndLetsGoOfTheDelegateItKept);

}  // namespace tq::tests
