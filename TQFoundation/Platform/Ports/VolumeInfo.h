#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Answers how much room a volume has left.
///
///     const auto free = VolumeInfo::shared()->freeBytes("/data");
///     if (free.value_or(0) < needed) return showDiskFull();
///
/// A free figure is a snapshot: another process may use the room before the caller does. Nobody may
/// conclude from it that a later write succeeds.
///
/// Thread-safe.
class TQ_API VolumeInfo {
 public:
  virtual ~VolumeInfo() = default;

  /// Bytes that an unprivileged user can still write on the volume that holds `path`, or absent when the
  /// system cannot tell (no such path, unreadable, a file system without block counts).
  [[nodiscard]] virtual std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const = 0;

  /// The machine's own volumes. Made on first use, never destroyed.
  [[nodiscard]] static const std::shared_ptr<const VolumeInfo>& shared();
};

}  // namespace tq
