#include "TQFoundation/Platform/Queues/DispatchQueue.h"

#include <semaphore.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <utility>

#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Queues/LibraryQueue.h"
#include "TQFoundation/Platform/Queues/TimerService.h"
#include "TQFoundation/Platform/Queues/WorkerPool.h"

namespace tq {
namespace {

// Lets one thread wait until another opens the gate, once.
//
// The waiting thread may destroy the gate as soon as `wait` has returned: POSIX promises that `open` does
// not touch its semaphore any more by then. A mutex with a condition variable keeps that promise only if it
// wakes the waiting thread while the lock is held, which makes it sleep a second time.
class Gate {
 public:
  Gate() { ::sem_init(&opened_, 0, 0); }
  ~Gate() { ::sem_destroy(&opened_); }
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open() { ::sem_post(&opened_); }

  void wait() {
    if (::sem_trywait(&opened_) == 0) return;
    const internal::WorkerPool::Blocked blocked;
    while (::sem_wait(&opened_) != 0 && errno == EINTR) {
    }
  }

 private:
  sem_t opened_{};
};

class GlobalQueue final : public DispatchQueue {
 public:
  explicit GlobalQueue(Priority priority) : priority_(priority) {}

  void async(Task task) noexcept override {
    internal::WorkerPool::shared().submit(std::move(task), priority_);
  }

  // A task of a global queue comes after no other one, so it may as well run on the caller's own thread.
  [[nodiscard]] bool isCurrent() const override { return true; }

 private:
  const Priority priority_;
};

// A serial queue whose tasks run on the pool, or on threads that wait in its `sync`.
class SerialQueue final : public DispatchQueue {
 public:
  explicit SerialQueue(internal::WorkerPool& pool) : pool_(pool) {}

  void async(Task task) noexcept override;
  void sync(const std::function<void()>& task) override;
  [[nodiscard]] bool isCurrent() const override;

 private:
  // A thread in `sync`, and how many tasks of the queue come before its own.
  struct Ticket {
    std::uint64_t position = 0;
    Gate turn;
  };
  class Running;

  static thread_local const SerialQueue* running_;

  [[nodiscard]] bool enter(Ticket& ticket);
  [[nodiscard]] bool beginTurn(std::uint64_t& end);
  void takeTurn();
  [[nodiscard]] Task nextTurn();
  void runUntil(std::uint64_t position);
  [[nodiscard]] bool takeBefore(std::uint64_t position, Task& task);
  [[nodiscard]] bool leave();

