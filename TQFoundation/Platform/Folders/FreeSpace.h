#pragma once

#include <cstdint>
#include <filesystem>

#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {

/// The same as `freeBytesAtNearestFolder`, of the folders above `folder`, which tells of no room itself.
[[nodiscard]] std::uint64_t freeBytesAbove(std::filesystem::path folder, const VolumeInfo& volumes);

/// Bytes that an unprivileged user can still write in `folder`, or where that does not exist, in its nearest
/// existing parent; 0 when the system cannot tell.
///
/// Thread-safe.
[[nodiscard]] inline std::uint64_t freeBytesAtNearestFolder(const std::filesystem::path& folder,
                                                            const VolumeInfo& volumes) {
  const auto free = volumes.freeBytes(folder);
  return free ? *free : freeBytesAbove(folder, volumes);
}

/// `NSHomeDirectory()` as it is now, without making a path of it each time: that costs a twentieth of asking
/// for the free space. It belongs to the calling thread, until its next call.
[[nodiscard]] const std::filesystem::path& keptHomeDirectory();

}  // namespace tq
