// A host that has an Asio of its own, built in another way than anybody else's, beside the library's timers.
// Were Asio's weak symbols in the library, one of the two would run the other's code.

#include <TQFoundation/Platform/Queues/LoopQueue.h>

#include <asio.hpp>
#include <chrono>
#include <iostream>

using namespace std::chrono_literals;
using namespace tq;

int main() {
  int fired = 0;
  const auto& queue = DispatchQueue::main();
  const auto ours = queue->schedule(5ms, RunLoop::Repeats::yes, [&] {
    if (++fired == 3) queue->stop();
  });
  queue->run();

  asio::io_context context;
  asio::steady_timer theirs(context, 5ms);
  theirs.async_wait([&](const asio::error_code& error) {
    if (!error) ++fired;
  });
  context.run();
  std::cout << fired << " timers fired\n";
  return fired == 4 ? 0 : 1;
}