  // Invariant:
  // 1. While `owned_`, one thread owns the queue. It alone takes tasks, in order, and runs them unlocked.
  // 2. A ticket's turn comes when `begun_` has reached its position; its own thread runs it.
  // 3. The owner hands the queue to the first ticket's thread, which begins with the tasks ahead of it.
  // 4. Without a ticket it gives the queue up; if tasks wait then, a turn on the pool is under way
  //    (`turnSubmitted_`). A turn that finds the queue owned or empty ends at once.
  internal::WorkerPool& pool_;
  Mutex mutex_;
  std::deque<Task> tasks_ TQ_GUARDED_BY(mutex_);
  std::deque<Ticket*> tickets_ TQ_GUARDED_BY(mutex_);
  std::uint64_t begun_ TQ_GUARDED_BY(mutex_) = 0;  // tasks taken so far
  bool owned_ TQ_GUARDED_BY(mutex_) = false;
  bool turnSubmitted_ TQ_GUARDED_BY(mutex_) = false;
};

thread_local const SerialQueue* SerialQueue::running_ = nullptr;

// While one lives, what its thread does happens on the queue.
class SerialQueue::Running {
 public:
  explicit Running(const SerialQueue* queue) : outer_(std::exchange(running_, queue)) {}
  ~Running() { running_ = outer_; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  const SerialQueue* const outer_;
};

bool SerialQueue::isCurrent() const {
  return running_ == this;
}

void SerialQueue::async(Task task) noexcept {
  {
    const MutexLock lock(mutex_);
    tasks_.push_back(std::move(task));
    if (owned_ || std::exchange(turnSubmitted_, true)) return;
  }
  pool_.submit(nextTurn(), Priority::normal);
}

void SerialQueue::sync(const std::function<void()>& task) {
  if (isCurrent()) return task();
  const auto self = shared_from_this();  // the task may release every other reference
  [&]() noexcept {
    Ticket ticket;
    if (!enter(ticket)) ticket.turn.wait();
    runUntil(ticket.position);
    {
      const Running here(this);
      task();
    }
    if (leave()) pool_.submit(nextTurn(), Priority::normal);
  }();
}

// True when the queue was free: the caller owns it now. It takes over from a turn on the pool that has not
// begun, which then finds nothing to do.
bool SerialQueue::enter(Ticket& ticket) {
  const MutexLock lock(mutex_);
  ticket.position = begun_ + tasks_.size();
  if (owned_) tickets_.push_back(&ticket);
  return !std::exchange(owned_, true);
}

Task SerialQueue::nextTurn() {
  return [self = std::static_pointer_cast<SerialQueue>(shared_from_this())] { self->takeTurn(); };
}

// A turn runs what waits at its begin and no more, so that a queue that never empties leaves the pool's
// threads to others now and then.
void SerialQueue::takeTurn() {
  std::uint64_t end = 0;
  if (!beginTurn(end)) return;
  runUntil(end);
  if (leave()) pool_.submitAtEndOfTask(nextTurn(), Priority::normal);
}

bool SerialQueue::beginTurn(std::uint64_t& end) {
  const MutexLock lock(mutex_);
  turnSubmitted_ = false;
  if (owned_ || tasks_.empty()) return false;
  owned_ = true;
  end = begun_ + tasks_.size();
  return true;
}

// What a task captured is destroyed on the queue, before the next one begins.
void SerialQueue::runUntil(std::uint64_t position) {
  const Running here(this);
  for (Task task; takeBefore(position, task); task = nullptr) task();
}

bool SerialQueue::takeBefore(std::uint64_t position, Task& task) {
  const MutexLock lock(mutex_);
  if (begun_ == position) return false;
  task = std::move(tasks_.front());
  tasks_.pop_front();
  ++begun_;
  return true;
}

// Returns whether a turn on the pool is to be submitted. A ticket's thread may have left `sync` as soon as
// its gate is open.
bool SerialQueue::leave() {
  Ticket* next = nullptr;
  {
    const MutexLock lock(mutex_);
    if (tickets_.empty()) {
      owned_ = false;
      return !tasks_.empty() && !std::exchange(turnSubmitted_, true);
    }
    next = tickets_.front();
    tickets_.pop_front();
  }
  next->turn.open();
  return false;
}

}  // namespace

void DispatchQueue::sync(const std::function<void()>& task) {
  if (isCurrent()) return task();
  const auto self = weak_from_this().lock();  // the task may release every other reference
  Gate ran;
  async([&] {
    task();
    ran.open();
  });
  ran.wait();
}

void DispatchQueue::after(Delay delay, Task task) {
  using internal::TimerService;
  TimerService::callAt(TimerService::fromNow(delay),
                       [self = shared_from_this(), task = std::move(task)] { self->async(task); });
}

const std::shared_ptr<DispatchQueue>& DispatchQueue::global(Priority priority) {
  static const NeverDestroyed<std::shared_ptr<DispatchQueue>> high(new GlobalQueue(Priority::high));
  static const NeverDestroyed<std::shared_ptr<DispatchQueue>> normal(new GlobalQueue(Priority::normal));
  return priority == Priority::high ? *high : *normal;
}

std::shared_ptr<DispatchQueue> DispatchQueue::serial() {
  return std::make_shared<SerialQueue>(internal::WorkerPool::shared());
}

std::shared_ptr<DispatchQueue> internal::makeLibraryQueue() {
  return std::make_shared<SerialQueue>(WorkerPool::library());
}

}  // namespace tq
