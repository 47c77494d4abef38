#include "TQFoundation/Platform/Queues/LoopQueue.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/Thread.h"
#include "TQFoundation/Platform/Queues/LoopTimer.h"
#include "TQFoundation/Platform/Queues/SpinWait.h"

namespace tq {
namespace {

std::uint64_t currentThread() {
  static std::atomic<std::uint64_t> last = 0;
  thread_local const std::uint64_t number = ++last;
  return number;
}

// A program's libraries are loaded, and their statics made, on the thread that runs its `main`. Zero until
// this static is made, so on that very thread.
const std::uint64_t kLoadingThread = currentThread();

// Of this thread; null until it is asked for.
std::shared_ptr<LoopQueue>& ownLoop() {
  thread_local std::shared_ptr<LoopQueue> loop;
  return loop;
}

}  // namespace

// A byte lies in the pipe exactly while `readable` was last set to true.
class LoopQueue::Pipe {
 public:
  // Null with `errno` set when no descriptor is left.
  static std::unique_ptr<Pipe> make() {
    int ends[2];
    if (::pipe(ends) != 0) return nullptr;
    for (const int end : ends) {
      ::fcntl(end, F_SETFD, FD_CLOEXEC);
      ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    return std::unique_ptr<Pipe>(new Pipe(ends[0], ends[1]));
  }

  [[nodiscard]] int descriptor() const { return readEnd_.number(); }

  void setReadable(bool readable) {
    if (std::exchange(readable_, readable) == readable) return;
    char byte = 1;
    static_cast<void>(readable ? ::write(writeEnd_.number(), &byte, 1) : ::read(readEnd_.number(), &byte, 1));
  }

 private:
  Pipe(int readEnd, int writeEnd) : readEnd_(readEnd), writeEnd_(writeEnd) {}

  const FileDescriptor readEnd_;
  const FileDescriptor writeEnd_;
  bool readable_ = false;
};

const std::shared_ptr<LoopQueue>& DispatchQueue::main() {
  static const NeverDestroyed<std::shared_ptr<LoopQueue>> queue([] {
    auto made = LoopQueue::make();
    made->adopt(kLoadingThread == 0 ? currentThread() : kLoadingThread);
    return made;
  }());
  return *queue;
}

std::shared_ptr<LoopQueue> LoopQueue::current() {
  if (const auto& mainQueue = DispatchQueue::main(); mainQueue->isCurrent()) return mainQueue;
  auto& own = ownLoop();
  if (!own) {
    own = make();
    own->adopt();
  }
  return own;
}

bool RunLoop::hasCurrent() {
  return DispatchQueue::main()->isCurrent() || ownLoop();
}

std::shared_ptr<RunLoop> RunLoop::current() {
  return LoopQueue::current();
}

std::shared_ptr<LoopQueue> LoopQueue::make() {
  return std::shared_ptr<LoopQueue>(new LoopQueue);
}

LoopQueue::LoopQueue() = default;
LoopQueue::~LoopQueue() = default;

bool LoopQueue::isCurrent() const {
  return thread_.load() == currentThread();
}

void LoopQueue::adopt() {
  adopt(currentThread());
}

void LoopQueue::adopt(std::uint64_t thread) {
  thread_ = thread;
}

std::shared_ptr<Timer> LoopQueue::schedule(Delay interval, Repeats repeats, Task task) {
  return internal::LoopTimer::start(weak_from_this(), interval, repeats, std::move(task));
}

void LoopQueue::async(Task task) noexcept {
  WakeUp wakeUp;
  bool isFirst = false;
  {
    const MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    isFirst = tasks_.size() == 1;
    if (isFirst && pipe_) pipe_->setReadable(true);
    wakeUp = toBeWoken();
  }
  if (isFirst) changed_.notifyOne();  // unlocked: the woken thread would wait for the lock, a second sleep
  if (wakeUp) (*wakeUp)();
}

void LoopQueue::run() {
  adopt();
  const auto self = shared_from_this();  // a task may release every other reference
  {
    const MutexLock lock(mutex_);
    ++runs_;
  }
  for (Task task; waitForNext(task); task = nullptr) [&]() noexcept { task(); }();
}

void LoopQueue::stop() {
  const MutexLock lock(mutex_);
  stops_ = std::min(stops_ + 1, std::max(runs_, 1));
  changed_.notifyOne();
}

void LoopQueue::drain() {
  adopt();
  const auto self = shared_from_this();  // a task may release every other reference
  std::uint64_t end = 0;
  {
    const MutexLock lock(mutex_);
    woken_ = false;
    end = begun_ + tasks_.size();
  }
  for (Task task; takeBefore(end, task); task = nullptr) [&]() noexcept { task(); }();
}

void LoopQueue::setWakeUp(std::function<void()> wakeUp) {
  auto shared = wakeUp ? std::make_shared<const std::function<void()>>(std::move(wakeUp)) : nullptr;
  WakeUp now;
  {
    const MutexLock lock(mutex_);
    wakeUp_.swap(shared);
    woken_ = false;
    now = toBeWoken();
  }
  if (now) (*now)();
}

int LoopQueue::descriptor(std::optional<NSError>* error) {
  const MutexLock lock(mutex_);
  if (pipe_) return pipe_->descriptor();
  pipe_ = Pipe::make();
  if (!pipe_) {
    const std::string missing = "no descriptor for a queue";
    const int systemError = errno;
    if (error == nullptr) internal::abortForWantOf(missing, systemError);
    *error = makeError(NSPOSIXErrorDomain, systemError,
                       missing + ": " + std::generic_category().message(systemError));
    return -1;
  }
  pipe_->setReadable(!tasks_.empty());
  return pipe_->descriptor();
}

bool LoopQueue::isReady() const {
  return stops_ > 0 || !tasks_.empty();
}

// For `run`: false when a stop ends it.
bool LoopQueue::waitForNext(Task& task) {
  MutexLock lock(mutex_);
  if (!isReady()) {
    lock.unlock();
    internal::spinWait([this] {
      const MutexLock look(mutex_);
      return isReady();
    });
    lock.lock();
    while (!isReady()) changed_.wait(mutex_);
  }
  if (stops_ > 0) {
    --stops_;
    --runs_;
    return false;
  }
  task = pop();
  return true;
}

// For `drain`. When tasks stay behind the one taken, the host is woken: this task may run a nested loop of
// the host's, which is to find them, and they may be more than this drain takes.
bool LoopQueue::takeBefore(std::uint64_t end, Task& task) {
  WakeUp wakeUp;
  {
    const MutexLock lock(mutex_);
    if (begun_ >= end) return false;  // a nested drain may have gone further
    task = pop();
    wakeUp = toBeWoken();
  }
  if (wakeUp) (*wakeUp)();
  return true;
}

Task LoopQueue::pop() {
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  ++begun_;
  if (tasks_.empty()) {
    woken_ = false;
    if (pipe_) pipe_->setReadable(false);
  }
  return task;
}

// Returns what is to be called, if anything, once the lock is released.
LoopQueue::WakeUp LoopQueue::toBeWoken() {
  if (tasks_.empty() || std::exchange(woken_, true)) return nullptr;
  return wakeUp_;
}

}  // namespace tq
