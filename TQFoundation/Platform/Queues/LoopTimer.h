#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/RunLoop.h"
#include "TQFoundation/Platform/Queues/TimerService.h"

namespace tq::internal {

/// A timer that hands its firings to a queue. The call to come, or the firing on the queue, holds the timer.
class LoopTimer final : public Timer, public std::enable_shared_from_this<LoopTimer> {
 public:
  static std::shared_ptr<Timer> start(std::weak_ptr<DispatchQueue> loop, Delay interval,
                                      RunLoop::Repeats repeats, Task task);

  LoopTimer(std::weak_ptr<DispatchQueue> loop, Delay interval, RunLoop::Repeats repeats, Task task);

  void invalidate() override;
  [[nodiscard]] bool isValid() const override { return task_.get() != nullptr; }

 private:
  void arm();
  void fire();
  void withdraw();

  const std::weak_ptr<DispatchQueue> loop_;
  const std::chrono::nanoseconds interval_;
  const RunLoop::Repeats repeats_;

  // Written by the constructor and on the loop's thread only, while no call is under way.
  TimerService::Clock::time_point due_;

  // Invariant: a timer without a task has no call to come. `invalidate` clears the task before it withdraws
  // the call; `arm` notes the call before it looks whether there is still a task.
  Guarded<std::shared_ptr<const Task>> task_;
  Guarded<std::optional<TimerService::Key>> call_;
};

}  // namespace tq::internal
