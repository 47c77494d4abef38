#pragma once

#include <condition_variable>
#include <mutex>

namespace tq::platform {

/// Lets one thread wait until another has opened the gate, once.
///
/// The waiting thread may destroy the gate as soon as `wait` has returned: `open` touches it no more by then.
class SyncGate {
 public:
  void open() {
    const std::scoped_lock lock(mutex_);
    open_ = true;
    opened_.notify_one();
  }

  void wait() {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

}  // namespace tq::platform
