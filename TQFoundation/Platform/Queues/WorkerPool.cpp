#include "TQFoundation/Platform/Queues/WorkerPool.h"

#include <system_error>
#include <thread>
#include <utility>

#include "TQFoundation/Platform/Queues/SpinWait.h"

namespace tq {

WorkerPool& WorkerPool::shared() {
  static auto* const pool = new WorkerPool;
  return *pool;
}

thread_local WorkerPool::Burst* WorkerPool::Burst::current_ = nullptr;

WorkerPool::Burst::~Burst() {
  wakeForAll();
  current_ = nullptr;
}

void WorkerPool::Burst::wakeForAll() {
  for (; submitted_ > 0; --submitted_) shared().wakeThread();
}

void WorkerPool::Burst::wakeForOthers() {
  if (submitted_ > 0) --submitted_;
  wakeForAll();
}

void WorkerPool::submit(Task task, DispatchQueue::Priority priority) {
  {
    const std::scoped_lock lock(mutex_);
    tasks_[priority == DispatchQueue::Priority::high ? 0 : 1].push_back(std::move(task));
    ++waiting_;
  }
  if (Burst::current_ != nullptr) {
    ++Burst::current_->submitted_;
  } else {
    wakeThread();
  }
}

void WorkerPool::wakeThread() {
  bool needsThread = false;
  {
    const std::scoped_lock lock(mutex_);
    if (waiting_ <= looking_) return;
    needsThread = waiting_ > looking_ + asleep_ && threads_ < kMaxThreads;
    if (needsThread) ++threads_;
  }
  if (needsThread) {
    startThread();
  } else {
    added_.notify_one();
  }
}

void WorkerPool::startThread() {
  try {
    std::thread([this] { work(); }).detach();
  } catch (const std::system_error&) {
    const std::scoped_lock lock(mutex_);
    // The threads there are will come to the task; with none, nobody ever would.
    if (--threads_ == 0) std::terminate();
  }
}

void WorkerPool::work() {
  Task task;
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      if (!takeNext(lock, task)) return;
    }
    [&]() noexcept { task(); }();
    task = nullptr;
  }
}

// False when this thread has waited its idle life for nothing and is no longer counted.
bool WorkerPool::takeNext(std::unique_lock<std::mutex>& lock, Task& task) {
  if (waiting_ == 0) {
    ++looking_;
    lock.unlock();
    internal::spinWait([this] { return waiting_ != 0; });
    lock.lock();
    --looking_;
  }
  if (waiting_ == 0) {
    ++asleep_;
    const bool found = added_.wait_for(lock, kIdleLife, [this] { return waiting_ != 0; });
    --asleep_;
    if (!found) {
      --threads_;
      return false;
    }
  }
  auto& from = tasks_[tasks_[0].empty() ? 1 : 0];
  task = std::move(from.front());
  from.pop_front();
  --waiting_;
  return true;
}

}  // namespace tq
