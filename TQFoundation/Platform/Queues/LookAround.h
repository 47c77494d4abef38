#pragma once

#include <chrono>
#include <thread>

namespace tq {

/// Looks for more work for a moment before its thread goes to sleep, and answers whether there is some.
///
/// Work comes in groups: what a thread has just done often leads to the next hand-over within microseconds,
/// while falling asleep and being woken on another core costs tens of them. Others who want the core get it.
template <class Found>
bool lookAround(Found found) {
  constexpr std::chrono::microseconds kMoment{20};
  const auto end = std::chrono::steady_clock::now() + kMoment;
  do {
    if (found()) return true;
    std::this_thread::yield();
  } while (std::chrono::steady_clock::now() < end);
  return false;
}

}  // namespace tq
