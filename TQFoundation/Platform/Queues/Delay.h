#pragma once

#include <algorithm>
#include <chrono>

namespace tq {

/// A span of time, made from any `std::chrono` duration and kept within 100 years, so that no conversion or
/// addition overflows: `milliseconds::max()` means "practically never".
///
/// Immutable after construction; share freely.
class Delay {
 public:
  template <class Rep, class Period>
  Delay(std::chrono::duration<Rep, Period> span)  // NOLINT(google-explicit-constructor): any duration is one
      : nanoseconds_(clamped(span)) {}

  [[nodiscard]] std::chrono::nanoseconds nanoseconds() const { return nanoseconds_; }

 private:
  static constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(24 * 36'525);

  template <class Rep, class Period>
  static constexpr std::chrono::nanoseconds clamped(std::chrono::duration<Rep, Period> span) {
    // Compared as seconds with a fraction, which hold the extremes of every duration.
    const std::chrono::duration<double> seconds = span;
    if (seconds >= kLongest) return kLongest;
    if (seconds <= -kLongest) return -kLongest;
    return std::chrono::duration_cast<std::chrono::nanoseconds>(span);
  }

  std::chrono::nanoseconds nanoseconds_;
};

}  // namespace tq
