#include "TQFoundation/Platform/Base/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace tq {

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) ::close(number_);
}

int FileDescriptor::close() {
  return ::close(std::exchange(number_, -1)) == 0 ? 0 : errno;
}

}  // namespace tq
