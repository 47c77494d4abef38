#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

#include "TQFoundation/Platform/Core/DispatchQueue.h"

namespace tq::platform {

/// The background threads behind the global and the serial queues.
///
/// A task waits for no other: while all threads are busy another one is started, up to `kMaxThreads`, so that
/// tasks that block (in `sync`, in a read) cannot starve the ones they wait for. A thread without work ends
/// after `kIdleLife`.
///
/// Callable from any thread. Never destroyed.
class WorkerPool {
 public:
  static constexpr std::size_t kMaxThreads = 64;
  static constexpr std::chrono::seconds kIdleLife{2};

  static WorkerPool& shared();

  void submit(Task task, DispatchQueue::Priority priority);

 private:
  WorkerPool() = default;
  void startThread();
  void work();
  bool takeNext(std::unique_lock<std::mutex>& lock, Task& task);
  [[nodiscard]] std::size_t waiting() const { return tasks_[0].size() + tasks_[1].size(); }

  std::mutex mutex_;
  std::condition_variable added_;
  std::array<std::deque<Task>, 2> tasks_;  // high priority first
  std::size_t idle_ = 0;
  std::size_t threads_ = 0;
};

}  // namespace tq::platform
