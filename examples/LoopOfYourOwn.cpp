// The main queue inside a loop that the program already has, here one around poll().

#include <TQFoundation/Platform/Queues/LoopQueue.h>
#include <poll.h>

#include <iostream>

using namespace tq;

int main() {
  const auto& queue = DispatchQueue::main();
  int left = 3;
  DispatchQueue::global()->async([&] {
    for (int i = 0; i < 3; ++i) queue->async([&] { std::cout << --left << " to go\n"; });
  });
  while (left > 0) {
    pollfd tasks{.fd = queue->descriptor(), .events = POLLIN, .revents = 0};
    ::poll(&tasks, 1, -1);  // beside whatever else the program waits for
    queue->drain();
  }
}
