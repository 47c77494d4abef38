#include "TQFoundation/Platform/Files/NSFileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"
#include "TQFoundation/Platform/Files/TemporaryFile.h"

namespace tq {
namespace {

using internal::TemporaryFile;
namespace fs = std::filesystem;

// Each step below returns 0 or the errno of what failed.

int lastError() {
  return errno == 0 ? EIO : errno;
}

// For systems and file systems without an exclusive rename: a link takes the name in one step as well.
int linkAndUnlink(const fs::path& from, const fs::path& to) {
  if (::link(from.c_str(), to.c_str()) != 0) return lastError();
  return ::unlink(from.c_str()) == 0 ? 0 : lastError();
}

int renameWithoutReplacing(const fs::path& from, const fs::path& to) {
  const int error = internal::renameExclusively(from, to);
  return error == ENOSYS ? linkAndUnlink(from, to) : error;
}

// Opens a regular file that is not reached through a link; never waits for the writer of a pipe.
int openRegularFile(const fs::path& path, FileDescriptor& file, struct stat& info) {
  file = FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen()) return errno == ELOOP ? EXDEV : lastError();
  if (::fstat(file.number(), &info) != 0) return lastError();
  return S_ISREG(info.st_mode) ? 0 : EXDEV;
}

int copyBytes(const FileDescriptor& source, TemporaryFile& target) {
  std::vector<char> buffer(std::size_t{1} << 20);
  for (;;) {
    const ssize_t got = ::read(source.number(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return lastError();
    if (got == 0) return 0;
    if (const int error = target.write(buffer.data(), static_cast<std::size_t>(got))) return error;
  }
}

int moveAcrossFileSystems(const fs::path& from, const fs::path& to) {
  struct stat info {};
  if (::lstat(to.c_str(), &info) == 0) return EEXIST;
  FileDescriptor source;
  if (const int error = openRegularFile(from, source, info)) return error;
  TemporaryFile copy;
  if (const int error = copy.createIn(to.parent_path())) return error;
  // The mode comes before the bytes: those who may not read the source can never read its copy.
  if (const int error = copy.setMode(info.st_mode & 0777)) return error;
  if (const int error = copyBytes(source, copy)) return error;
  if (const int error = copy.flushAndClose()) return error;
  if (const int error = renameWithoutReplacing(copy.path(), to)) return error;
  static_cast<void>(copy.release());
  ::unlink(from.c_str());
  return 0;
}

// A folder that another thread or process creates first is as good; one that is removed meanwhile is created
// again.
int makeFolder(const fs::path& path) {
  constexpr int kTries = 100;
  for (int i = 0; i < kTries; ++i) {
    if (::mkdir(path.c_str(), 0700) == 0) return 0;
    if (errno != EEXIST) return lastError();
    struct stat existing {};
    if (::stat(path.c_str(), &existing) == 0) return S_ISDIR(existing.st_mode) ? 0 : EEXIST;
    if (::lstat(path.c_str(), &existing) == 0 && S_ISLNK(existing.st_mode)) return EEXIST;
  }
  return EEXIST;
}

}  // namespace

std::optional<NSError> NSFileManager::moveItem(const fs::path& from, const fs::path& to) {
  int error = renameWithoutReplacing(from, to);
  if (error == EXDEV) error = moveAcrossFileSystems(from, to);
  if (error == 0) return std::nullopt;
  return fileWriteError(error, to, "cannot move the file to");
}

std::optional<NSError> NSFileManager::createDirectory(const fs::path& folder, IntermediateDirectories above) {
  const auto make = [](const fs::path& path) -> std::optional<NSError> {
    const int error = makeFolder(path);
    if (error == 0) return std::nullopt;
    return fileWriteError(error, path, "cannot create the folder");
  };
  if (above == IntermediateDirectories::expected) return make(folder);
  fs::path soFar;
  for (const fs::path& part : folder) {
    soFar /= part;
    if (part.empty() || part == part.root_path()) continue;
    if (auto error = make(soFar)) return error;
  }
  return std::nullopt;
}

bool NSFileManager::isRegularFile(const fs::path& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace tq
