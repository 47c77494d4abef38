#pragma once

#include <memory>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Queues/Delay.h"
#include "TQFoundation/Platform/Queues/Task.h"

namespace tq {

/// A timer that a run loop fires.
///
/// Thread-safe.
class TQ_API Timer {
 public:
  virtual ~Timer() = default;

  /// Stops the timer and releases its task. On the loop's own thread nothing is fired after this call; on
  /// another one a firing that has begun goes to its end.
  virtual void invalidate() = 0;

  /// Whether the timer will still fire.
  [[nodiscard]] virtual bool isValid() const = 0;
};

/// Fires timers on one thread.
///
///     auto timer = RunLoop::current()->schedule(10s, Repeats::yes, [] { lookAgain(); });
///     ...
///     timer->invalidate();
///
/// The timer, and with it whatever its task holds, lives until it is invalidated or, when it does not repeat,
/// has fired. A loop that no thread runs or drains fires nothing.
///
/// Thread-safe.
class TQ_API RunLoop {
 public:
  enum class Repeats : bool { no, yes };

  virtual ~RunLoop() = default;

  /// Fires `task` on the loop's thread one `interval` from now, and every `interval` after that when it
  /// repeats. Firings that the loop was too busy for are dropped, not made up for. Intervals below 100 us
  /// count as that.
  virtual std::shared_ptr<Timer> schedule(Delay interval, Repeats repeats, Task task) = 0;

  /// The calling thread's loop: the main queue on its thread (see `DispatchQueue::main`), else a `LoopQueue`
  /// of the thread's own.
  [[nodiscard]] static std::shared_ptr<RunLoop> current();

  /// Returns whether the calling thread has a loop that may be run: it is the main queue's thread, or has
  /// called `current` before.
  [[nodiscard]] static bool hasCurrent();
};

}  // namespace tq
