#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

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

/// Returns what differs between two boots of this system, or an empty text where that cannot be known.
[[nodiscard]] std::string bootIdentifier();

/// Takes the space for the bytes `from` to `end` of `file`, whose length stays. Returns 0 or the errno:
/// ENOSPC where there is not so much, EOPNOTSUPP where space cannot be taken ahead.
[[nodiscard]] int reserveSpace(const FileDescriptor& file, std::int64_t from, std::int64_t end);

/// Creates a file for writing in `folder` that has no name and vanishes with its last descriptor. Not open
/// where that is not offered.
[[nodiscard]] FileDescriptor openUnnamed(const std::filesystem::path& folder);

/// Gives a file of `openUnnamed` the name `path`, if nothing has it. Returns 0 or the errno.
[[nodiscard]] int giveName(const FileDescriptor& file, const std::filesystem::path& path);

}  // namespace tq::internal
