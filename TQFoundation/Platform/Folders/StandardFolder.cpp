#include "TQFoundation/Platform/Folders/StandardFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"
#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kCallsBetweenWholeWays = 64;

// What the place depends on.
std::pair<std::string_view, std::string_view> environmentOf(StandardFolder::In in) {
  if (in == StandardFolder::In::temporaryDirectory) return {environmentVariable("TMPDIR").value_or(""), {}};
  return {environmentVariable("XDG_DATA_HOME").value_or(""), environmentVariable("HOME").value_or("")};
}

// 0 when the folder above is this user's, else the errno that says why nothing can be had in it. In the
// temporary directory, where neighbours may have been first, that must be a folder which only this user
// enters.
int faultAbove(StandardFolder::In in, const fs::path& above) {
  struct stat info {};
  const bool amongNeighbours = in == StandardFolder::In::temporaryDirectory;
  if ((amongNeighbours ? ::lstat : ::stat)(above.c_str(), &info) != 0) return errno;
  if (!S_ISDIR(info.st_mode)) return ENOTDIR;
  if (info.st_uid != ::geteuid()) return EPERM;
  return amongNeighbours && (info.st_mode & 0077) != 0 ? EPERM : 0;
}

}  // namespace

std::shared_ptr<const fs::path> StandardFolder::known() const {
  auto known = known_.get();
  if (!known || !isStill(*known)) return nullptr;
  const fs::path& path = known->path;
  return {std::move(known), &path};
}

StandardFolder::Found StandardFolder::find() const {
  fs::path wanted = place();
  if (wanted.empty()) return {};
  const State state = judge(wanted);
  return {state, std::move(wanted)};
}

fs::path StandardFolder::place() const {
  if (in_ == In::temporaryDirectory) return NSTemporaryDirectory() / name_;
  const auto support = applicationSupportDirectories();
  return support.empty() ? fs::path() : support.front() / name_;
}

// A neighbour who gets hold of the name above can lead it to any folder of this user's, but not to this one.
bool StandardFolder::isStill(const Known& known) const {
  const auto [first, second] = environmentOf(in_);
  if (known.environment[0] != first || known.environment[1] != second) return false;
  // A count that some of many threads' calls miss will do.
  const unsigned calls = calls_.load(std::memory_order_relaxed) + 1;
  calls_.store(calls, std::memory_order_relaxed);
  struct stat info {};
  const int result = calls % kCallsBetweenWholeWays == 0
                         ? ::stat(known.path.c_str(), &info)
                         : ::fstatat(known.base.number(), known.within.c_str(), &info, 0);
  return result == 0 && S_ISDIR(info.st_mode) && info.st_ino == known.file && info.st_dev == known.device &&
         info.st_uid == known.owner;
}

void StandardFolder::remember(const fs::path& path, std::uint64_t device, std::uint64_t file) const {
  const fs::path above = path.parent_path();
  const auto [first, second] = environmentOf(in_);
  Known known{.environment = {std::string(first), std::string(second)},
              .path = path,
              .base = FileDescriptor(::open(above.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
              .within = above.filename() / path.filename(),
              .device = device,
              .file = file,
              .owner = ::geteuid()};
  if (known.base.isOpen()) known_.set(std::make_shared<const Known>(std::move(known)));
}

StandardFolder::State StandardFolder::judge(const fs::path& wanted) const {
  struct stat info {};
  if (::stat(wanted.c_str(), &info) != 0) return State::missing;
  if (!S_ISDIR(info.st_mode)) return State::file;
  const fs::path above = wanted.parent_path();
  if (info.st_uid != ::geteuid() || faultAbove(in_, above) != 0) return State::foreign;
  // A stand-in serves only as long as what it stands in for cannot be had.
  if (in_ == In::temporaryDirectory && above != usualTemporaryDirectory()) return State::ours;
  remember(wanted, info.st_dev, info.st_ino);
  return State::ours;
}

std::optional<NSError> StandardFolder::create(const fs::path& wanted) const {
  const fs::path above = wanted.parent_path();
  if (in_ == In::applicationSupport)
    if (auto error = NSFileManager::createDirectory(above)) return error;
  if (const int fault = faultAbove(in_, above))
    return fileWriteError(fault, wanted, "cannot create the folder");
  if (auto error = NSFileManager::createDirectory(wanted, NSFileManager::IntermediateDirectories::expected))
    return error;
  const State state = judge(wanted);
  // A moment after its creation it may be gone again: that is no other than a moment later.
  if (state == State::ours || state == State::missing) return std::nullopt;
  return fileWriteError(EPERM, wanted, "cannot use what another user has made of");
}

}  // namespace tq
