#pragma once

#include <poll.h>

#include <chrono>

#include "TQFoundation/Platform/Core/LoopQueue.h"

namespace tq::tests {

/// Drains the main queue on this thread, as a host with a loop of its own does, until `done` or for `limit`.
/// Answers `done`. What changes it has to come through the main queue.
template <class Done>
bool runMainQueueUntil(Done done, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  using Clock = std::chrono::steady_clock;
  const auto& queue = platform::DispatchQueue::main();
  const auto end = Clock::now() + limit;
  queue->drain();
  while (!done() && Clock::now() < end) {
    pollfd readable{.fd = queue->descriptor(), .events = POLLIN, .revents = 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    ::poll(&readable, 1, static_cast<int>(left.count()));
    queue->drain();
  }
  return done();
}

/// Whether nothing more comes to the main queue for `time`, other than what makes `wrong` true.
template <class Wrong>
bool staysQuiet(Wrong wrong, std::chrono::milliseconds time) {
  return !runMainQueueUntil(wrong, time);
}

}  // namespace tq::tests
