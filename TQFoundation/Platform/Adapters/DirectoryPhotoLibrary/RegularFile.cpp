#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace tq::internal {

RegularFile::RegularFile(const std::filesystem::path& path)
    // O_NONBLOCK: a FIFO would wait for a writer.
    : descriptor_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
  struct stat info {};
  if (!descriptor_.isOpen() || ::fstat(descriptor_.number(), &info) != 0) {
    error_ = fileReadError(errno, path, "cannot read");
  } else if (!S_ISREG(info.st_mode)) {
    error_ = makeError(NSCocoaErrorDomain, NSFileReadCorruptFileError,
                       "cannot read " + path.string() + ": it is no regular file");
  }
  size_ = info.st_size;
}

std::int64_t RegularFile::read(std::int64_t offset, void* bytes, std::size_t count) const {
  for (;;) {
    const ssize_t got = ::pread(descriptor_.number(), bytes, count, offset);
    if (got >= 0) return got;
    if (errno != EINTR) return -errno;
  }
}

}  // namespace tq::internal
