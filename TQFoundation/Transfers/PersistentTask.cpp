#include "TQFoundation/Transfers/PersistentTask.h"

#include <algorithm>
#include <random>
#include <utility>

#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq::internal {
namespace {

using std::chrono::milliseconds;
using Waiting = TransferStatus::Waiting;

// Transfers that wait for the network go on within this time, so that they do not all come at once.
constexpr milliseconds kSpreadAfterReturn{250};
constexpr milliseconds kSpaceInterval = std::chrono::seconds(10);
constexpr int kLargestShift = 30;

double randomFraction(const RetryPorts& ports) {
  if (ports.random) return ports.random();
  thread_local std::minstd_rand generator(std::random_device{}());
  return std::uniform_real_distribution<double>()(generator);
}

milliseconds fractionOf(milliseconds longest, double fraction) {
  return milliseconds(static_cast<milliseconds::rep>(static_cast<double>(longest.count()) * fraction));
}

}  // namespace

PersistentTask::PersistentTask(std::shared_ptr<const Persistence> persistence,
                               NSURLSessionConfiguration configuration, NSURLRequest request,
                               std::shared_ptr<DispatchQueue> queue,
                               std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
    : setUp_(std::move(persistence)),
      configuration_(std::move(configuration)),
      request_(std::move(request)),
      queue_(std::move(queue)),
      weakDelegate_(std::move(delegate)) {}

void PersistentTask::resume() {
  if (!begin()) return;
  queue_->async([self = shared_from_this(), delegate = weakDelegate_.lock()]() mutable {
    if (self->phase_ != Phase::idle) return;
    self->delegate_ = std::move(delegate);
    self->start();
  });
}

void PersistentTask::cancel() {
  auto delegate = begin() ? weakDelegate_.lock() : nullptr;
  queue_->async([self = shared_from_this(), delegate = std::move(delegate)]() mutable {
    if (delegate) self->delegate_ = std::move(delegate);
    self->cancelNow();
  });
}

// True for the first who starts or cancels the task.
bool PersistentTask::begin() {
  return !begun_.exchange(true);
}

std::optional<NSHTTPURLResponse> PersistentTask::response() const {
  const auto task = try_.get();
  return task ? task->response() : std::nullopt;
}

void PersistentTask::start() {
  self_ = shared_from_this();
  if (const auto deadline = setUp_->policy.deadline) {
    queue_->after(*deadline, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->endOverdue();
    });
  }
  beginTry();
}

void PersistentTask::cancelNow() {
  if (phase_ == Phase::ended) return;
  cancelled_ = true;
  // A try that runs ends by itself within the inner session's promise, or has just succeeded.
  if (phase_ == Phase::running) return try_.get()->cancel();
  end(error(NSURLErrorCancelled, "cancelled"));
}

void PersistentTask::endOverdue() {
  if (phase_ == Phase::ended) return;
  const auto running = phase_ == Phase::running ? try_.get() : nullptr;
  end(error(NSURLErrorTimedOut, "it took longer than allowed"));
  if (running) running->cancel();
}

void PersistentTask::beginTry() {
  phase_ = Phase::running;
  network_ = nullptr;
  dropped_ = false;
  ++status_.attempt;
  report(Waiting::forNothing, milliseconds::zero());
  session_ = setUp_->inner(configuration_, weak_from_this());
  const auto task = session_->downloadTaskWithRequest(request_);
  try_.set(task);
  task->resume();
}

// An error page is no progress: it is reported only where it will be handed over, and starts no count over.
void PersistentTask::didWriteData(NSURLSessionDownloadTask& task, std::int64_t, std::int64_t total,
                                  std::int64_t expected) {
  queue_->async([self = shared_from_this(), response = task.response(), total, expected] {
    if (self->phase_ == Phase::ended || self->isWorthAnotherTry(response)) return;
    self->status_.expected = expected;
    const std::int64_t bytes = total - self->status_.received;
    if (bytes <= 0) return;
    self->status_.received = total;
    if (recoveryOf(std::nullopt, response) == Recovery::never) self->failures_ = 0;
    if (self->delegate_) self->delegate_->didWriteData(*self, bytes, total, expected);
  });
}

// The file is gone when this returns, so the inner session's queue waits here for the delegate.
void PersistentTask::didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) {
  queue_->sync([&] {
    if (phase_ == Phase::ended) return;
    dropped_ = isWorthAnotherTry(task.response());
    if (dropped_) return;
    handedOver_ = true;
    if (delegate_) delegate_->didFinishDownloadingToURL(*this, location);
  });
}

void PersistentTask::didCompleteWithError(NSURLSessionDownloadTask&, const std::optional<NSError>& error) {
  queue_->async([self = shared_from_this(), error] { self->tryEnded(error); });
}

