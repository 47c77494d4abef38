#include <fcntl.h>

#include <cerrno>

#include "TQFoundation/Platform/Base/ProgramPath.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq::internal {

std::filesystem::path programPath() {
  return {};
}

int renameExclusively(const std::filesystem::path&, const std::filesystem::path&) {
  return ENOSYS;
}

FileDescriptor openForLookUp(const std::filesystem::path& folder) {
#ifdef O_SEARCH
  constexpr int kMode = O_SEARCH;
#else
  constexpr int kMode = O_RDONLY;
#endif
  return FileDescriptor(::open(folder.c_str(), kMode | O_DIRECTORY | O_CLOEXEC));
}

bool isMountPoint(const FileDescriptor&) {
  return false;
}

}  // namespace tq::internal
