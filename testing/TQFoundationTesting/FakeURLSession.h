#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// What a fake network answers at one URL.
struct FakeReply {
  std::string body = {};
  int status = 200;
  std::optional<std::chrono::seconds> retryAfter = {};
  std::vector<std::int64_t> progress = {};    ///< Totals to report while the body comes; its size ends them.
  std::optional<std::int64_t> expected = {};  ///< The length announced, -1 for none. Absent: the body's.
  std::optional<NSError> error = {};          ///< Ends the transfer after the progress; no file then.
  bool stalls = false;                        ///< Nothing comes after the progress, until a cancel.
};

/// A network that lives in memory.
///
///     auto network = FakeNetwork::make();
///     network->add("https://example.com/clip.mov", {.body = "...", .progress = {512}});
///     auto downloader = TQFileDownloader::make({.makeSession = network->maker()});
///
/// A URL that was not added answers `NSURLErrorCannotFindHost`. The delegates are called on the queue it was
/// made with: a `ManualQueue` gives each step to the test.
///
/// Thread-safe.
class TQ_API FakeNetwork final : public std::enable_shared_from_this<FakeNetwork> {
 public:
  [[nodiscard]] static std::shared_ptr<FakeNetwork> make(
      std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial());

  /// Sets what `url` answers from the next request on.
  void add(const std::string& url, FakeReply reply);

  /// Sets what `url` answers to its next requests, one each, before what was set by `add`.
  void addNext(const std::string& url, std::vector<FakeReply> replies);

  /// Makes sessions over this network.
  [[nodiscard]] NSURLSessionMaker maker();

  [[nodiscard]] int requests(const std::string& url) const;

 private:
  friend class FakeDownloadTask;

  explicit FakeNetwork(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {}
  [[nodiscard]] FakeReply answer(const std::string& url);

  const std::shared_ptr<DispatchQueue> queue_;
  mutable std::mutex mutex_;
  std::map<std::string, FakeReply> replies_;
  std::map<std::string, std::deque<FakeReply>> next_;
  std::map<std::string, int> requests_;
};

}  // namespace tq
