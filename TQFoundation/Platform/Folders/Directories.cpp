#include "TQFoundation/Platform/Folders/Directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Base/ProgramPath.h"
#include "TQFoundation/Platform/Base/Text.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"
#include "TQFoundation/Platform/Folders/StandardFolder.h"
#include "TQFoundation/Platform/Resources/Bundle.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

fs::path absoluteFolderFromEnvironment(const char* variable) {
  const auto value = environmentVariable(variable).value_or("");
  return value.starts_with('/') ? value : "";
}

constexpr std::string_view kTemporaryBase = "/var/tmp";

// Nothing can exist beneath a device: every use of a path there fails, and no user can change that.
constexpr std::string_view kImpossibleBase = "/dev/null";

std::string temporaryFolderIn(std::string_view base, uid_t user) {
  std::string folder(base);
  if (!base.ends_with('/')) folder += '/';
  return folder.append(applicationName()).append(1, '-').append(std::to_string(user));
}

// What `variable` names, else `usual` in the home folder; beneath it, the program's own.
fs::path ownFolder(const char* variable, const char* usual) {
  fs::path base = absoluteFolderFromEnvironment(variable);
  if (base.empty()) {
    const fs::path home = NSHomeDirectory();
    if (home.empty()) return {};
    base = home / usual;
  }
  return base / applicationName();
}

// Whether it is a real folder, not a link to one, and `user`'s, and closed to others (mode 0700).
bool isPrivateFolder(const std::string& folder, uid_t user) {
  struct stat info {};
  return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == user &&
         (info.st_mode & 0777) == 0700;
}

// Creates it, or closes this user's own to others. Returns 0 or the errno of why it is not private.
int makePrivateFolder(const std::string& folder, uid_t user) {
  if (::mkdir(folder.c_str(), 0700) == 0) return 0;
  struct stat info {};
  if (errno != EEXIST || ::lstat(folder.c_str(), &info) != 0) return errno;
  if (!S_ISDIR(info.st_mode) || info.st_uid != user) return EPERM;
  return (info.st_mode & 0777) == 0700 || ::chmod(folder.c_str(), 0700) == 0 ? 0 : errno;
}

// Folders that stand in for names which others have taken. A process keeps to its own, and to one for each
// name.
class StandIns {
 public:
  // Returns 0, with the folder in `folder` instead of the name that is taken, or the errno.
  int find(std::string& folder, uid_t user) {
    const MutexLock lock(mutex_);
    std::string& made = made_[folder];
    if (made.empty() || makePrivateFolder(made, user) != 0) {
      std::string name = folder + "-XXXXXX";
      if (::mkdtemp(name.data()) == nullptr) return errno;
      made = name;
    }
    folder = made;
    return 0;
  }

 private:
  Mutex mutex_;
  std::map<std::string, std::string> made_ TQ_GUARDED_BY(mutex_);
};

bool isFolder(std::string_view path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

// One line of user-dirs.dirs: XDG_VIDEOS_DIR="$HOME/Films". Absent paths are empty.
fs::path folderFromLine(std::string_view line, std::string_view key, const fs::path& home) {
  if (line.substr(0, key.size()) != key) return {};
  line.remove_prefix(key.size());
  if (line.size() < 3 || line.substr(0, 2) != "=\"" || line.back() != '"') return {};
  std::string value;
  for (std::size_t i = 2; i + 1 < line.size(); ++i) {
    if (line[i] == '\\' && i + 2 < line.size()) ++i;
    value += line[i];
  }
  constexpr std::string_view kHome = "$HOME";
  if (value == kHome) return home;
  if (value.starts_with("$HOME/")) return home / value.substr(kHome.size() + 1);
  return value.starts_with('/') ? fs::path(value) : fs::path();
}

fs::path configuredFolder(std::string_view key, const fs::path& home) {
  const fs::path config = absoluteFolderFromEnvironment("XDG_CONFIG_HOME");
  const auto text =
      readSettingsFile((config.empty() ? home.native() + "/.config" : config.native()) + "/user-dirs.dirs");
  for (std::string_view left = text ? std::string_view(*text) : std::string_view(); !left.empty();) {
    fs::path folder = folderFromLine(internal::takeLine(left), key, home);
    if (!folder.empty()) return folder;
  }
  return {};
}

}  // namespace

std::string internal::temporaryDirectory(std::uint32_t user, std::optional<NSError>* error) {
  const std::string_view variable = environmentVariable("TMPDIR").value_or("");
  const std::string_view named = variable.starts_with('/') ? variable : kTemporaryBase;
  std::string folder = temporaryFolderIn(named, user);
  if (isPrivateFolder(folder, user)) return folder;
  if (!isFolder(named)) folder = temporaryFolderIn(kTemporaryBase, user);
  if (makePrivateFolder(folder, user) == 0) return folder;
  static NeverDestroyed<StandIns> standIns;
  const int fault = standIns->find(folder, user);
  if (fault == 0) return folder;
  if (error != nullptr) *error = fileWriteError(fault, folder, "cannot create the temporary folder");
  return temporaryFolderIn(kImpossibleBase, user);
}

fs::path NSTemporaryDirectory() {
  return internal::temporaryDirectory(::geteuid());
}

std::optional<NSError> temporaryDirectoryError() {
  std::optional<NSError> error;
  static_cast<void>(internal::temporaryDirectory(::geteuid(), &error));
  return error;
}

fs::path NSHomeDirectory() {
  if (fs::path home = absoluteFolderFromEnvironment("HOME"); !home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(std::size_t{16} * 1024);
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return {};
  return found->pw_dir;
}

fs::path userFolder(UserFolder folder) {
  const fs::path home = NSHomeDirectory();
  if (home.empty()) return {};
  const bool videos = folder == UserFolder::videos;
  fs::path configured = configuredFolder(videos ? "XDG_VIDEOS_DIR" : "XDG_DOCUMENTS_DIR", home);
  if (!configured.empty()) return configured;
  return home / (videos ? "Videos" : "Documents");
}

fs::path userCacheFolder() {
  return ownFolder("XDG_CACHE_HOME", ".cache");
}

fs::path partialFilesFolder() {
  const fs::path own = userCacheFolder();
  return (own.empty() ? NSTemporaryDirectory() : own) / "PartialFiles";
}

std::vector<fs::path> applicationSupportDirectories() {
  fs::path folder = ownFolder("XDG_DATA_HOME", ".local/share");
  if (folder.empty()) return {};
  return {std::move(folder)};
}

const std::string& applicationName() {
  static const NeverDestroyed<std::string> name(Bundle::mainIdentifier().empty() ? programName()
                                                                                 : Bundle::mainIdentifier());
  return *name;
}

std::string programName() {
  const std::string name = internal::programPath().filename().string();
  return name.empty() ? "TQFoundation" : name;
}

}  // namespace tq
