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

std::string bootIdentifier() {
  return {};
}

int reserveSpace(const FileDescriptor&, std::int64_t, std::int64_t) {
  return EOPNOTSUPP;
}

FileDescriptor openUnnamed(const std::filesystem::path&) {
  return FileDescriptor();
}

int giveName(const FileDescriptor&, const std::filesystem::path&) {
  return EOPNOTSUPP;
}

}  // namespace tq::internal
