#pragma once

#include "TQFoundation/Platform/Queues/LoopQueue.h"
#include "tests/support/Eventually.h"

namespace tq::tests {

/// Waits for `done`, for up to 20 seconds, while this thread drains the main queue, as a host with a loop of
/// its own does.
template <class Done>
[[nodiscard]] bool runMainQueueUntil(Done done) {
  return eventually([&] {
    DispatchQueue::main()->drain();
    return done();
  });
}

}  // namespace tq::tests
