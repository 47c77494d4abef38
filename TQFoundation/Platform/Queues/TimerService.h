#pragma once

#include <chrono>
#include <functional>

#include "TQFoundation/Platform/Queues/Task.h"

namespace tq {

/// Calls back at a moment, on a thread of its own that does nothing else; callers hop off it at once.
///
/// Thread-safe. The thread starts with the first call and is never ended.
class TimerService {
 public:
  using Clock = std::chrono::steady_clock;

  /// Gives a call back; it may have begun already. Lets go of the task soon after.
  using Cancel = std::function<void()>;

  /// The moment `delay` from now, kept within what the clock can hold.
  [[nodiscard]] static Clock::time_point fromNow(std::chrono::nanoseconds delay);

  static Cancel callAt(Clock::time_point moment, Task task);
};

}  // namespace tq
