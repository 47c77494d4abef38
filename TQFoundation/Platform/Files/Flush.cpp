#include "TQFoundation/Platform/Files/Flush.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq::internal {

int flushToDisk(const std::filesystem::path& path) {
  const FileDescriptor item(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  return item.isOpen() && ::fsync(item.number()) == 0 ? 0 : errno;
}

}  // namespace tq::internal
