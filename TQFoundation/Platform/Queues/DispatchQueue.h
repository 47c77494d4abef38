#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Queues/Delay.h"
#include "TQFoundation/Platform/Queues/Task.h"

namespace tq {

class LoopQueue;

/// A queue that runs tasks.
///
///     DispatchQueue::global(DispatchQueue::Priority::high)->async([=] {
///       auto result = walk(folder);
///       DispatchQueue::main()->async([=] { show(result); });
///     });
///
/// The main queue and the serial ones run one task at a time, in the order they were handed over, and each
/// task sees everything the one before it did; what a task captured is destroyed before the next one begins.
/// Global queues run theirs side by side. A serial queue lives until its last task has run, even when no
/// reference to it is left.
///
/// Thread-safe. No lock is held while a task runs; it may call back in, and may release the queue. Out of
/// memory, `async` and `after` end the program rather than lose a task.
class TQ_API DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  enum class Priority { normal, high };

  DispatchQueue() = default;
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;
  virtual ~DispatchQueue() = default;

  /// Hands `task` over and returns at once. The task never runs inside this call.
  virtual void async(Task task) = 0;
  void async(std::nullptr_t) = delete;

  /// Runs `task` on the queue, after the tasks handed over before it, and returns when it has run.
  ///
  /// On the queue itself the task runs at once, ahead of what is waiting. That holds for the queue whose task
  /// is running, not for one further out: a task of A that waits for B, whose task waits for A, waits for
  /// ever. While no thread runs or drains the main queue this call waits.
  ///
  /// A serial queue runs `task` on the caller's own thread, and before it, when the queue is free by then,
  /// the tasks that are still waiting ahead of it. So it needs no background thread.
  virtual void sync(const std::function<void()>& task);

  /// Hands `task` over once `delay` has passed. It cannot be withdrawn.
  virtual void after(Delay delay, Task task);

  /// Whether what this thread does now happens on the queue, so that `sync` need not wait.
  [[nodiscard]] virtual bool isCurrent() const = 0;

  /// The main queue, which belongs to the host: it runs it as a loop, or drains it from its own.
  ///
  /// Its thread is the one that loaded the library until another one runs, drains or adopts it. A program
  /// whose user interface has another thread calls `main()->adopt()` there first: before that, timers
  /// started on that thread do not fire and its `sync` to the main queue waits for ever.
  [[nodiscard]] static const std::shared_ptr<LoopQueue>& main();

  /// A queue of background threads shared by the process and by all serial queues.
  ///
  /// Tasks of high priority are begun before the others, but not more than eight in a row. Up to 64 tasks run
  /// side by side, not counting those that wait in `sync`; there are 512 threads at most. So a task may wait
  /// in `sync`, for a queue or through one. It starves others if it waits in another way (a lock, a future, a
  /// read without an end) for a task that has not begun: 64 such tasks stop the global and the serial queues
  /// until one of them goes on. A process that may not start a single thread is aborted with a sentence.
  [[nodiscard]] static const std::shared_ptr<DispatchQueue>& global(Priority priority = Priority::normal);

  /// A new serial queue on the background threads.
  [[nodiscard]] static std::shared_ptr<DispatchQueue> serial();
};

}  // namespace tq
