#include "TQFoundation/Platform/Core/WorkerPool.h"

#include <system_error>
#include <thread>
#include <utility>

namespace tq::platform {

WorkerPool& WorkerPool::shared() {
  static auto* const pool = new WorkerPool;
  return *pool;
}

void WorkerPool::submit(Task task, DispatchQueue::Priority priority) {
  bool needsThread = false;
  {
    const std::scoped_lock lock(mutex_);
    tasks_[priority == DispatchQueue::Priority::high ? 0 : 1].push_back(std::move(task));
    needsThread = waiting() > idle_ && threads_ < kMaxThreads;
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
  if (waiting() == 0) {
    ++idle_;
    const bool found = added_.wait_for(lock, kIdleLife, [this] { return waiting() != 0; });
    --idle_;
    if (!found) {
      --threads_;
      return false;
    }
  }
  auto& from = tasks_[tasks_[0].empty() ? 1 : 0];
  task = std::move(from.front());
  from.pop_front();
  return true;
}

}  // namespace tq::platform
