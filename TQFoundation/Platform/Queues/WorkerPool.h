#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// The background threads behind the global and the serial queues.
///
/// A task waits for no other: while all threads are busy another one is started, up to `kMaxThreads`, so that
/// tasks that block (in `sync`, in a read) cannot starve the ones they wait for. A thread without work ends
/// after `kIdleLife`.
///
/// Thread-safe. Never destroyed.
class WorkerPool {
 public:
  static constexpr std::size_t kMaxThreads = 64;
  static constexpr std::chrono::seconds kIdleLife{2};

  static WorkerPool& shared();

  void submit(Task task, DispatchQueue::Priority priority);

  /// While one lives, what its thread submits wakes no other thread yet: the wake-ups come at its end, and
  /// the thread that takes a task itself needs none for it.
  ///
  /// One at a time on a thread, and on the thread that made it only.
  class Burst {
   public:
    Burst() { current_ = this; }
    ~Burst();
    Burst(const Burst&) = delete;
    Burst& operator=(const Burst&) = delete;

    /// Wakes a thread for each task submitted so far.
    void wakeForAll();

    /// The same but for one task: this thread is one of the pool's, has come to the end of its task, and
    /// takes the next one itself.
    void wakeForOthers();

   private:
    friend class WorkerPool;
    static thread_local Burst* current_;
    std::size_t submitted_ = 0;
  };

 private:
  WorkerPool() = default;
  void wakeThread();
  void startThread();
  void work();
  bool takeNext(std::unique_lock<std::mutex>& lock, Task& task);

  std::mutex mutex_;
  std::condition_variable added_;
  std::array<std::deque<Task>, 2> tasks_;  // high priority first
  std::atomic<std::size_t> waiting_ = 0;   // tasks; changed with the lock held
  std::size_t looking_ = 0;                // threads that will find a task without being woken
  std::size_t asleep_ = 0;
  std::size_t threads_ = 0;
};

}  // namespace tq
