#pragma once

#include <chrono>
#include <thread>

#include "TQFoundation/Platform/Core/LoopQueue.h"

namespace tq::tests {

/// Waits for `done`, for up to 20 seconds; answers it.
template <class Done>
[[nodiscard]] bool eventuallyTrue(Done done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  return done();
}

/// The same while this thread drains the main queue, as a host with a loop of its own does.
template <class Done>
[[nodiscard]] bool runMainQueueUntil(Done done) {
  return eventuallyTrue([&] {
    platform::DispatchQueue::main()->drain();
    return done();
  });
}

}  // namespace tq::tests
