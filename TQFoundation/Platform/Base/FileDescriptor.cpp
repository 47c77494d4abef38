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

}  // namespace tq
