#include "TQFoundation/Platform/Core/Directories.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

namespace tq::platform {
namespace {

namespace fs = std::filesystem;

fs::path absoluteFolderFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || value[0] != '/') return {};
  return value;
}

fs::path temporaryBase() {
  const fs::path named = absoluteFolderFromEnvironment("TMPDIR");
  std::error_code error;
  if (!named.empty() && fs::is_directory(named, error)) return named;
  return "/var/tmp";
}

// A real folder, not a link to one; this user's; open to nobody else.
bool makePrivateFolder(const fs::path& folder) {
  if (::mkdir(folder.c_str(), 0700) == 0) return true;
  if (errno != EEXIST) return false;
  struct stat info {};
  if (::lstat(folder.c_str(), &info) != 0) return false;
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
  fs::path config = absoluteFolderFromEnvironment("XDG_CONFIG_HOME");
  if (config.empty()) config = home / ".config";
  std::ifstream file(config / "user-dirs.dirs");
  for (std::string line; std::getline(file, line);) {
    if (fs::path folder = folderFromLine(line, key, home); !folder.empty()) return folder;
  }
  return {};
}

}  // namespace

fs::path NSTemporaryDirectory() {
  const fs::path folder = temporaryBase() / (programName() + '-' + std::to_string(::geteuid()));
  return makePrivateFolder(folder) ? folder : freshFolder(folder);
}

fs::path NSHomeDirectory() {
  if (fs::path home = absoluteFolderFromEnvironment("HOME"); !home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::vector<char> buffer(16 * 1024);
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
  fs::path base = absoluteFolderFromEnvironment("XDG_CACHE_HOME");
  if (base.empty()) {
    const fs::path home = NSHomeDirectory();
    if (home.empty()) return {};
    base = home / ".cache";
  }
  return base / programName();
}

std::string programName() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  std::string name = program.filename().string();
  constexpr std::string_view kDeleted = " (deleted)";
  if (name.ends_with(kDeleted)) name.resize(name.size() - kDeleted.size());
  return name.empty() ? "TQFoundation" : name;
}

}  // namespace tq::platform
