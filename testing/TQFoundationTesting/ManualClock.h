#pragma once

#include "TQFoundation/Platform/Ports/Clock.h"

namespace tq::doubles {

/// A clock that stands still until the test moves it.
///
///     ManualClock clock(std::chrono::sys_days{2024y / 2 / 29});
///     EXPECT_EQ(Calendar::numberOfDaysInCurrentMonth(clock), 29);
///
/// Not synchronised: one thread at a time.
class ManualClock final : public platform::Clock {
 public:
  explicit ManualClock(platform::Date now) : now_(now) {}

  void set(platform::Date now) { now_ = now; }
  [[nodiscard]] platform::Date now() const override { return now_; }

 private:
  platform::Date now_;
};

}  // namespace tq::doubles
