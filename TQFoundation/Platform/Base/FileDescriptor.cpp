#include "TQFoundation/Platform/Base/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace tq {

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) ::close(number_);
}

int FileDescriptor::close() {
  return number_ < 0 || ::close(release()) == 0 ? 0 : errno;
}

int FileDescriptor::writeAll(const char* bytes, std::size_t count) const {
  while (count > 0) {
    const ssize_t written = ::write(number_, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace tq
