#pragma once

#include <memory>
#include <utility>

#include "TQFoundation/Platform/Base/Mutex.h"

namespace tq {

/// One value that several threads may read and replace whole.
///
///     Guarded<std::shared_ptr<Request>> current;
///     current.set(request);                          // on the thread that starts it
///     if (auto running = current.get()) running->cancel();   // on any other
///
/// Thread-safe. The old value is destroyed after the lock is released, so its destructor may
/// call back in.
template <class T>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(T value) : value_(std::move(value)) {}

  /// Returns a copy of the present value.
  [[nodiscard]] T get() const {
    const MutexLock lock(mutex_);
    return value_;
  }

  /// Replaces the value.
  void set(T value) { static_cast<void>(exchange(std::move(value))); }

  /// Replaces the value and returns the old one.
  [[nodiscard]] T exchange(T value) {
    const MutexLock lock(mutex_);
    std::swap(value_, value);
    return value;
  }

 private:
  mutable Mutex mutex_;
  T value_ TQ_GUARDED_BY(mutex_){};
};

/// A delegate, held weakly.
///
/// `get()` returns the delegate, for the length of one call, or null when it is gone or was never set.
/// Thread-safe.
template <class Protocol>
class WeakDelegate {
 public:
  WeakDelegate() = default;
  explicit WeakDelegate(std::weak_ptr<Protocol> delegate) : delegate_(std::move(delegate)) {}

  [[nodiscard]] std::shared_ptr<Protocol> get() const { return delegate_.get().lock(); }
  void set(std::weak_ptr<Protocol> delegate) { delegate_.set(std::move(delegate)); }

 private:
  Guarded<std::weak_ptr<Protocol>> delegate_;
};

}  // namespace tq
