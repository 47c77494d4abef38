#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"

namespace tq {

class DispatchQueue;

/// What keeps an observation going: it ends when the last copy is released.
using Subscription = std::shared_ptr<const void>;

/// The callbacks to run when something has changed, each on its own queue.
///
///     Observers observers;
///     const Subscription subscription = observers.add(DispatchQueue::main(), [] { reload(); });
///     observers.notify();                            // has `reload` run on the main queue
///
/// Thread-safe. No lock is held while a callback runs; it may call back in, and may release its subscription.
class TQ_API Observers {
 public:
  /// Has `changed` run on `queue` after each `notify`, until the subscription is released. On a serial queue
  /// no call begins after it was released there; on other threads a call that has begun goes to its end.
  [[nodiscard]] Subscription add(std::shared_ptr<DispatchQueue> queue, std::function<void()> changed);

  /// Hands each callback to its queue; none runs inside this call.
  void notify();

  /// Whether no subscription is held.
  [[nodiscard]] bool isEmpty() const;

 private:
  struct Observer;

  mutable Mutex mutex_;
  std::vector<std::weak_ptr<const Observer>> observers_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
