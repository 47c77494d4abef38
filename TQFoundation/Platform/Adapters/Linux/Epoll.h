#pragma once

#include <cstdint>

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq {

/// Sleeps until one of a few descriptors, which it does not own, is readable.
///
/// Thread-safe.
class Epoll {
 public:
  Epoll();

  /// Watches `descriptor` for EPOLLIN and for what else epoll_ctl(2) has. False when the system refuses.
  bool add(int descriptor, std::uint32_t flags = 0);

  /// Waits for any of them. Answers whether `descriptor` is among those that are readable.
  [[nodiscard]] bool wait(int descriptor) const;

 private:
  const FileDescriptor descriptor_;
};

}  // namespace tq
