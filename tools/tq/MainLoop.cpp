#include "tools/tq/MainLoop.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>

#include "TQFoundation/Platform/Queues/LoopQueue.h"
#include "tools/tq/Outcome.h"

namespace tq::tool {
namespace {

constexpr std::chrono::milliseconds kReleaseCheck{10};

// A signal handler can reach nothing else.
std::atomic<int> interruptWriteEnd = -1;
std::atomic<bool> interrupted = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void noteInterrupt(int) {
  if (interrupted.exchange(true)) ::_exit(kExitInterrupted);
  const int before = errno;
  const char byte = 1;
  static_cast<void>(!::write(interruptWriteEnd, &byte, 1));
  errno = before;
}

}  // namespace

Interrupts::Interrupts() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
  readEnd_ = ends[0];
  interruptWriteEnd = ends[1];
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    struct sigaction action {};
    action.sa_handler = &noteInterrupt;
    action.sa_flags = SA_RESTART;
    ::sigaction(kSignals[i], nullptr, &before_[i]);
    const bool switchedOff = kSignals[i] == SIGHUP && before_[i].sa_handler == SIG_IGN;
    if (!switchedOff) ::sigaction(kSignals[i], &action, nullptr);
  }
}

Interrupts::~Interrupts() {
  if (readEnd_ < 0) return;
  for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &before_[i], nullptr);
  ::close(interruptWriteEnd.exchange(-1));
  ::close(readEnd_);
  interrupted = false;
}

void runMainQueue(const Interrupts& interrupts, const std::function<bool()>& ended,
                  const std::function<void()>& onInterrupt) {
  const auto& queue = DispatchQueue::main();
  std::array<pollfd, 2> watched{{{.fd = queue->descriptor(), .events = POLLIN, .revents = 0},
                                 {.fd = interrupts.descriptor(), .events = POLLIN, .revents = 0}}};
  while (!ended()) {
    if (::poll(watched.data(), watched.size(), -1) < 0) continue;
    if (watched[1].revents != 0) {
      watched[1].fd = -1;
      onInterrupt();
    }
    queue->drain();
  }
}

void runMainQueueUntilReleased(const std::weak_ptr<const void>& object) {
  const auto& queue = DispatchQueue::main();
  pollfd watched{.fd = queue->descriptor(), .events = POLLIN, .revents = 0};
  while (!object.expired()) {
    ::poll(&watched, 1, static_cast<int>(kReleaseCheck.count()));
    queue->drain();
  }
}

}  // namespace tq::tool
