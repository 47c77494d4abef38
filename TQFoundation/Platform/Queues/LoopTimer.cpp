#include "TQFoundation/Platform/Queues/LoopTimer.h"

#include <algorithm>
#include <utility>

namespace tq::internal {
namespace {

constexpr std::chrono::nanoseconds kShortestInterval = std::chrono::microseconds(100);

}  // namespace

std::shared_ptr<Timer> LoopTimer::start(std::weak_ptr<DispatchQueue> loop, Delay interval,
                                        RunLoop::Repeats repeats, Task task) {
  auto timer = std::make_shared<LoopTimer>(std::move(loop), interval, repeats, std::move(task));
  timer->arm();
  return timer;
}

LoopTimer::LoopTimer(std::weak_ptr<DispatchQueue> loop, Delay interval, RunLoop::Repeats repeats, Task task)
    : loop_(std::move(loop)),
      interval_(std::max(interval.nanoseconds(), kShortestInterval)),
      repeats_(repeats),
      due_(TimerService::fromNow(interval_)),
      task_(std::make_shared<const Task>(std::move(task))) {}

void LoopTimer::invalidate() {
  task_.set(nullptr);
  withdraw();
}

void LoopTimer::arm() {
  call_.set(TimerService::callAt(due_, [self = shared_from_this()] {
    if (const auto loop = self->loop_.lock()) loop->async([self] { self->fire(); });
  }));
  if (!isValid()) withdraw();
}

void LoopTimer::fire() {
  const auto task = repeats_ == RunLoop::Repeats::yes ? task_.get() : task_.exchange(nullptr);
  if (!task) return;
  (*task)();
  if (!isValid()) return;
  const auto now = TimerService::Clock::now();
  due_ += interval_ * (1 + std::max(now - due_, interval_.zero()) / interval_);
  arm();
}

void LoopTimer::withdraw() {
  if (const auto call = call_.exchange(std::nullopt)) TimerService::cancel(*call);
}

}  // namespace tq::internal
