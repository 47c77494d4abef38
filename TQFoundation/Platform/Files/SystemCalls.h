#pragma once

#include <filesystem>

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq::internal {

// What systems offer beyond POSIX. Each system's adapters define these; the POSIX form of each is what can be
// had anywhere. Thread-safe.

/// Renames `from` to `to` in one step that fails with EEXIST where anything is at `to`. Returns 0 or the
/// errno; ENOSYS where the system or the file system has no such step.
[[nodiscard]] int renameExclusively(const std::filesystem::path& from, const std::filesystem::path& to);

/// Opens a folder in which items are to be found by name, which needs no right to list it.
[[nodiscard]] FileDescriptor openForLookUp(const std::filesystem::path& folder);

/// Returns whether something is mounted at `folder`, an open one. The POSIX form does not know and returns
/// false; a mounted volume then shows by its device number alone.
[[nodiscard]] bool isMountPoint(const FileDescriptor& folder);

}  // namespace tq::internal
