#pragma once

#include <filesystem>
#include <optional>

#include "TQFoundation/Platform/Support/Export.h"
#include "TQFoundation/Platform/Support/NSError.h"

namespace tq::platform {

/// Operations on files that keep the house rule: nothing of the user's is overwritten, and a file appears
/// under its final name complete or not at all.
///
/// Callable from any thread.
class TQ_API NSFileManager {
 public:
  /// Moves the file `from` to `to`, or answers why not; `from` is then still there.
  ///
  /// Whatever stands at `to` already, a dangling link included, is left as it is and the move fails with
  /// `NSFileWriteFileExistsError`; of several that race for one name exactly one wins. Folders are not
  /// created. Within a file system this is a rename; across file systems the bytes are copied to a hidden
  /// file beside `to` first.
  [[nodiscard]] static std::optional<NSError> moveItem(const std::filesystem::path& from,
                                                       const std::filesystem::path& to);

  /// Creates `folder` and the folders above it, each open to this user alone. One that exists is no failure.
  [[nodiscard]] static std::optional<NSError> createDirectory(const std::filesystem::path& folder);

  /// Whether `path` names a regular file itself, not through a link.
  [[nodiscard]] static bool isRegularFile(const std::filesystem::path& path);
};

/// A new, empty, hidden file, and the descriptor it is open for writing under.
struct TQ_API TemporaryFile {
  std::filesystem::path path;
  int descriptor = -1;

  /// Creates one in `folder`. Answers the `errno` of the failure otherwise.
  [[nodiscard]] static int createIn(const std::filesystem::path& folder, TemporaryFile& file);
};

}  // namespace tq::platform
