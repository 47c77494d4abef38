#include "TQFoundation/Platform/Files/NSFileManager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <random>
#include <vector>

namespace tq {
namespace {

namespace fs = std::filesystem;

// Each step below answers 0 or the errno of what failed.

int lastError() {
  return errno == 0 ? EIO : errno;
}

// For file systems that have no rename that refuses: the name is taken by the link, in one step as well.
int linkAndUnlink(const fs::path& from, const fs::path& to) {
  if (::link(from.c_str(), to.c_str()) != 0) return lastError();
  return ::unlink(from.c_str()) == 0 ? 0 : lastError();
}

int renameWithoutReplacing(const fs::path& from, const fs::path& to) {
#ifdef RENAME_NOREPLACE
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return lastError();
#endif
  return linkAndUnlink(from, to);
}

int writeAll(int target, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(target, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return lastError();
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

int copyBytes(int source, int target) {
  std::vector<char> buffer(std::size_t{1} << 20);
  for (;;) {
    const ssize_t got = ::read(source, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return lastError();
    if (got == 0) return 0;
    if (const int error = writeAll(target, buffer.data(), static_cast<std::size_t>(got))) return error;
  }
}

// A full disk may show only when the last bytes are flushed and the file closed.
int copyInto(const TemporaryFile& file, const fs::path& from) {
  const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
  int error = source < 0 ? lastError() : copyBytes(source, file.descriptor);
  if (source >= 0) ::close(source);
  if (error == 0 && ::fsync(file.descriptor) != 0) error = lastError();
  if (::close(file.descriptor) != 0 && error == 0) error = lastError();
  return error;
}

int moveAcrossFileSystems(const fs::path& from, const fs::path& to) {
  struct stat existing {};
  if (::lstat(to.c_str(), &existing) == 0) return EEXIST;
  TemporaryFile copy;
  if (const int error = TemporaryFile::createIn(to.parent_path(), copy)) return error;
  int error = copyInto(copy, from);
  if (error == 0) error = renameWithoutReplacing(copy.path, to);
  if (error != 0) {
    ::unlink(copy.path.c_str());
    return error;
  }
  ::unlink(from.c_str());
  return 0;
}

// Whoever creates it first creates it for all, and while others remove it, it is created anew.
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

int TemporaryFile::createIn(const fs::path& folder, TemporaryFile& file) {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  constexpr int kTries = 16;
  for (int i = 0; i < kTries; ++i) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), ".download-%016" PRIx64, std::uint64_t{random()});
    const fs::path path = folder / name.data();
    // The file will be moved to where the user wants it: its mode is the one of the user's other files.
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) {
      file = {.path = path, .descriptor = descriptor};
      return 0;
    }
    if (errno != EEXIST) return lastError();
  }
  return EEXIST;
}

}  // namespace tq
