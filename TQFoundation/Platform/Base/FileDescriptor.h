#pragma once

#include <utility>

namespace tq {

/// A file descriptor that is closed when this is destroyed; -1 is none.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  ~FileDescriptor();
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  /// Closes it now. Returns 0, or the `errno` of what could not be written.
  [[nodiscard]] int close();

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] bool isOpen() const { return number_ >= 0; }

 private:
  int number_;
};

}  // namespace tq
