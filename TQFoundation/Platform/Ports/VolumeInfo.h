#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Reports the free space of volumes.
///
///     const auto free = VolumeInfo::shared()->freeBytes("/data");
///     if (free.value_or(0) < needed) return showDiskFull();
///
/// A result is a snapshot: another process may use the space before the caller does, so a later write can
/// still fail.
///
/// Thread-safe.
class TQ_API VolumeInfo {
 public:
  virtual ~VolumeInfo() = default;

  /// Returns the bytes that an unprivileged user can still write on the volume that holds `path`, or nullopt
  /// if the system does not know (no such path, not readable, a file system without block counts).
  [[nodiscard]] virtual std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const = 0;

  /// The volumes of this machine. Created on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<const VolumeInfo>& shared();
};

}  // namespace tq
