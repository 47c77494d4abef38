#pragma once

#include <semaphore.h>

#include <cerrno>

namespace tq::platform {

/// Lets one thread wait until another has opened the gate, once.
///
/// The waiting thread may destroy the gate as soon as `wait` has returned: `open` touches it no more by then,
/// which POSIX promises of its semaphores. A mutex with a condition variable keeps that only by waking the
/// waiting thread while the lock is held, and so twice.
class SyncGate {
 public:
  SyncGate() { ::sem_init(&opened_, 0, 0); }
  ~SyncGate() { ::sem_destroy(&opened_); }
  SyncGate(const SyncGate&) = delete;
  SyncGate& operator=(const SyncGate&) = delete;

  void open() { ::sem_post(&opened_); }

  void wait() {
    while (::sem_wait(&opened_) != 0 && errno == EINTR) {
    }
  }

 private:
  sem_t opened_{};
};

}  // namespace tq::platform
