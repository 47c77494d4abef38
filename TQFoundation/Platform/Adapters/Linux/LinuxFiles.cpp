#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>

#include "TQFoundation/Platform/Base/ProgramPath.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

std::string pathOf(const FileDescriptor& file) {
  return "/proc/self/fd/" + std::to_string(file.number());
}

}  // namespace

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

std::string bootIdentifier() {
  std::string text = readSettingsFile("/proc/sys/kernel/random/boot_id").value_or("");
  text.resize(std::min(text.find('\n'), text.size()));
  return text;
}

int reserveSpace(const FileDescriptor& file, std::int64_t from, std::int64_t end) {
  int result = 0;
  do result = ::fallocate(file.number(), FALLOC_FL_KEEP_SIZE, from, end - from);
  while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

// Naming the file takes /proc, so without one it is not made in the first place.
FileDescriptor openUnnamed(const fs::path& folder) {
  FileDescriptor file(::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
  if (file.isOpen() && ::access(pathOf(file).c_str(), F_OK) != 0) return FileDescriptor();
  return file;
}

int giveName(const FileDescriptor& file, const fs::path& path) {
  const std::string unnamed = pathOf(file);
  return ::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

}  // namespace tq::internal
