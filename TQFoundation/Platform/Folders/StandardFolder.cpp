#include "TQFoundation/Platform/Folders/StandardFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "TQFoundation/Platform/Files/NSFileManager.h"
#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

// A program that runs with another user's HOME must not leave folders there that this user cannot enter.
bool isOfAnotherUser(const std::string& folder, uid_t user) {
  struct stat info {};
  return ::stat(folder.c_str(), &info) == 0 && info.st_uid != user;
}

}  // namespace

StandardFolder::Found StandardFolder::find() const {
  const uid_t user = ::geteuid();
  std::string wanted = place(user);
  if (wanted.empty()) return {};
  const State state = stateOf(wanted, user);
  return {state, std::move(wanted)};
}

std::string StandardFolder::place(uid_t user) const {
  std::string above;
  if (in == In::temporaryDirectory) {
    above = temporaryDirectory(user);
  } else if (const auto support = applicationSupportDirectories(); !support.empty()) {
    above = support.front().native();
  }
  return above.empty() ? above : above.append(1, '/').append(name);
}

// The temporary directory, where other users' folders are neighbours, has just been found to be private to
// this user.
StandardFolder::State StandardFolder::stateOf(const std::string& wanted, uid_t user) const {
  struct stat info {};
  if (::stat(wanted.c_str(), &info) != 0) return State::missing;
  if (!S_ISDIR(info.st_mode)) return State::file;
  if (info.st_uid != user) return State::foreign;
  const bool isInForeignFolder =
      in == In::applicationSupport && isOfAnotherUser(wanted.substr(0, wanted.rfind('/')), user);
  return isInForeignFolder ? State::foreign : State::ours;
}

std::optional<NSError> StandardFolder::create(const fs::path& wanted) const {
  const uid_t user = ::geteuid();
  if (in == In::applicationSupport) {
    const fs::path above = wanted.parent_path();
    if (auto error = NSFileManager::createDirectory(above)) return error;
    if (isOfAnotherUser(above.native(), user))
      return fileWriteError(EPERM, wanted, "cannot create the folder");
  }
  if (auto error = NSFileManager::createDirectory(wanted, NSFileManager::IntermediateDirectories::expected))
    return error;
  // Removed again by another process a moment later is no different from removed later.
  const State state = stateOf(wanted.native(), user);
  if (state == State::ours || state == State::missing) return std::nullopt;
  return fileWriteError(EPERM, wanted, "cannot use what another user has made of");
}

}  // namespace tq::internal
