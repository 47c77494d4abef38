#include "TQFoundation/Platform/Folders/FreeSpace.h"

#include <system_error>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

bool isMissing(const fs::path& folder) {
  std::error_code error;
  return fs::status(folder, error).type() == fs::file_type::not_found;
}

}  // namespace

std::uint64_t freeBytesAbove(fs::path folder, const VolumeInfo& volumes) {
  while (folder.has_relative_path() && isMissing(folder)) {
    folder = folder.parent_path();
    if (const auto free = volumes.freeBytes(folder)) return *free;
  }
  return 0;
}

const fs::path& keptHomeDirectory() {
  thread_local fs::path kept;
  if (environmentVariable("HOME") != kept.native()) kept = NSHomeDirectory();
  return kept;
}

}  // namespace tq
