#include "TQFoundation/Platform/Base/Descriptor.h"

#include <unistd.h>

namespace tq {

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

}  // namespace tq
