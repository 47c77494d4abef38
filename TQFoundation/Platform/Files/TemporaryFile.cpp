#include "TQFoundation/Platform/Files/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <random>
#include <utility>

namespace tq::internal {

int TemporaryFile::createIn(const std::filesystem::path& folder) {
  static thread_local std::mt19937_64 random{std::random_device{}()};
  constexpr int kTries = 16;
  for (int i = 0; i < kTries; ++i) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), ".download-%016" PRIx64, std::uint64_t{random()});
    std::filesystem::path path = folder / name.data();
    FileDescriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (descriptor.isOpen()) {
      path_ = std::move(path);
      descriptor_ = std::move(descriptor);
      return 0;
    }
    if (errno != EEXIST) return errno;
  }
  return EEXIST;
}

int TemporaryFile::setMode(unsigned mode) {
  return ::fchmod(descriptor_.number(), static_cast<mode_t>(mode)) == 0 ? 0 : errno;
}

int TemporaryFile::write(const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = ::write(descriptor_.number(), bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

int TemporaryFile::flushAndClose() {
  if (::fsync(descriptor_.number()) != 0) return errno;
  return close();
}

std::filesystem::path TemporaryFile::release() {
  return std::exchange(path_, {});
}

void TemporaryFile::remove() {
  descriptor_ = FileDescriptor();
  if (!path_.empty()) ::unlink(release().c_str());
}

}  // namespace tq::internal
