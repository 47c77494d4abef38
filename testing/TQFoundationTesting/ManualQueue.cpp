#include "TQFoundationTesting/ManualQueue.h"

#include <functional>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"

namespace tq {
namespace {

class ManualTimer final : public Timer {
 public:
  explicit ManualTimer(Task task) : task_(std::make_shared<const Task>(std::move(task))) {}

  void invalidate() override { task_.set(nullptr); }
  [[nodiscard]] bool isValid() const override { return task_.get() != nullptr; }

  void fire() {
    if (const auto task = task_.get()) (*task)();
  }

 private:
  Guarded<std::shared_ptr<const Task>> task_;
};

}  // namespace

void ManualQueue::async(Task task) {
  const MutexLock lock(mutex_);
  tasks_.push_back(std::move(task));
}

void ManualQueue::after(Delay delay, Task task) {
  callAt(now() + delay.nanoseconds(), std::move(task));
}

std::shared_ptr<Timer> ManualQueue::schedule(Delay interval, Repeats repeats, Task task) {
  auto timer = std::make_shared<ManualTimer>(std::move(task));
  // Each firing plans the next one, so the plan holds the timer for as long as it is valid.
  struct Plan {
    ManualQueue& queue;
    std::shared_ptr<ManualTimer> timer;
    std::chrono::nanoseconds interval;
    Repeats repeats;

    void operator()() const {
      timer->fire();
      if (repeats == Repeats::no) timer->invalidate();
      if (timer->isValid()) queue.callAt(queue.now() + interval, *this);
    }
  };
  callAt(now() + interval.nanoseconds(), Plan{*this, timer, interval.nanoseconds(), repeats});
  return timer;
}

std::size_t ManualQueue::run() {
  std::size_t count = 0;
  while (runNext()) ++count;
  return count;
}

bool ManualQueue::runNext() {
  Task task;
  {
    const MutexLock lock(mutex_);
    if (tasks_.empty()) return false;
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  task();
  return true;
}

void ManualQueue::advance(std::chrono::nanoseconds time) {
  const auto end = now() + time;
  run();
  for (;;) {
    {
      const MutexLock lock(mutex_);
      if (later_.empty() || later_.begin()->first > end) {
        now_ = end;
        return;
      }
      auto due = later_.extract(later_.begin());
      now_ = due.key();
      tasks_.push_back(std::move(due.mapped()));
    }
    run();
  }
}

std::chrono::nanoseconds ManualQueue::now() const {
  const MutexLock lock(mutex_);
  return now_;
}

void ManualQueue::callAt(std::chrono::nanoseconds moment, Task task) {
  const MutexLock lock(mutex_);
  later_.emplace(moment, std::move(task));
}

}  // namespace tq
