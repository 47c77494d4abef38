#include "TQFoundation/Platform/Queues/WorkerPool.h"

#include <cerrno>
#include <utility>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Thread.h"
#include "TQFoundation/Platform/Queues/SpinWait.h"

namespace tq::internal {
namespace {

thread_local WorkerPool* ownPool = nullptr;  // of a pool's threads

}  // namespace

WorkerPool& WorkerPool::shared() {
  static NeverDestroyed<WorkerPool> pool;
  return *pool;
}

WorkerPool& WorkerPool::library() {
  static NeverDestroyed<WorkerPool> pool;
  return *pool;
}

WorkerPool::Blocked::Blocked() {
  if (ownPool == nullptr) return;
  WorkerPool& pool = *ownPool;
  Need need = Need::none;
  {
    const MutexLock lock(pool.mutex_);
    ++pool.blocked_;
    if (pool.waiting_ > 0) need = pool.need();
  }
  pool.provide(need);
}

WorkerPool::Blocked::~Blocked() {
  if (ownPool == nullptr) return;
  WorkerPool& pool = *ownPool;
  const MutexLock lock(pool.mutex_);
  --pool.blocked_;
}

void WorkerPool::submit(Task task, DispatchQueue::Priority priority) noexcept {
  Need need = Need::none;
  {
    const MutexLock lock(mutex_);
    append(std::move(task), priority);
    need = this->need();
  }
  provide(need);
}

void WorkerPool::submitAtEndOfTask(Task task, DispatchQueue::Priority priority) noexcept {
  const MutexLock lock(mutex_);
  append(std::move(task), priority);
}

void WorkerPool::append(Task task, DispatchQueue::Priority priority) {
  (priority == DispatchQueue::Priority::high ? high_ : normal_).push_back(std::move(task));
  ++waiting_;
}

// What it takes for the waiting tasks to get a thread. One that spins needs no wake-up.
WorkerPool::Need WorkerPool::need() {
  if (waiting_ <= spinning_) return Need::none;
  const bool mayStart = threads_ - blocked_ < kMaxRunning && threads_ < kMaxThreads;
  if (waiting_ <= spinning_ + asleep_ || !mayStart) return Need::wakeUp;
  ++threads_;
  return Need::newThread;
}

void WorkerPool::provide(Need need) noexcept {
  if (need == Need::wakeUp) added_.notifyOne();
  if (need != Need::newThread || startThread("tq worker", [this] { work(); })) return;
  const int error = EAGAIN;
  const MutexLock lock(mutex_);
  // The threads there are will come for the task; without any, no thread ever would.
  if (--threads_ == 0) abortForWantOf("no thread for background queues", error);
}

void WorkerPool::work() {
  ownPool = this;
  for (Task task; takeNext(task); task = nullptr) [&]() noexcept { task(); }();
}

// False when this thread is no longer counted and must end.
bool WorkerPool::takeNext(Task& task) {
  MutexLock lock(mutex_);
  if (waiting_ == 0) {
    ++spinning_;
    lock.unlock();
    spinWait([this] { return waiting_ != 0; });
    lock.lock();
    --spinning_;
  }
  if (threads_ - blocked_ > kMaxRunning || !waitForTask()) {
    --threads_;
    if (waiting_ > 0) added_.notifyOne();  // this thread was to come for a task, another one does
    return false;
  }
  task = popNext();
  return true;
}

bool WorkerPool::waitForTask() {
  if (waiting_ > 0) return true;
  const auto end = std::chrono::steady_clock::now() + kIdleLife;
  ++asleep_;
  while (waiting_ == 0 && added_.waitUntil(mutex_, end)) {
  }
  --asleep_;
  return waiting_ > 0;
}

Task WorkerPool::popNext() {
  const bool takesHigh = !high_.empty() && (normal_.empty() || highInARow_ < kHighInARow);
  highInARow_ = takesHigh ? highInARow_ + 1 : 0;
  auto& from = takesHigh ? high_ : normal_;
  Task task = std::move(from.front());
  from.pop_front();
  --waiting_;
  return task;
}

}  // namespace tq::internal
