#include "TQFoundation/Platform/Adapters/Linux/ResolverFiles.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>

namespace tq::internal {
namespace {

constexpr const char* kFolder = "/etc";
constexpr const char* kFiles[] = {"/etc/resolv.conf", "/etc/hosts"};

constexpr std::uint32_t kEntryChanges = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;
constexpr std::uint32_t kFileChanges = IN_CLOSE_WRITE | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;

}  // namespace

ResolverFiles::ResolverFiles() : events_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (events_.isOpen()) watch();
}

// The events themselves are hints only. Which file changed does not matter.
void ResolverFiles::takeChanges() {
  alignas(inotify_event) std::array<char, 4096> events{};
  while (::read(events_.number(), events.data(), events.size()) > 0) {
  }
  watch();
}

// A watch of a file follows its links and stays with the file it found: a file that is replaced is watched
// anew each time, and the folder says that a link was. Watching twice is watching once.
void ResolverFiles::watch() const {
  static_cast<void>(::inotify_add_watch(events_.number(), kFolder, kEntryChanges));
  for (const char* const file : kFiles)
    static_cast<void>(::inotify_add_watch(events_.number(), file, kFileChanges));
}

}  // namespace tq::internal
