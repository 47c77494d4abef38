#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq::internal {

/// A new, hidden file that is removed when this is destroyed, unless it has been released.
///
/// Where the volume can, it has no name until it is closed, so that it vanishes with its process. Elsewhere
/// the process holds a lock (`flock`) on it, by which later processes see whether it has an owner.
///
///     TemporaryFile file;
///     if (const int error = file.createIn(folder)) return fail(error);
///     if (const int error = file.write(bytes, count)) return fail(error);
///     if (const int error = file.close()) return fail(error);   // a full disk may show only here
///     publish(file.release());
///
/// Each operation returns 0 or the `errno` of its failure. Not thread-safe: one thread at a time.
class TQ_API TemporaryFile {
 public:
  TemporaryFile() = default;
  ~TemporaryFile() { remove(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Creates an empty file under a random name in `folder`, with the mode of the user's other files.
  [[nodiscard]] int createIn(const std::filesystem::path& folder);

  /// Gives the file the permissions `mode`, whatever the umask says.
  [[nodiscard]] int setMode(unsigned mode);

  /// Appends all `count` bytes.
  [[nodiscard]] int write(const char* bytes, std::size_t count);

  /// Closes the file, which stands under its name from now on.
  [[nodiscard]] int close();

  /// Waits until the bytes are on the disk, and closes the file.
  [[nodiscard]] int flushAndClose();

  /// Takes the space for so many bytes, as `reserveSpace` does.
  [[nodiscard]] int reserve(std::int64_t bytes) const;

  /// Empty before the creation and after the removal.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  /// Returns the path of the file, which is the caller's from now on.
  [[nodiscard]] std::filesystem::path release();

  /// Removes the file if there is one.
  void remove();

  /// Returns whether temporary files have names like `name`.
  [[nodiscard]] static bool isName(std::string_view name);

 private:
  [[nodiscard]] int createNamed(const std::filesystem::path& folder);

  std::filesystem::path path_;
  bool named_ = false;
  FileDescriptor descriptor_;
};

}  // namespace tq::internal
