#pragma once

#include <array>
#include <csignal>
#include <functional>
#include <memory>

namespace tq::tool {

/// Ctrl-C, a request to end and a hang-up, as something that a loop can wait for.
///
/// While it lives, the first of these signals makes `descriptor` readable and does no more; the
/// second ends the program at once, with `kExitInterrupted`. A hang-up that the caller has switched off
/// (nohup) stays so. One at a time.
class Interrupts {
 public:
  Interrupts();
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  /// Readable once a signal has come; -1 when the system has no descriptor left.
  [[nodiscard]] int descriptor() const { return readEnd_; }

 private:
  static constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, kSignals.size()> before_{};
  int readEnd_ = -1;
};

/// Runs the library's main queue on this thread, in a poll() loop as a host has one, until `ended` returns
/// true: it is called before each turn. The first signal calls `onInterrupt`.
void runMainQueue(const Interrupts& interrupts, const std::function<bool()>& ended,
                  const std::function<void()>& onInterrupt);

/// Goes on running the main queue until no reference to `object` is left. The library's objects live as long
/// as work of theirs is under way: then it has come to its end, and its temporary files are gone.
void runMainQueueUntilReleased(const std::weak_ptr<const void>& object);

}  // namespace tq::tool
