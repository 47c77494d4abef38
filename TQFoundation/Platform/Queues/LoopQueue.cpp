#include "TQFoundation/Platform/Queues/LoopQueue.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Queues/LookAround.h"
#include "TQFoundation/Platform/Queues/TimerService.h"

namespace tq {
namespace {

constexpr std::chrono::nanoseconds kShortestInterval = std::chrono::microseconds(100);

class LoopTimer final : public Timer, public std::enable_shared_from_this<LoopTimer> {
 public:
  LoopTimer(std::weak_ptr<DispatchQueue> loop, std::chrono::nanoseconds interval, RunLoop::Repeats repeats,
            Task task)
      : loop_(std::move(loop)),
        interval_(std::max(interval, kShortestInterval)),
        repeats_(repeats),
        due_(TimerService::fromNow(interval_)),
        task_(std::make_shared<const Task>(std::move(task))) {}

  void arm() {
    cancel_.set(TimerService::callAt(due_, [self = shared_from_this()] {
      if (const auto loop = self->loop_.lock()) loop->async([self] { self->fire(); });
    }));
    if (!isValid()) giveBack();
  }

  void invalidate() override {
    task_.set(nullptr);
    giveBack();
  }

  [[nodiscard]] bool isValid() const override { return task_.get() != nullptr; }

 private:
  void fire() {
    const auto task = repeats_ == RunLoop::Repeats::yes ? task_.get() : task_.exchange(nullptr);
    if (!task) return;
    (*task)();
    if (!isValid()) return;
    const auto now = TimerService::Clock::now();
    due_ += interval_ * (1 + std::max(now - due_, interval_.zero()) / interval_);
    arm();
  }

  void giveBack() {
    if (const auto cancel = cancel_.exchange(nullptr)) cancel();
  }

