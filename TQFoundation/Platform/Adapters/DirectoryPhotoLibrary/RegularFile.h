#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq::internal {

/// A regular file open for reading. Anything else that the path leads to (a folder, a FIFO, a device) is
/// refused without waiting for it.
///
/// Not thread-safe: one thread at a time.
class RegularFile {
 public:
  explicit RegularFile(const std::filesystem::path& path);

  /// Why the file cannot be read. Precondition of all below: absent.
  [[nodiscard]] const std::optional<NSError>& error() const { return error_; }

  /// In bytes, when it was opened.
  [[nodiscard]] std::int64_t size() const { return size_; }

  /// Reads up to `count` bytes from `offset` on and returns how many; 0 at the end, minus the `errno` of a
  /// failure.
  [[nodiscard]] std::int64_t read(std::int64_t offset, void* bytes, std::size_t count) const;

 private:
  FileDescriptor descriptor_;
  std::int64_t size_ = 0;
  std::optional<NSError> error_;
};

}  // namespace tq::internal
