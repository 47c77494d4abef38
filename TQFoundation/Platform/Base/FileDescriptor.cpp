#include "TQFoundation/Platform/Base/FileDescriptor.h"

#include <unistd.h>

namespace tq {

FileDescriptor::~FileDescriptor() {
  if (number_ >= 0) ::close(number_);
}

}  // namespace tq
