#include "TQFoundation/Platform/Queues/TimerService.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Thread.h"

namespace tq::internal {
namespace {

TimerService& shared() {
  static NeverDestroyed<TimerService> service;
  return *service;
}

}  // namespace

TimerService::TimerService() {
  const bool started = startThread("tq timers", [this] {
    // Each task is destroyed, outside the lock, before the next one is taken.
    for (;;) takeNextDue()();
  });
  if (!started) abortForWantOf("no thread for timers", EAGAIN);
}

TimerService::Clock::time_point TimerService::fromNow(Delay delay) {
  return Clock::now() + std::max(delay.nanoseconds(), std::chrono::nanoseconds::zero());
}

TimerService::Key TimerService::callAt(Clock::time_point moment, Task task) noexcept {
  TimerService& self = shared();
  const MutexLock lock(self.mutex_);
  const Key key{moment, ++self.lastNumber_};
  self.calls_.emplace(key, std::move(task));
  if (self.calls_.begin()->first == key) self.firstChanged_.notifyOne();
  return key;
}

void TimerService::cancel(const Key& key) {
  TimerService& self = shared();
  std::map<Key, Task>::node_type cancelled;  // destroyed after the lock is released: a task may own anything
  const MutexLock lock(self.mutex_);
  cancelled = self.calls_.extract(key);
}

Task TimerService::takeNextDue() {
  const MutexLock lock(mutex_);
  for (;;) {
    if (calls_.empty()) {
      firstChanged_.wait(mutex_);
    } else if (const auto moment = calls_.begin()->first.moment; moment > Clock::now()) {
      firstChanged_.waitUntil(mutex_, moment);
    } else {
      return std::move(calls_.extract(calls_.begin()).mapped());
    }
  }
}

}  // namespace tq::internal
