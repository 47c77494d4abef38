#include "TQFoundation/Platform/Files/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "TQFoundation/Platform/Base/FileDescriptor.h"

namespace tq {

std::optional<std::string> readSmallFile(const std::filesystem::path& path, std::size_t most) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat info {};
  if (!file.isOpen() || ::fstat(file.number(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  // One byte more than the size, so that the end shows; a file that grows meanwhile is read on.
  std::string text(std::min(static_cast<std::size_t>(info.st_size), most) + 1, '\0');
  for (std::size_t size = 0;;) {
    const ssize_t got = ::read(file.number(), text.data() + size, text.size() - size);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    size += static_cast<std::size_t>(got);
    if (got == 0 || size > most) {
      text.resize(size);
      return size > most ? std::nullopt : std::optional(std::move(text));
    }
    if (size == text.size()) text.resize(std::min(text.size() * 2, most + 1));
  }
}

}  // namespace tq
