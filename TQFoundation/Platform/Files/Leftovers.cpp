#include "TQFoundation/Platform/Files/Leftovers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "TQFoundation/Platform/Base/FileDescriptor.h"
#include "TQFoundation/Platform/Files/PartialFile.h"
#include "TQFoundation/Platform/Files/TemporaryFile.h"

namespace tq {
namespace {

namespace fs = std::filesystem;
using internal::PartialFile;
using internal::TemporaryFile;

constexpr std::size_t kHashDigits = 64;

bool isHex(std::string_view text, std::size_t digits) {
  return text.size() == digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// The hash in the name of a partial file or its journal, else empty.
std::string_view hashIn(std::string_view name) {
  if (!name.starts_with(PartialFile::kPrefix)) return {};
  name.remove_prefix(PartialFile::kPrefix.size());
  for (const std::string_view ending : {PartialFile::kFileEnding, PartialFile::kJournalEnding})
    if (name.ends_with(ending) && isHex(name.substr(0, name.size() - ending.size()), kHashDigits))
      return name.substr(0, kHashDigits);
  return {};
}

struct Found {
  std::vector<fs::path> temporaryFiles;
  std::set<std::string> partialFiles;  // their hashes
};

Found findIn(const fs::path& folder) {
  Found found;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (TemporaryFile::isName(name)) found.temporaryFiles.push_back(entry->path());
    if (const auto hash = hashIn(name); !hash.empty()) found.partialFiles.emplace(hash);
  }
  return found;
}

struct Item {
  std::int64_t bytes = 0;
  bool isOld = false;
};

Item itemAt(const fs::path& path, std::chrono::hours age) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return {};
  constexpr std::int64_t kBlock = 512;
  const auto oldest = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now() - age);
  return {.bytes = info.st_blocks * kBlock, .isOld = age.count() == 0 || info.st_mtime < oldest};
}

std::int64_t removeTemporaryFile(const fs::path& path, std::chrono::hours age) {
  const auto [bytes, isOld] = itemAt(path, age);
  if (!isOld) return 0;
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  if (!file.isOpen() || ::fstat(file.number(), &info) != 0 || !S_ISREG(info.st_mode) ||
      info.st_uid != ::geteuid() || ::flock(file.number(), LOCK_EX | LOCK_NB) != 0)
    return 0;
  return ::unlink(path.c_str()) == 0 ? bytes : 0;
}

// Owning it is what makes sure that nobody else does; a file that has lost its journal gets a new one for
// that.
std::int64_t removePartialFile(const fs::path& folder, const std::string& hash, std::chrono::hours age) {
  const std::string stem = std::string(PartialFile::kPrefix) + hash;
  const fs::path path = folder / (stem + std::string(PartialFile::kFileEnding));
  const fs::path journal = folder / (stem + std::string(PartialFile::kJournalEnding));
  std::error_code ignored;
  std::int64_t bytes = 0;
  for (const fs::path& each : {path, journal}) {
    const Item item = itemAt(each, age);
    if (!item.isOld && fs::exists(fs::symlink_status(each, ignored))) return 0;
    bytes += item.bytes;
  }
  const auto partial = PartialFile::claimHash(folder, hash, PartialFile::IfMissing::created);
  if (!partial) return 0;
  partial->discard();
  return bytes;
}

}  // namespace

std::int64_t removeLeftovers(const fs::path& folder, const LeftoverAges& ages) {
  const Found found = findIn(folder);
  std::int64_t bytes = 0;
  for (const fs::path& path : found.temporaryFiles) bytes += removeTemporaryFile(path, ages.temporaryFiles);
  for (const std::string& hash : found.partialFiles)
    bytes += removePartialFile(folder, hash, ages.partialFiles);
  return bytes;
}

}  // namespace tq