  const std::weak_ptr<DispatchQueue> loop_;
  const std::chrono::nanoseconds interval_;
  const RunLoop::Repeats repeats_;
  TimerService::Clock::time_point due_;  // written on the loop's thread only, while no call is under way
  Guarded<std::shared_ptr<const Task>> task_;
  Guarded<TimerService::Cancel> cancel_;
};

// A process's libraries are loaded, and their statics made, on the thread that runs its main function.
const std::thread::id kLoadingThread = std::this_thread::get_id();

std::thread::id loadingThread() {
  return kLoadingThread == std::thread::id() ? std::this_thread::get_id() : kLoadingThread;
}

}  // namespace

const std::shared_ptr<LoopQueue>& DispatchQueue::main() {
  static const auto& queue = *new std::shared_ptr<LoopQueue>(std::make_shared<LoopQueue>(loadingThread()));
  return queue;
}

std::shared_ptr<LoopQueue> LoopQueue::current() {
  if (const auto& mainQueue = DispatchQueue::main(); mainQueue->isCurrent()) return mainQueue;
  thread_local const auto own = std::make_shared<LoopQueue>(std::this_thread::get_id());
  return own;
}

std::shared_ptr<RunLoop> RunLoop::current() {
  return LoopQueue::current();
}

LoopQueue::LoopQueue(std::thread::id thread) : thread_(thread) {}

LoopQueue::~LoopQueue() {
  if (readEnd_ >= 0) ::close(readEnd_);
  if (writeEnd_ >= 0) ::close(writeEnd_);
}

bool LoopQueue::isCurrent() const {
  return thread_.load() == std::this_thread::get_id();
}

void LoopQueue::async(Task task) {
  std::shared_ptr<const std::function<void()>> wakeUp;
  {
    const std::scoped_lock lock(mutex_);
    waiting_.push_back(std::move(task));
    if (waiting_.size() > 1) return;
    somethingWaits_ = true;
    if (!isCurrent() || !inSleep_) signalDescriptor();  // or `run` looks at the end of its sleep
    wakeUp = wakeUp_;
  }
  added_.notify_all();
  if (wakeUp) (*wakeUp)();
}

std::shared_ptr<Timer> LoopQueue::schedule(std::chrono::nanoseconds interval, Repeats repeats, Task task) {
  auto timer = std::make_shared<LoopTimer>(weak_from_this(), interval, repeats, std::move(task));
  timer->arm();
  return timer;
}

void LoopQueue::run() {
  thread_ = std::this_thread::get_id();
  while (!stopAsked_.exchange(false)) {
    if (next_ == taken_.size()) waitForTasks();
    runTaken();
  }
  giveBackTaken();
}

void LoopQueue::waitForTasks() {
  const auto found = [this] { return stopAsked_ || somethingWaits_; };
  if (!lookAround(found)) {
    const auto sleep = sleep_.get();
    inSleep_ = true;
    for (const int wakeUp = sleep ? descriptor() : -1; wakeUp >= 0 && !found();) (*sleep)(wakeUp);
    inSleep_ = false;
  }
  std::unique_lock lock(mutex_);
  added_.wait(lock, [this] { return stopAsked_ || !waiting_.empty(); });
  takeWaiting();
}

void LoopQueue::stop() {
  {
    const std::scoped_lock lock(mutex_);
    stopAsked_ = true;
    if (inSleep_) signalDescriptor();
  }
  added_.notify_all();
}

void LoopQueue::drain() {
  thread_ = std::this_thread::get_id();
  if (next_ == taken_.size()) {
    const std::scoped_lock lock(mutex_);
    takeWaiting();
  }
  while (next_ < taken_.size()) runNext();
}

void LoopQueue::setWakeUp(std::function<void()> wakeUp) {
  auto shared = wakeUp ? std::make_shared<const std::function<void()>>(std::move(wakeUp)) : nullptr;
  const std::scoped_lock lock(mutex_);
  wakeUp_.swap(shared);
}

void LoopQueue::setSleep(Sleep sleep) {
  sleep_.set(sleep ? std::make_shared<const Sleep>(std::move(sleep)) : nullptr);
}

int LoopQueue::descriptor() {
  const std::scoped_lock lock(mutex_);
  if (readEnd_ >= 0) return readEnd_;
  int ends[2];
  if (::pipe(ends) != 0) return -1;
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
    ::fcntl(end, F_SETFL, O_NONBLOCK);
  }
  readEnd_ = ends[0];
  writeEnd_ = ends[1];
  if (!waiting_.empty()) signalDescriptor();
  return readEnd_;
}

// With the lock held, and everything taken before it done.
void LoopQueue::takeWaiting() {
  taken_.clear();
  taken_.swap(waiting_);
  somethingWaits_ = false;
  next_ = 0;
  clearSignal();
}

// What a stop has left undone waits again, ahead of the rest, where a later run or drain looks for it.
void LoopQueue::giveBackTaken() {
  const std::scoped_lock lock(mutex_);
  taken_.erase(taken_.begin(), taken_.begin() + static_cast<std::ptrdiff_t>(next_));
  taken_.insert(taken_.end(), std::make_move_iterator(waiting_.begin()),
                std::make_move_iterator(waiting_.end()));
  waiting_.swap(taken_);
  taken_.clear();
  next_ = 0;
  somethingWaits_ = !waiting_.empty();
  if (somethingWaits_) {
    signalDescriptor();
  } else {
    clearSignal();  // the stop's own
  }
}

void LoopQueue::runTaken() {
  while (next_ < taken_.size() && !stopAsked_) runNext();
}

// The task is taken out first: it may run or drain the queue itself, which replaces the batch.
void LoopQueue::runNext() noexcept {
  const Task task = std::move(taken_[next_++]);
  task();
}

void LoopQueue::clearSignal() {
  if (!std::exchange(signalled_, false)) return;
  char byte = 0;
  static_cast<void>(::read(readEnd_, &byte, 1));
}

void LoopQueue::signalDescriptor() {
  if (writeEnd_ < 0 || std::exchange(signalled_, true)) return;
  const char byte = 1;
  static_cast<void>(::write(writeEnd_, &byte, 1));
}

}  // namespace tq