void PersistentTask::tryEnded(const std::optional<NSError>& ended) {
  if (phase_ == Phase::ended) return;
  if (cancelled_ && dropped_) return end(error(NSURLErrorCancelled, "cancelled"));
  if (cancelled_ || (!ended && !dropped_)) return end(ended);
  recover(dropped_ ? Recovery::later : recoveryOf(ended, std::nullopt), ended);
}

void PersistentTask::recover(Recovery recovery, const std::optional<NSError>& error) {
  switch (recovery) {
    case Recovery::needsUser:
    case Recovery::never:
      return end(error);
    case Recovery::whenSpaceReturns:
      if (!setUp_->policy.waitForSpace) return end(error);
      return waitForSpace();
    case Recovery::now:
    case Recovery::later:
    case Recovery::whenNetworkReturns:
      if (setUp_->policy.waitForNetwork && waitForNetwork()) return;
      if (!dropped_ && !hasTriesLeft()) return end(error);
      ++failures_;
      return wait(Waiting::forRetry, pauseBeforeNextTry(recovery), &PersistentTask::beginTry);
  }
}

bool PersistentTask::isWorthAnotherTry(const std::optional<NSHTTPURLResponse>& response) const {
  return hasTriesLeft() && !cancelled_ && recoveryOf(std::nullopt, response) == Recovery::later;
}

milliseconds PersistentTask::pauseBeforeNextTry(Recovery recovery) const {
  const RetryPolicy& policy = setUp_->policy;
  const auto doubled = policy.first * (std::int64_t{1} << std::clamp(failures_ - 1, 0, kLargestShift));
  const bool atOnce = recovery == Recovery::now && failures_ == 1;
  const milliseconds pause =
      atOnce ? milliseconds::zero()
             : fractionOf(std::min(policy.longest, doubled), randomFraction(setUp_->ports));
  const auto response = this->response();
  const auto asked =
      response ? response->retryAfter.value_or(std::chrono::seconds::zero()) : std::chrono::seconds::zero();
  return std::max<milliseconds>(pause, std::min(asked, policy.longestRetryAfter));
}

void PersistentTask::wait(Waiting waiting, milliseconds delay, void (PersistentTask::*then)()) {
  phase_ = Phase::waiting;
  report(waiting, delay);
  queue_->after(delay, [weak = weak_from_this(), ordinal = ++wait_, then] {
    const auto self = weak.lock();
    if (self && self->phase_ == Phase::waiting && self->wait_ == ordinal) (self.get()->*then)();
  });
}

// Watches first and looks then, so that a return in between is not lost. False where there is a way.
bool PersistentTask::waitForNetwork() {
  network_ = std::make_unique<NetworkWatch>(
      *setUp_->ports.network, request_.url.host(), queue_,
      [](const SCNetworkReachabilityRef&, SCNetworkReachabilityFlags, void* task) {
        if (task != nullptr) static_cast<PersistentTask*>(task)->networkChanged();
      },
      weak_from_this());
  if (network_->isReachable()) {
    network_ = nullptr;
    return false;
  }
  phase_ = Phase::waiting;
  ++wait_;
  report(Waiting::forNetwork, milliseconds::zero());
  return true;
}

void PersistentTask::networkChanged() {
  if (phase_ != Phase::waiting || !network_ || !network_->isReachable()) return;
  network_ = nullptr;
  wait(Waiting::forRetry, fractionOf(kSpreadAfterReturn, randomFraction(setUp_->ports)),
       &PersistentTask::beginTry);
}

void PersistentTask::waitForSpace() {
  wait(Waiting::forSpace, kSpaceInterval, &PersistentTask::beginTryIfSpaceReturned);
}

void PersistentTask::beginTryIfSpaceReturned() {
  const auto& wanted = configuration_.destinationFolder;
  const auto free = setUp_->ports.volumes->freeBytes(wanted.empty() ? NSTemporaryDirectory() : wanted);
  const auto needed = static_cast<std::uint64_t>(std::max<std::int64_t>(status_.expected, 1));
  return free.value_or(0) < needed ? waitForSpace() : beginTry();
}

void PersistentTask::report(Waiting waiting, milliseconds delay) {
  status_.waiting = waiting;
  status_.until = setUp_->ports.clock->now() + delay;
  if (setUp_->onStatus) setUp_->onStatus(request_.url, status_);
}

void PersistentTask::end(const std::optional<NSError>& error) {
  phase_ = Phase::ended;
  network_ = nullptr;
  const auto self = std::exchange(self_, nullptr);
  const auto delegate = std::exchange(delegate_, nullptr);
  if (delegate) delegate->didCompleteWithError(*this, error);
}

NSError PersistentTask::error(std::int64_t code, const char* reason) const {
  return makeError(NSURLErrorDomain, code,
                   "cannot fetch " + withoutSecrets(request_.url.absoluteString()) + ": " + reason);
}

}  // namespace tq::internal
