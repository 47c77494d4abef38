#include "TQFoundation/Platform/Files/SettingsFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace tq {

std::optional<std::string> readSettingsFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return std::nullopt;
  std::string text(std::size_t{64} * 1024, '\0');
  const ssize_t got = ::read(file, text.data(), text.size());
  ::close(file);
  if (got < 0) return std::nullopt;
  text.resize(static_cast<std::size_t>(got));
  return text;
}

}  // namespace tq
