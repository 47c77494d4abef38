#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Transfers/NetworkWatch.h"
#include "TQFoundation/Transfers/PersistentSessions.h"
#include "TQFoundation/Transfers/Recovery.h"

namespace tq::internal {

/// What all transfers of a maker have in common. Immutable.
struct Persistence {
  NSURLSessionMaker inner;
  RetryPolicy policy;
  TransferStatusHandler onStatus;
  RetryPorts ports;
};

/// One transfer of a persistent session: a task of the inner session for each try, and pauses between them.
///
/// Invariant: while it runs there is exactly one inner task whose end has not come, while it waits there
/// is none, and once it has ended its delegate is not called any more. All state but `begun_` and `try_`
/// belongs to the session's queue: the inner session's callbacks, timers, the network's changes and a cancel
/// are tasks there, so none meets another half way.
class PersistentTask final : public NSURLSessionDownloadTask,
                             public NSURLSessionDownloadDelegate,
                             public std::enable_shared_from_this<PersistentTask> {
 public:
  PersistentTask(std::shared_ptr<const Persistence> persistence, NSURLSessionConfiguration configuration,
                 NSURLRequest request, std::shared_ptr<DispatchQueue> queue,
                 std::weak_ptr<NSURLSessionDownloadDelegate> delegate);

  void resume() override;
  void cancel() override;
  [[nodiscard]] std::optional<NSHTTPURLResponse> response() const override;

  // Of the inner session, on its queue.
  void didWriteData(NSURLSessionDownloadTask& task, std::int64_t bytes, std::int64_t total,
                    std::int64_t expected) override;
  void didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) override;
  void didCompleteWithError(NSURLSessionDownloadTask& task, const std::optional<NSError>& error) override;

 private:
  enum class Phase { idle, running, waiting, ended };

  [[nodiscard]] bool begin();
  void start();
  void cancelNow();
  void endOverdue();
  void beginTry();
  void tryEnded(const std::optional<NSError>& error);
  void recover(Recovery recovery, const std::optional<NSError>& error);
  [[nodiscard]] bool isWorthAnotherTry(const std::optional<NSHTTPURLResponse>& response) const;
  [[nodiscard]] bool hasTriesLeft() const { return failures_ + 1 < setUp_->policy.attemptsWithoutProgress; }
  [[nodiscard]] std::chrono::milliseconds pauseBeforeNextTry(Recovery recovery) const;
  void wait(TransferStatus::Waiting waiting, std::chrono::milliseconds delay, void (PersistentTask::*then)());
  [[nodiscard]] bool waitForNetwork();
  void networkChanged();
  void waitForSpace();
  void beginTryIfSpaceReturned();
  void report(TransferStatus::Waiting waiting, std::chrono::milliseconds delay);
  void end(const std::optional<NSError>& error);
  [[nodiscard]] NSError error(std::int64_t code, const char* reason) const;

  const std::shared_ptr<const Persistence> setUp_;
  const NSURLSessionConfiguration configuration_;
  const NSURLRequest request_;
  const std::shared_ptr<DispatchQueue> queue_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> weakDelegate_;
  Guarded<bool> begun_;
  Guarded<std::shared_ptr<NSURLSessionDownloadTask>> try_;  // the present one, or the last

  // The session's queue only.
  Phase phase_ = Phase::idle;
  std::shared_ptr<PersistentTask> self_;  // from the start to the end
  std::shared_ptr<NSURLSessionDownloadDelegate> delegate_;
  std::shared_ptr<NSURLSession> session_;
  std::unique_ptr<NetworkWatch> network_;
  TransferStatus status_{.attempt = 0};
  std::uint64_t wait_ = 0;  // ordinal of the present wait; a timer of an earlier one does nothing
  int failures_ = 0;        // tries in a row that brought no new byte
  bool cancelled_ = false;
  bool handedOver_ = false;
  bool dropped_ = false;  // the present try's body, for its status
};

}  // namespace tq::internal
