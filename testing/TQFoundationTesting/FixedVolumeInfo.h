#pragma once

#include <atomic>

#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {

/// A volume that has just as much room as the test says.
///
///     auto volume = std::make_shared<FixedVolumeInfo>(kMinDiskspace);
///     auto handler = TQDiskSpaceHandler::make({.volumes = volume});
///     volume->set(0);
///
/// Thread-safe.
class FixedVolumeInfo final : public VolumeInfo {
 public:
  explicit FixedVolumeInfo(std::optional<std::uint64_t> freeBytes) { set(freeBytes); }

  /// What every path answers from now on; absent for "the system cannot tell".
  void set(std::optional<std::uint64_t> freeBytes) {
    bytes_ = freeBytes.value_or(0);
    known_ = freeBytes.has_value();
  }

  /// How often somebody has asked.
  [[nodiscard]] int questions() const { return questions_; }

  [[nodiscard]] std::optional<std::uint64_t> freeBytes(const std::filesystem::path&) const override {
    ++questions_;
    if (!known_) return std::nullopt;
    return bytes_;
  }

 private:
  std::atomic<std::uint64_t> bytes_ = 0;
  std::atomic<bool> known_ = false;
  mutable std::atomic<int> questions_ = 0;
};

}  // namespace tq
