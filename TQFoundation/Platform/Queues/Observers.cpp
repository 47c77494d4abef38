#include "TQFoundation/Platform/Queues/Observers.h"

#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

struct Observers::Observer {
  std::shared_ptr<DispatchQueue> queue;
  std::function<void()> changed;
};

Subscription Observers::add(std::shared_ptr<DispatchQueue> queue, std::function<void()> changed) {
  auto observer = std::make_shared<const Observer>(Observer{std::move(queue), std::move(changed)});
  const MutexLock lock(mutex_);
  std::erase_if(observers_, [](const auto& other) { return other.expired(); });
  observers_.push_back(observer);
  return observer;
}

void Observers::notify() {
  std::vector<std::weak_ptr<const Observer>> observers;
  {
    const MutexLock lock(mutex_);
    observers = observers_;
  }
  for (const auto& each : observers) {
    const auto observer = each.lock();
    if (observer == nullptr) continue;
    // Weakly, so that a release takes effect on calls that are waiting as well.
    observer->queue->async([each] {
      if (const auto alive = each.lock()) alive->changed();
    });
  }
}

bool Observers::isEmpty() const {
  const MutexLock lock(mutex_);
  return std::all_of(observers_.begin(), observers_.end(), [](const auto& each) { return each.expired(); });
}

}  // namespace tq
