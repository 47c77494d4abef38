#include "TQFoundation/Platform/Folders/Directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

#include "TQFoundation/Platform/Base/Environment.h"
#include "TQFoundation/Platform/Files/SettingsFile.h"
#include "TQFoundation/Platform/Folders/StandardFolder.h"
#include "TQFoundation/Platform/Localization/Bundle.h"

namespace tq {
namespace {

namespace fs = std::filesystem;

fs::path absoluteFolderFromEnvironment(const char* variable) {
  const auto value = environmentVariable(variable).value_or("");
  return value.starts_with('/') ? value : "";
}

constexpr const char* kTemporaryBase = "/var/tmp";

fs::path temporaryBase() {
  fs::path named = absoluteFolderFromEnvironment("TMPDIR");
  std::error_code error;
  if (!named.empty() && fs::is_directory(named, error)) return named;
  return kTemporaryBase;
}

std::string temporaryName() {
  return applicationName() + '-' + std::to_string(::geteuid());
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

// A real folder, not a link to one; this user's; open to nobody else.
bool makePrivateFolder(const fs::path& folder) {
  struct stat info {};
  if (::lstat(folder.c_str(), &info) != 0) {
    if (::mkdir(folder.c_str(), 0700) == 0) return true;
    if (errno != EEXIST || ::lstat(folder.c_str(), &info) != 0) return false;
  }
  if (!S_ISDIR(info.st_mode) || info.st_uid != ::geteuid()) return false;
  return (info.st_mode & 0777) == 0700 || ::chmod(folder.c_str(), 0700) == 0;
}

// The stand-in for a name that somebody else has taken; one per name and process.
fs::path freshFolder(const fs::path& taken) {
  static auto& made = *new std::map<fs::path, fs::path>;
  static auto& mutex = *new std::mutex;
  const std::scoped_lock lock(mutex);
  fs::path& fresh = made[taken];
  if (!fresh.empty() && makePrivateFolder(fresh)) return fresh;
  std::string name = taken.string() + "-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) return taken;
  return fresh = name;
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
  const std::string_view settings = text ? std::string_view(*text) : std::string_view();
  for (std::string_view left = settings; !left.empty();) {
    const std::string_view line = left.substr(0, left.find('\n'));
    if (fs::path folder = folderFromLine(line, key, home); !folder.empty()) return folder;
    left.remove_prefix(std::min(line.size() + 1, left.size()));
  }
  return {};
}

std::string readProgramName() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  std::string name = program.filename().string();
  constexpr std::string_view kDeleted = " (deleted)";
  if (name.ends_with(kDeleted)) name.resize(name.size() - kDeleted.size());
  return name.empty() ? "TQFoundation" : name;
}

}  // namespace

fs::path NSTemporaryDirectory() {
  const fs::path folder = temporaryBase() / temporaryName();
  return makePrivateFolder(folder) ? folder : freshFolder(folder);
}

fs::path usualTemporaryDirectory() {
  const fs::path named = absoluteFolderFromEnvironment("TMPDIR");
  return (named.empty() ? kTemporaryBase : named) / temporaryName();
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

std::vector<fs::path> applicationSupportDirectories() {
  fs::path folder = ownFolder("XDG_DATA_HOME", ".local/share");
  if (folder.empty()) return {};
  return {std::move(folder)};
}

const std::string& applicationName() {
  static const auto& name =
      *new std::string(Bundle::mainIdentifier().empty() ? programName() : Bundle::mainIdentifier());
  return name;
}

// Asking the kernel costs as much as creating a file, and the answer stays the same.
std::string programName() {
  static const auto& name = *new std::string(readProgramName());
  return name;
}

}  // namespace tq
