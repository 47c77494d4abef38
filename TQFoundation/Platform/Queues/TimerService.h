#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <map>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Queues/Delay.h"
#include "TQFoundation/Platform/Queues/Task.h"

namespace tq::internal {

/// Runs tasks at given moments, on one thread that does nothing else: a task may do no more than hand its
/// work to a queue.
///
/// Thread-safe. No lock is held while a task runs. Never destroyed; its thread is started by the first use.
class TimerService {
 public:
  using Clock = std::chrono::steady_clock;

  /// Names a call to come.
  struct Key {
    Clock::time_point moment;
    std::uint64_t number = 0;                                   // in the order of the calls
    friend auto operator<=>(const Key&, const Key&) = default;  // NOLINT(modernize-use-nullptr)
  };

  /// The moment `delay` from now; now if it is negative.
  [[nodiscard]] static Clock::time_point fromNow(Delay delay);

  static Key callAt(Clock::time_point moment, Task task) noexcept;

  /// Withdraws a call and destroys its task; one that has begun is left alone.
  static void cancel(const Key& key);

  TimerService();

 private:
  [[nodiscard]] Task takeNextDue();

  Mutex mutex_;
  ConditionVariable firstChanged_;
  std::map<Key, Task> calls_ TQ_GUARDED_BY(mutex_);
  std::uint64_t lastNumber_ TQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace tq::internal
