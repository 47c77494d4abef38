#pragma once

#include <cstdint>
#include <filesystem>

#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {

/// Returns the bytes that an unprivileged user can still write in `folder` or, where that does not exist, in
/// its nearest existing parent; 0 when the system does not say. Thread-safe.
[[nodiscard]] std::uint64_t freeBytesAtNearestFolder(std::filesystem::path folder, const VolumeInfo& volumes);

}  // namespace tq
