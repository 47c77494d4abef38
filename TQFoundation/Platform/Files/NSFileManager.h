#pragma once

#include <filesystem>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

/// Operations on files that keep the house rule: nothing of the user's is overwritten, and a file appears
/// under its final name complete or not at all.
///
/// Thread-safe.
class TQ_API NSFileManager {
 public:
  /// Moves the file `from` to `to`. Returns why that failed; `from` is then still there.
  ///
  /// Anything at `to`, a dangling link included, is left as it is and the move fails with
  /// `NSFileWriteFileExistsError`; of several that race for one name exactly one wins. Folders are not
  /// created. Within a file system this is a rename. Across file systems the bytes are first copied to a
  /// hidden file beside `to` with the source's mode; only regular files can be moved so, links and pipes
  /// cannot.
  [[nodiscard]] static std::optional<NSError> moveItem(const std::filesystem::path& from,
                                                       const std::filesystem::path& to);

  /// Whether the folders above a new one are created with it.
  enum class IntermediateDirectories { created, expected };

  /// Creates `folder`, and as asked the folders above it, each open to this user alone (mode 0700).
  ///
  /// One that exists is no failure, so of several that create the same at once all succeed.
  [[nodiscard]] static std::optional<NSError> createDirectory(
      const std::filesystem::path& folder, IntermediateDirectories above = IntermediateDirectories::created);

  /// Removes the file, the link or the folder at `path`, a folder with all that is in it. Returns why that
  /// failed.
  ///
  /// No symbolic link is followed on the way down, also none that appears meanwhile: a link is removed and
  /// its target stays. Other volumes are not entered: what is mounted in the folder stays, and the removal
  /// fails. Everything that can be removed is removed; the error is that of the first item that cannot.
  /// Nothing at `path` is a failure, `NSFileNoSuchFileError`; items that others remove meanwhile are none.
  /// Takes a fixed number of descriptors and no stack, however deep the folder.
  [[nodiscard]] static std::optional<NSError> removeItem(const std::filesystem::path& path);

  /// Whether `path` names a regular file itself, not through a link.
  [[nodiscard]] static bool isRegularFile(const std::filesystem::path& path);
};

}  // namespace tq
