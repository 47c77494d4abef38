#pragma once

#include <chrono>
#include <thread>

namespace tq::internal {

/// Polls `ready` for 20 us, yielding the core in between, and returns its last result.
///
/// Work comes in groups: what a thread has just done often leads to the next hand-over within microseconds,
/// while falling asleep and being woken on another core costs tens of them.
template <class Ready>
bool spinWait(Ready ready) {
  constexpr std::chrono::microseconds kLimit{20};
  const auto end = std::chrono::steady_clock::now() + kLimit;
  do {
    if (ready()) return true;
    std::this_thread::yield();
  } while (std::chrono::steady_clock::now() < end);
  return false;
}

}  // namespace tq::internal
