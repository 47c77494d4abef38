#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq::internal {

/// The background threads behind the global and the serial queues.
///
/// While all threads are busy another one is started, up to `kMaxRunning` that are not blocked in `sync` and
/// `kMaxThreads` in all. A thread without work ends after `kIdleLife`. A process in which not even the first
/// thread can be started is aborted with a sentence.
///
/// Thread-safe. No lock is held while a task runs. Never destroyed: its threads may outlive `main`.
class WorkerPool {
 public:
  static constexpr std::size_t kMaxRunning = 64;
  static constexpr std::size_t kMaxThreads = 512;
  static constexpr std::size_t kHighInARow = 8;  // before a task of normal priority gets its turn
  static constexpr std::chrono::seconds kIdleLife{2};

  static WorkerPool& shared();

  /// A second pool, for what the library itself delivers: tasks of the host that block the first one, waiting
  /// for just that, do not hold it up.
  static WorkerPool& library();

  void submit(Task task, DispatchQueue::Priority priority) noexcept;

  /// The same from the end of a task of the pool, whose thread then comes for it: no other one is woken.
  void submitAtEndOfTask(Task task, DispatchQueue::Priority priority) noexcept;

  /// While one lives, its thread waits for another one. If it is a thread of a pool, it does not count
  /// against that pool's `kMaxRunning` meanwhile.
  class Blocked {
   public:
    Blocked();
    ~Blocked();
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;
  };

 private:
  enum class Need { none, wakeUp, newThread };

  void append(Task task, DispatchQueue::Priority priority) TQ_REQUIRES(mutex_);
  [[nodiscard]] Need need() TQ_REQUIRES(mutex_);
  void provide(Need need) noexcept;
  void work();
  [[nodiscard]] bool takeNext(Task& task);
  [[nodiscard]] bool waitForTask() TQ_REQUIRES(mutex_);
  [[nodiscard]] Task popNext() TQ_REQUIRES(mutex_);

  // Invariant: each waiting task has a thread that will come for it without further notice: one that spins
  // or was woken or started for it, or, at a limit, one that is at work. A thread at work looks for the next
  // task when it is done; one that sleeps or is yet to be started is provided by `submit`, and by `Blocked`
  // for what the blocked thread would have come for. The threads that are not blocked number
  // `threads_ - blocked_`; one too many (a blocked one has gone on) ends after its task.
  Mutex mutex_;
  ConditionVariable added_;
  std::deque<Task> high_ TQ_GUARDED_BY(mutex_);
  std::deque<Task> normal_ TQ_GUARDED_BY(mutex_);
  std::size_t highInARow_ TQ_GUARDED_BY(mutex_) = 0;
  std::atomic<std::size_t> waiting_ = 0;  // size of both deques; written with the lock held, read by spinners
  std::size_t spinning_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t asleep_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t blocked_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t threads_ TQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace tq::internal
