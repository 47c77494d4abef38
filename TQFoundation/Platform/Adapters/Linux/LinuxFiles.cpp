#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "TQFoundation/Platform/Base/ProgramPath.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq::internal {

namespace fs = std::filesystem;

// The kernel marks the path of a file that has been removed, as a running program's is by an update.
fs::path programPath() {
  std::error_code error;
  std::string path = fs::read_symlink("/proc/self/exe", error).string();
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.resize(path.size() - kDeleted.size());
  return path;
}

// Some file systems refuse the flag with EINVAL.
int renameExclusively(const fs::path& from, const fs::path& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  return errno == EINVAL ? ENOSYS : errno;
}

FileDescriptor openForLookUp(const fs::path& folder) {
  return FileDescriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

// A folder that is mounted at two places of one volume has the same device number everywhere: only the
// attribute shows it.
bool isMountPoint(const FileDescriptor& folder) {
  struct statx info {};
  return ::statx(folder.number(), "", AT_EMPTY_PATH, STATX_TYPE, &info) == 0 &&
         (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

}  // namespace tq::internal
