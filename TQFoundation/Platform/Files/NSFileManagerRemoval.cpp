#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

// How many folders on the way down stay open; those above are found again from the ones below.
constexpr std::size_t kOpenLevels = 16;
constexpr const char* kAttempt = "cannot remove";

FileDescriptor openFolder(int above, const char* name) {
  return FileDescriptor(::openat(above, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// What identifies a folder, independent of its path.
struct Identity {
  dev_t device = 0;
  ino_t file = 0;

  friend bool operator==(const Identity&, const Identity&) = default;
};

Identity identityOf(const FileDescriptor& folder) {
  struct stat info {};
  if (!folder.isOpen() || ::fstat(folder.number(), &info) != 0) return {};
  return {.device = info.st_dev, .file = info.st_ino};
}

bool isFolder(int above, const char* name) {
  struct stat info {};
  return ::fstatat(above, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(info.st_mode);
}

// Removes a tree without recursion. Invariants: `levels_` is the path from the holder down to the folder
// being emptied, each level the one that `identity` says; items are addressed by their name in an open folder
// only, so no path that others change meanwhile can lead elsewhere. The lowest `kOpenLevels` are open.
class TreeRemoval {
 public:
  // Removes `name`, a folder in `holder`. Errors name what is in it by `holderPath`.
  TreeRemoval(FileDescriptor holder, fs::path holderPath, std::string name)
      : holderPath_(std::move(holderPath)) {
    const Identity identity = identityOf(holder);
    levels_.push_back({.name = {}, .identity = identity, .folder = std::move(holder), .folders = {}});
    levels_.back().folders.push_back(std::move(name));
  }

  std::optional<NSError> run() {
    while (!levels_.empty()) {
      auto& waiting = levels_.back().folders;
      if (waiting.empty()) {
        leave();
        continue;
      }
      const std::string name = std::move(waiting.back());
      waiting.pop_back();
      enter(name);
    }
    return std::move(failure_);
  }

 private:
  struct Level {
    std::string name;  // in the level above
    Identity identity;
    FileDescriptor folder;             // closed while it is far above
    std::vector<std::string> folders;  // in it, and still to be removed
  };

  [[nodiscard]] int here() const { return levels_.back().folder.number(); }

  void note(int error, std::string_view name) {
    if (failure_) return;
    std::string path = holderPath_.string();
    for (const Level& level : levels_)
      if (!level.name.empty()) path.append(1, '/').append(level.name);
    failure_ = fileWriteError(error, path.append(1, '/').append(name), kAttempt);
  }

  void enter(const std::string& name) {
    FileDescriptor folder = openFolder(here(), name.c_str());
    if (!folder.isOpen()) return removeUnentered(name, errno);
    const Identity identity = identityOf(folder);
    if (identity.device != levels_.back().identity.device || internal::isMountPoint(folder))
      return removeUnentered(name, EBUSY);
    levels_.push_back({.name = name, .identity = identity, .folder = std::move(folder), .folders = {}});
    if (levels_.size() > kOpenLevels) levels_[levels_.size() - 1 - kOpenLevels].folder = FileDescriptor();
    emptyOfFiles();
  }

  // A folder that cannot be entered may be empty, or a file by now.
  void removeUnentered(const std::string& name, int reason) {
    const bool isOther = reason == ENOTDIR || reason == ELOOP;
    if (::unlinkat(here(), name.c_str(), isOther ? 0 : AT_REMOVEDIR) != 0 && !isGone(errno))
      note(isOther ? errno : reason, name);
  }

  // Only at the top is it a failure that there is nothing to remove.
  [[nodiscard]] bool isGone(int error) const { return error == ENOENT && levels_.size() > 1; }

  void emptyOfFiles() {
    // The stream owns the descriptor that it reads.
    FileDescriptor copy(::fcntl(here(), F_DUPFD_CLOEXEC, 0));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(copy.isOpen() ? ::fdopendir(copy.number()) : nullptr,
                                                      &::closedir);
    if (!entries) return note(errno, "");
    static_cast<void>(copy.release());
    for (;;) {
      errno = 0;
      const dirent* const entry = ::readdir(entries.get());  // NOLINT(concurrency-mt-unsafe): its own stream
      if (entry == nullptr) break;
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") removeOrKeepFolder(entry->d_name, entry->d_type);
    }
    if (errno != 0) note(errno, "");
  }

  void removeOrKeepFolder(const char* name, unsigned char type) {
    const bool folder = type == DT_DIR || (type == DT_UNKNOWN && isFolder(here(), name));
    if (!folder && (::unlinkat(here(), name, 0) == 0 || errno == ENOENT)) return;
    if (folder || errno == EISDIR) {
      levels_.back().folders.emplace_back(name);
    } else {
      note(errno, name);
    }
  }

  void leave() {
    Level done = std::move(levels_.back());
    levels_.pop_back();
    if (levels_.empty()) return;
    if (!reopen(levels_.back(), done.folder)) {
      // The folder has been moved meanwhile: what is above it now is not ours to remove.
      note(ENOENT, done.name);
      levels_.clear();
      return;
    }
    const char* const name = done.name.c_str();
    if (::unlinkat(here(), name, AT_REMOVEDIR) == 0 || errno == ENOENT) return;
    if (errno != ENOTDIR || ::unlinkat(here(), name, 0) != 0) note(errno, done.name);
  }

  static bool reopen(Level& level, const FileDescriptor& below) {
    if (level.folder.isOpen()) return true;
    FileDescriptor above = openFolder(below.number(), "..");
    if (!above.isOpen() || !(identityOf(above) == level.identity)) return false;
    level.folder = std::move(above);
    return true;
  }

  const fs::path holderPath_;
  std::vector<Level> levels_;
  std::optional<NSError> failure_;
};

}  // namespace

std::optional<NSError> NSFileManager::removeItem(const fs::path& path) {
  // "link/" names the link.
  const fs::path item = path.has_filename() ? path : path.parent_path();
  const std::string name = item.filename().string();
  if (name.empty() || name == "." || name == "..") return fileWriteError(EINVAL, path, kAttempt);
  const fs::path holderPath = item.has_parent_path() ? item.parent_path() : ".";
  FileDescriptor holder = internal::openForLookUp(holderPath);
  if (!holder.isOpen()) return fileWriteError(errno, path, kAttempt);
  if (!isFolder(holder.number(), name.c_str())) {
    if (::unlinkat(holder.number(), name.c_str(), 0) == 0) return std::nullopt;
    if (errno != EISDIR) return fileWriteError(errno, path, kAttempt);
  }
  return TreeRemoval(std::move(holder), holderPath, name).run();
}

}  // namespace tq
