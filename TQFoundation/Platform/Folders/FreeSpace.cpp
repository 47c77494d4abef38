#include "TQFoundation/Platform/Folders/FreeSpace.h"

#include <system_error>

namespace tq {
namespace {

namespace fs = std::filesystem;

bool isMissing(const fs::path& folder) {
  std::error_code error;
  return fs::status(folder, error).type() == fs::file_type::not_found;
}

}  // namespace

std::uint64_t freeBytesAtNearestFolder(fs::path folder, const VolumeInfo& volumes) {
  for (;;) {
    if (const auto free = volumes.freeBytes(folder)) return *free;
    if (!folder.has_relative_path() || !isMissing(folder)) return 0;
    folder = folder.parent_path();
  }
}

}  // namespace tq
