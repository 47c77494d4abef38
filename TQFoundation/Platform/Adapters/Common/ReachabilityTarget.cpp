#include "TQFoundation/Platform/Adapters/Common/ReachabilityTarget.h"

#include <utility>

namespace tq {

std::optional<SCNetworkReachabilityFlags> ReachabilityTarget::getFlags() {
  std::shared_ptr<DispatchQueue> queue;
  std::optional<Flags> seen;
  {
    const MutexLock lock(mutex_);
    queue = queue_;
    seen = seen_;
  }
  // On the queue `seen` cannot have changed since: only deliveries replace it, and they run there.
  return queue && queue->isCurrent() ? seen : readFlags();
}

bool ReachabilityTarget::setCallback(SCNetworkReachabilityCallBack callback,
                                     const SCNetworkReachabilityContext* context) {
  const MutexLock lock(mutex_);
  callback_ = {callback, context == nullptr ? SCNetworkReachabilityContext{} : *context};
  return true;
}

// A thread that has a change to note meanwhile waits for `reading_`, and then finds the queue. The old queue
// is released by the caller, without a lock.
bool ReachabilityTarget::setDispatchQueue(std::shared_ptr<DispatchQueue> queue) {
  const MutexLock reading(reading_);
  const auto flags = queue ? readFlags() : std::nullopt;
  const MutexLock lock(mutex_);
  queue_.swap(queue);
  ++start_;
  noted_ = seen_ = flags;
  return true;
}

std::shared_ptr<DispatchQueue> ReachabilityTarget::queue() const {
  const MutexLock lock(mutex_);
  return queue_;
}

bool ReachabilityTarget::isDelivering() const {
  const MutexLock lock(mutex_);
  return queue_ != nullptr;
}

bool ReachabilityTarget::isRegistered() const {
  const MutexLock lock(mutex_);
  return queue_ != nullptr || callback_.function != nullptr;
}

void ReachabilityTarget::noteChange(bool callsAnyway) {
  std::shared_ptr<DispatchQueue> queue;
  std::uint64_t start = 0;
  {
    const MutexLock reading(reading_);
    if (!isDelivering()) return;
    const auto flags = readFlags();
    const MutexLock lock(mutex_);
    if (!queue_ || (noted_ == flags && !callsAnyway)) return;
    noted_ = flags;
    queue = queue_;
    start = start_;
  }
  queue->async([self = shared_from_this(), start, callsAnyway] { self->deliver(start, callsAnyway); });
}

// Several changes that waited for the queue together are delivered as one, if they are one.
void ReachabilityTarget::deliver(std::uint64_t start, bool callsAnyway) {
  Callback callback;
  Flags flags = 0;
  {
    const MutexLock lock(mutex_);
    if (start != start_ || (seen_ == noted_ && !callsAnyway)) return;
    seen_ = noted_;
    flags = seen_.value_or(0);
    callback = callback_;
  }
  if (callback.function == nullptr) return;
  const std::shared_ptr<void> info = callback.context.info.lock();
  callback.function(shared_from_this(), flags, info.get());
}

}  // namespace tq
