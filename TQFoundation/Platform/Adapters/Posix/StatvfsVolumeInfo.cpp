#include <sys/statvfs.h>

#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Ports/VolumeInfo.h"

namespace tq {
namespace {

class StatvfsVolumeInfo final : public VolumeInfo {
 public:
  [[nodiscard]] std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const override {
    struct statvfs info {};
    if (::statvfs(path.c_str(), &info) != 0) return std::nullopt;
    if (info.f_blocks == 0) return std::nullopt;
    return std::uint64_t{info.f_bavail} * info.f_frsize;
  }
};

}  // namespace

const std::shared_ptr<const VolumeInfo>& VolumeInfo::shared() {
  static const NeverDestroyed<std::shared_ptr<const VolumeInfo>> volumes(
      std::make_shared<const StatvfsVolumeInfo>());
  return *volumes;
}

}  // namespace tq
