#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Which lock guards what, in a form that clang checks (-Wthread-safety); other compilers ignore it.
#if defined(__clang__)
#define TQ_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TQ_THREAD_ANNOTATION(x)
#endif
#define TQ_CAPABILITY(name) TQ_THREAD_ANNOTATION(capability(name))
#define TQ_SCOPED_CAPABILITY TQ_THREAD_ANNOTATION(scoped_lockable)
#define TQ_GUARDED_BY(mutex) TQ_THREAD_ANNOTATION(guarded_by(mutex))
#define TQ_PT_GUARDED_BY(mutex) TQ_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define TQ_REQUIRES(...) TQ_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TQ_EXCLUDES(...) TQ_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TQ_ACQUIRE(...) TQ_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TQ_RELEASE(...) TQ_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TQ_NO_THREAD_SAFETY_ANALYSIS TQ_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace tq {

/// A mutual exclusion lock that clang's thread-safety analysis understands.
///
///     mutable Mutex mutex_;
///     std::deque<Task> tasks_ TQ_GUARDED_BY(mutex_);
///
/// Thread-safe.
class TQ_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() TQ_ACQUIRE() { mutex_.lock(); }
  void unlock() TQ_RELEASE() { mutex_.unlock(); }

 private:
  friend class ConditionVariable;
  std::mutex mutex_;
};

/// Holds a `Mutex` for the length of a scope. It may be released earlier, and acquired again.
///
///     const MutexLock lock(mutex_);
///
/// Not thread-safe: it belongs to the thread that made it.
class TQ_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) TQ_ACQUIRE(mutex) : mutex_(mutex) { mutex.lock(); }
  ~MutexLock() TQ_RELEASE() {
    if (held_) mutex_.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() TQ_RELEASE() {
    mutex_.unlock();
    held_ = false;
  }
  void lock() TQ_ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }

 private:
  Mutex& mutex_;
  bool held_ = true;
};

/// Lets threads sleep until another one says that what they wait for may have come.
///
///     MutexLock lock(mutex_);
///     while (tasks_.empty()) added_.wait(mutex_);
///
/// A wait may end without a reason: callers look again at what they wait for. Thread-safe.
class ConditionVariable {
 public:
  /// Releases `mutex`, sleeps, and acquires it again before it returns.
  void wait(Mutex& mutex) TQ_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    condition_.wait(lock);
    lock.release();
  }

  /// The same until `deadline` at the latest. Returns false when that has passed.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) TQ_REQUIRES(mutex) {
    std::unique_lock lock(mutex.mutex_, std::adopt_lock);
    const bool inTime = condition_.wait_until(lock, deadline) == std::cv_status::no_timeout;
    lock.release();
    return inTime;
  }

  void notifyOne() { condition_.notify_one(); }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace tq
