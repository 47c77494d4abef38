#include "TQFoundation/Platform/Queues/DispatchQueue.h"

#include <semaphore.h>

#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Queues/TimerService.h"
#include "TQFoundation/Platform/Queues/WorkerPool.h"

namespace tq {
namespace {

// Lets one thread wait until another has opened the gate, once.
//
// The waiting thread may destroy the gate as soon as `wait` has returned: `open` touches it no more by then,
// which POSIX promises of its semaphores. A mutex with a condition variable keeps that only by waking the
// waiting thread while the lock is held, and so twice.
class SyncGate {
 public:
  SyncGate() { ::sem_init(&opened_, 0, 0); }
  ~SyncGate() { ::sem_destroy(&opened_); }
  SyncGate(const SyncGate&) = delete;
  SyncGate& operator=(const SyncGate&) = delete;

  void open() { ::sem_post(&opened_); }

  void wait() {
    while (::sem_wait(&opened_) != 0 && errno == EINTR) {
    }
  }

 private:
  sem_t opened_{};
};

class GlobalQueue final : public DispatchQueue {
 public:
  explicit GlobalQueue(Priority priority) : priority_(priority) {}

  void async(Task task) override { WorkerPool::shared().submit(std::move(task), priority_); }

  // Tasks of a global queue wait for nothing, so the caller's own thread is as good as another.
  [[nodiscard]] bool isCurrent() const override { return true; }

 private:
  const Priority priority_;
};

class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(Tasks tasks) : tasks_(tasks) {}

  void async(Task task) override {
    {
      const std::scoped_lock lock(mutex_);
      waiting_.push_back(std::move(task));
      if (std::exchange(scheduled_, true)) return;
    }
    scheduleBatch();
  }

  // On an idle queue the caller's own thread is as good as another, and none is woken.
  void sync(const std::function<void()>& task) override {
    if (isCurrent()) return task();
    if (!runIfIdle(task)) DispatchQueue::sync(task);
  }

  void asyncHereIfIdle(Task task) override {
    const auto self = shared_from_this();  // the task may let go of the queue
    if (tasks_ == Tasks::any || !runIfIdle(task)) async(std::move(task));
  }

  [[nodiscard]] bool isCurrent() const override { return running_ == this; }

 private:
  bool runIfIdle(const Task& task) {
    if (!occupyIdle()) return false;
    const auto* const outer = std::exchange(running_, this);
    [&]() noexcept { task(); }();
    running_ = outer;
    if (!release()) scheduleBatch();
    return true;
  }

  bool occupyIdle() {
    const std::scoped_lock lock(mutex_);
    return !std::exchange(scheduled_, true);
  }

  // False when tasks have come meanwhile: the queue stays occupied for them.
  bool release() {
    const std::scoped_lock lock(mutex_);
    scheduled_ = !waiting_.empty();
    return !scheduled_;
  }

  void scheduleBatch() {
    auto self = std::static_pointer_cast<SerialQueue>(shared_from_this());
    WorkerPool::shared().submit([self = std::move(self)] { self->runBatch(); }, Priority::normal);
  }

  // One batch per turn on the pool, so that a queue that never empties leaves room for the others.
  void runBatch() {
    std::vector<Task> batch;
    {
      const std::scoped_lock lock(mutex_);
      batch.swap(waiting_);
    }
    const auto* const outer = std::exchange(running_, this);
    for (Task& task : batch) {
      task();
      task = nullptr;
    }
    running_ = outer;
    if (release()) return;
    WorkerPool::Burst burst;
    scheduleBatch();
    burst.wakeForOthers();
  }

  static thread_local const SerialQueue* running_;

  const Tasks tasks_;
  std::mutex mutex_;
  std::vector<Task> waiting_;
  bool scheduled_ = false;
};

thread_local const SerialQueue* SerialQueue::running_ = nullptr;

}  // namespace

void DispatchQueue::asyncHereIfIdle(Task task) {
  async(std::move(task));
}

void DispatchQueue::sync(const std::function<void()>& task) {
  if (isCurrent()) return task();
  const auto self = weak_from_this().lock();  // the task may release every other reference
  SyncGate gate;
  async([&] {
    task();
    gate.open();
  });
  gate.wait();
}

void DispatchQueue::after(Delay delay, Task task) {
  using internal::TimerService;
  TimerService::callAt(TimerService::fromNow(delay),
                       [self = shared_from_this(), task = std::move(task)] { self->async(task); });
}

const std::shared_ptr<DispatchQueue>& DispatchQueue::global(Priority priority) {
  static const auto& high = *new std::shared_ptr<DispatchQueue>(new GlobalQueue(Priority::high));
  static const auto& normal = *new std::shared_ptr<DispatchQueue>(new GlobalQueue(Priority::normal));
  return priority == Priority::high ? high : normal;
}

std::shared_ptr<DispatchQueue> DispatchQueue::serial(Tasks tasks) {
  return std::make_shared<SerialQueue>(tasks);
}

}  // namespace tq
