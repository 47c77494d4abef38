#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

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
/// The main queue and the serial ones run one task at a time, in the order they were handed over, each seeing
/// everything the one before it did. Global queues run theirs side by side. A serial queue lives until its
/// last task has run, whoever holds it.
///
/// Thread-safe. No lock is held while a task runs.
class TQ_API DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  enum class Priority { normal, high };

  /// What the tasks of a queue are like. Brief ones take microseconds and wait for nobody.
  enum class Tasks { any, brief };

  DispatchQueue() = default;
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;
  virtual ~DispatchQueue() = default;

  /// Hands `task` over and returns at once. The task never runs inside this call.
  virtual void async(Task task) = 0;
  void async(std::nullptr_t) = delete;

  /// Runs `task` now, on this thread, if the queue is a serial one of brief tasks that has nothing to do,
  /// else hands it over as `async` does. Spares the wake-up of another thread. For callers that hold no lock.
  virtual void asyncHereIfIdle(Task task);

  /// Hands `task` over and returns when it has run.
  ///
  /// On the queue itself the task runs at once, ahead of what is waiting, where other systems would wait for
  /// themselves for ever. That holds for the queue whose task is running, not for one further out: a task of
  /// A that waits for B, whose task waits for A, waits for ever. On an idle serial queue the task may run on
  /// the caller's own thread. While nobody runs or drains the main queue this call waits.
  virtual void sync(const std::function<void()>& task);

  /// Hands `task` over once `delay` has passed. It cannot be taken back.
  virtual void after(Delay delay, Task task);

  /// Whether what this thread does now happens on the queue, so that `sync` need not wait.
  [[nodiscard]] virtual bool isCurrent() const = 0;

  /// The main queue, which belongs to the host: it runs it as a loop, or drains it from its own.
  ///
  /// Its thread is the one that loaded the library until another one runs, drains or adopts it. A program
  /// whose user interface has another thread calls `main()->adopt()` there first: before that, timers
  /// started on that thread do not fire and its `sync` to the main queue waits for ever.
  [[nodiscard]] static const std::shared_ptr<LoopQueue>& main();

  /// A queue of background threads shared by the process. Tasks of high priority are begun before the others.
  /// Up to 64 tasks run side by side, so some of them may block; a task that waits for a later one may not.
  [[nodiscard]] static const std::shared_ptr<DispatchQueue>& global(Priority priority = Priority::normal);

  /// A new serial queue on the background threads. One of brief tasks may also run them on the thread that
  /// brings them about, be it the main one.
  [[nodiscard]] static std::shared_ptr<DispatchQueue> serial(Tasks tasks = Tasks::any);
};

}  // namespace tq
