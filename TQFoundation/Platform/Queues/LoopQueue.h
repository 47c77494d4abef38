#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NSError.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/RunLoop.h"

namespace tq {

/// A serial queue that runs on the thread that runs or drains it: the main queue, or a thread's run loop.
///
/// As a loop of its own:
///
///     DispatchQueue::main()->async([] { start(); });
///     DispatchQueue::main()->run();                    // until stop() is called
///
/// In a loop the host already has (GLib, Qt, libuv, poll ...):
///
///     const auto& queue = DispatchQueue::main();
///     hostLoop.watchReadable(queue->descriptor(), [&] { queue->drain(); });
///     // or: queue->setWakeUp([] { hostLoop.postToUiThread([] { DispatchQueue::main()->drain(); }); });
///
/// One thread at a time may run or drain it; that thread is the queue's thread from then on. A task may run
/// or drain the queue again, or run a nested loop of the host's that drains it: the tasks behind it then run
/// inside that call.
///
/// `async`, `sync`, `after`, `schedule`, `stop`: thread-safe.
class TQ_API LoopQueue final : public DispatchQueue, public RunLoop {
 public:
  /// Returns a new queue, which has no thread until one adopts, runs or drains it.
  [[nodiscard]] static std::shared_ptr<LoopQueue> make();

  /// Returns the calling thread's own loop, or the main queue on its thread.
  [[nodiscard]] static std::shared_ptr<LoopQueue> current();

  ~LoopQueue() override;

  void async(Task task) noexcept override;
  using DispatchQueue::async;
  [[nodiscard]] bool isCurrent() const override;
  std::shared_ptr<Timer> schedule(Delay interval, Repeats repeats, Task task) override;

  /// Makes the calling thread the queue's thread, before it runs or drains the queue for the first time.
  void adopt();

  /// Runs tasks on this thread until `stop`, sleeping while there are none.
  void run();

  /// Makes the innermost `run` return after the task it is at; what is waiting stays for later. Of nested
  /// runs, each call ends one. While no thread runs the queue, the next `run` returns at once, however many
  /// calls there were.
  void stop();

  /// Runs the tasks that are waiting now and returns; tasks they add wait for the next call. Never sleeps.
  void drain();

  /// Has `wakeUp` called on the thread that adds a task, or inside `drain`, so that the host calls `drain`
  /// again: at least once between the begin of a drain and the next one that finds a task. When tasks are
  /// waiting already, it is called inside this call. It may do no more than wake the host's loop. An empty
  /// one ends this.
  void setWakeUp(std::function<void()> wakeUp);

  /// Returns a descriptor that is readable exactly while tasks wait; the host only watches it. It is made on
  /// first use and owned by the queue.
  ///
  /// When the system has no descriptor left, the result is -1 and `error` says so; without an `error` the
  /// program is aborted with that sentence, as a loop that watches -1 would wait for ever.
  [[nodiscard]] int descriptor(std::optional<NSError>* error = nullptr);

 private:
  using WakeUp = std::shared_ptr<const std::function<void()>>;
  class Pipe;

  friend class DispatchQueue;  // makes the main queue
  LoopQueue();
  void adopt(std::uint64_t thread);
  [[nodiscard]] bool isReady() const TQ_REQUIRES(mutex_);
  [[nodiscard]] bool waitForNext(Task& task);
  [[nodiscard]] bool takeBefore(std::uint64_t end, Task& task);
  [[nodiscard]] Task pop() TQ_REQUIRES(mutex_);
  [[nodiscard]] WakeUp toBeWoken() TQ_REQUIRES(mutex_);

  // The number of the queue's thread; numbers, unlike a `std::thread::id`, are never used again.
  std::atomic<std::uint64_t> thread_ = 0;

  // Invariant: the descriptor, once made, is readable exactly while `tasks_` is not empty. While it is not
  // empty, `wakeUp_` has been called since the latest `drain` began (`woken_`), or is about to be by the
  // thread that has just added or taken a task. Stops that are asked for never outnumber the runs under way,
  // or one. Tasks and `wakeUp_` run without the lock.
  Mutex mutex_;
  ConditionVariable changed_;
  std::deque<Task> tasks_ TQ_GUARDED_BY(mutex_);
  std::uint64_t begun_ TQ_GUARDED_BY(mutex_) = 0;  // tasks taken so far
  int runs_ TQ_GUARDED_BY(mutex_) = 0;
  int stops_ TQ_GUARDED_BY(mutex_) = 0;
  bool woken_ TQ_GUARDED_BY(mutex_) = false;
  WakeUp wakeUp_ TQ_GUARDED_BY(mutex_);
  std::unique_ptr<Pipe> pipe_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
