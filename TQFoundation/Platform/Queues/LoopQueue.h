#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/RunLoop.h"

namespace tq {

/// A serial queue that runs on whichever thread runs or drains it: the main queue, or a thread's run loop.
///
/// As a loop of its own:
///
///     DispatchQueue::main()->async([] { start(); });
///     DispatchQueue::main()->run();                    // until somebody calls stop()
///
/// In a loop the host already has (GLib, Qt, libuv, poll ...):
///
///     const auto& queue = DispatchQueue::main();
///     hostLoop.watchReadable(queue->descriptor(), [&] { queue->drain(); });
///     // or: queue->setWakeUp([] { hostLoop.postToUiThread([] { DispatchQueue::main()->drain(); }); });
///
/// One thread at a time may run or drain it; that thread is the queue's thread from then on. A task may run
/// or drain the queue again: the tasks behind it then run inside that call.
///
/// `async`, `sync`, `after`, `schedule`, `stop`: thread-safe.
class TQ_API LoopQueue final : public DispatchQueue, public RunLoop {
 public:
  /// A queue whose thread is `thread` until another one runs or drains it.
  explicit LoopQueue(std::thread::id thread);
  ~LoopQueue() override;

  void async(Task task) override;
  [[nodiscard]] bool isCurrent() const override;
  std::shared_ptr<Timer> schedule(std::chrono::nanoseconds interval, Repeats repeats, Task task) override;

  /// Runs tasks on this thread until `stop`, sleeping while there are none.
  void run();

  /// Makes the innermost `run` return after the task it is at; what is waiting stays for later. While nobody
  /// runs the queue, the next `run` returns at once.
  void stop();

  /// Runs the tasks that are waiting now and returns; tasks they add wait for the next call. Never sleeps.
  void drain();

  /// Has `wakeUp` called whenever the queue turns from empty to not empty, on the thread that adds the task.
  /// It may do no more than wake the host's loop, which then calls `drain`. An empty one ends this.
  void setWakeUp(std::function<void()> wakeUp);

  /// A descriptor that is readable while tasks wait for `drain`; the host only watches it. Made on first use
  /// and owned by the queue; -1 when the system has no descriptor left.
  [[nodiscard]] int descriptor();

  /// Sleeps until `descriptor` is readable, or returns earlier.
  using Sleep = std::function<void(int descriptor)>;

  /// Has `run` sleep in `sleep`, on the queue's thread, while no task waits. It may watch something else as
  /// well and deal with it right there, within microseconds: what comes of it for this queue then needs no
  /// second thread that wakes this one. An empty one ends this.
  void setSleep(Sleep sleep);

  /// The calling thread's own loop, or the main queue on its thread.
  [[nodiscard]] static std::shared_ptr<LoopQueue> current();

 private:
  void waitForTasks();
  void takeWaiting();
  void clearSignal();
  void giveBackTaken();
  void runTaken();
  void runNext() noexcept;
  void signalDescriptor();

  std::atomic<std::thread::id> thread_;

  // The queue's thread only: the batch taken last and how far it has come.
  std::vector<Task> taken_;
  std::size_t next_ = 0;

  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<Task> waiting_;
  std::atomic<bool> somethingWaits_ = false;  // for a look without the lock
  std::atomic<bool> stopAsked_ = false;
  std::atomic<bool> inSleep_ = false;  // the queue's thread, in `sleep_`
  bool signalled_ = false;
  std::shared_ptr<const std::function<void()>> wakeUp_;
  Guarded<std::shared_ptr<const Sleep>> sleep_;
  int readEnd_ = -1;
  int writeEnd_ = -1;
};

}  // namespace tq
