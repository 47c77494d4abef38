#pragma once

#include <cstddef>
#include <utility>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Owns a file descriptor, or none (-1), and closes it when destroyed.
///
/// Not thread-safe: one thread at a time.
class TQ_API FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  ~FileDescriptor();
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }

  /// Gives the descriptor away: the caller closes it.
  [[nodiscard]] int release() { return std::exchange(number_, -1); }

  /// Closes it. Returns 0 or the errno: a full disk may show only here.
  [[nodiscard]] int close();

  /// Writes all of the bytes, however many calls that takes. Returns 0 or the errno.
  [[nodiscard]] int writeAll(const char* bytes, std::size_t count) const;

 private:
  int number_;
};

}  // namespace tq
