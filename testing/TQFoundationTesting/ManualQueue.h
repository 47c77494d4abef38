#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <thread>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/RunLoop.h"

namespace tq {

/// A queue, a run loop and their clock, all of which move only when the test says so.
///
///     auto queue = std::make_shared<ManualQueue>();
///     auto handler = TQDiskSpaceHandler::make({.runLoop = queue});
///     handler->startMonitoringDiskSpace();
///     queue->advance(10s);                       // what is due in these ten seconds has run now
///
/// It belongs to the thread that makes it: `run` and `advance` are for that thread, tasks may come from any.
class TQ_API ManualQueue final : public DispatchQueue, public RunLoop {
 public:
  void async(Task task) override;
  using DispatchQueue::async;
  void after(Delay delay, Task task) override;
  [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == owner_; }
  std::shared_ptr<Timer> schedule(Delay interval, Repeats repeats, Task task) override;

  /// Runs tasks until none is waiting, those that they add included, and returns how many.
  std::size_t run();

  /// Runs the task that has waited longest. False when there is none.
  bool runNext();

  /// Moves the clock, stopping at each moment at which something is due to run it, and all it leads to.
  void advance(std::chrono::nanoseconds time);

  /// How far the clock has come.
  [[nodiscard]] std::chrono::nanoseconds now() const;

 private:
  void callAt(std::chrono::nanoseconds moment, Task task);

  const std::thread::id owner_ = std::this_thread::get_id();
  mutable Mutex mutex_;
  std::chrono::nanoseconds now_ TQ_GUARDED_BY(mutex_){};
  std::deque<Task> tasks_ TQ_GUARDED_BY(mutex_);
  std::multimap<std::chrono::nanoseconds, Task> later_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq
