#pragma once

#include <chrono>
#include <thread>

namespace tq::tests {

/// Waits for `done`, for up to 20 seconds; answers it.
template <class Done>
[[nodiscard]] bool eventually(Done done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  return done();
}

}  // namespace tq::tests
