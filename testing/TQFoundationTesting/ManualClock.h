#pragma once

#include "TQFoundation/Platform/Ports/Clock.h"

namespace tq {

/// A clock that stands still until the test moves it.
///
///     ManualClock clock(std::chrono::sys_days{2024y / 2 / 29});
///     EXPECT_EQ(numberOfDaysInCurrentMonth(Calendar::current(), clock), 29);
///
/// Not thread-safe: one thread at a time.
class ManualClock final : public Clock {
 public:
  explicit ManualClock(Date now) : now_(now) {}

  void set(Date now) { now_ = now; }
  [[nodiscard]] Date now() const override { return now_; }

 private:
  Date now_;
};

}  // namespace tq
