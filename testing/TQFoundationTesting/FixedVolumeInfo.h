#pragma once

#include <atomic>

#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {

/// A volume with as much free space as the test says.
///
///     auto volume = std::make_shared<FixedVolumeInfo>(kMinDiskspace);
///     auto handler = TQDiskSpaceHandler::make({.volumes = volume});
///     volume->set(0);
///
/// Thread-safe.
class FixedVolumeInfo final : public VolumeInfo {
 public:
  explicit FixedVolumeInfo(std::optional<std::uint64_t> freeBytes) { set(freeBytes); }

  /// Sets what `freeBytes` returns for every path from now on; nullopt stands for "unknown".
  void set(std::optional<std::uint64_t> freeBytes) {
    bytes_ = freeBytes.value_or(0);
    known_ = freeBytes.has_value();
  }

  /// How often `freeBytes` has been called.
  [[nodiscard]] int queries() const { return queries_; }

  [[nodiscard]] std::optional<std::uint64_t> freeBytes(const std::filesystem::path&) const override {
    ++queries_;
    if (!known_) return std::nullopt;
    return bytes_;
  }

 private:
  std::atomic<std::uint64_t> bytes_ = 0;
  std::atomic<bool> known_ = false;
  mutable std::atomic<int> queries_ = 0;
};

}  // namespace tq
