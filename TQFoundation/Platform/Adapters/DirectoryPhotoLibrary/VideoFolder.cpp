#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoFolder.h"

#include <algorithm>
#include <array>
#include <set>
#include <system_error>
#include <utility>

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPlaceholderEnding = ".cloud";
constexpr std::size_t kLongestShownName = 200;
constexpr std::size_t kLongestPath = 4095;  // PATH_MAX of the systems in use, without its zero

// Sorted, for the binary search.
constexpr std::array<std::string_view, 36> kVideoExtensions = {
    ".3g2", ".3gp", ".asf", ".avi", ".divx", ".dv",   ".dvr", ".f4v", ".flv",  ".gxf",  ".m2t", ".m2ts",
    ".m2v", ".m4v", ".mj2", ".mkv", ".mod",  ".mov",  ".mp4", ".mpe", ".mpeg", ".mpg",  ".mts", ".mxf",
    ".nut", ".ogm", ".ogv", ".qt",  ".rm",   ".rmvb", ".tod", ".ts",  ".vob",  ".webm", ".wmv", ".wtv"};
static_assert(std::is_sorted(kVideoExtensions.begin(), kVideoExtensions.end()));

// One pass over the tree of a folder.
class Listing {
 public:
  explicit Listing(const fs::path& folder) : folder_(folder) {}

  DirectoryListing run() {
    if (auto error = listFolder({})) return {.error = std::move(error)};
    while (!subfolders_.empty()) {
      const fs::path next = std::move(subfolders_.back());
      subfolders_.pop_back();
      if (auto error = listFolder(next)) listing_.skipped.push_back(std::move(*error));
    }
    for (const std::string& name : names_) listing_.videos.push_back(std::make_shared<const PHAsset>(name));
    return std::move(listing_);
  }

 private:
  std::optional<NSError> listFolder(const fs::path& within) {
    const fs::path folder = within.empty() ? folder_ : folder_ / within;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
      take(*entry, within);
    // A subfolder that has been removed meanwhile holds no videos.
    const bool removed = error == std::errc::no_such_file_or_directory && !within.empty();
    if (!error || removed) return std::nullopt;
    return fileReadError(error.value(), folder, "cannot list the videos of");
  }

  // Only links, and file systems that do not tell a file's kind with its name, cost a call for each entry.
  void take(const fs::directory_entry& entry, const fs::path& within) {
    const fs::path name = entry.path().filename();
    const std::string& text = name.native();
    if (text.starts_with('.')) return;
    std::error_code error;
    const bool isFolder = entry.is_directory(error);
    const bool isPlaceholder = text.ends_with(kPlaceholderEnding);
    const bool isVideo = isPlaceholder || hasVideoExtension(name);
    if (!error && !isFolder && entry.path().native().size() > kLongestPath)
      error = std::make_error_code(std::errc::filename_too_long);
    std::error_code ignored;
    const bool isLink = entry.is_symlink(ignored);
    if (error) {
      const bool removed = error == std::errc::no_such_file_or_directory && !isLink;
      if (isVideo && !removed)
        listing_.skipped.push_back(fileReadError(error.value(), entry.path(), "cannot read"));
    } else if (isFolder) {
      if (!isLink) subfolders_.push_back(within / name);
    } else if (isVideo && entry.is_regular_file(ignored)) {
      const std::size_t length = text.size() - (isPlaceholder ? kPlaceholderEnding.size() : 0);
      names_.insert((within / text.substr(0, length)).native());
    }
  }

  const fs::path& folder_;
  DirectoryListing listing_;
  std::set<std::string> names_;
  std::vector<fs::path> subfolders_;
};

// Relative, without "." and "..", with no empty or hidden part: all that `Listing` can come up with.
bool isWellFormed(std::string_view identifier) {
  if (identifier.find('\0') != std::string_view::npos) return false;
  for (;;) {
    const std::size_t slash = identifier.find('/');
    const std::string_view part = identifier.substr(0, slash);
    if (part.empty() || part.front() == '.') return false;
    if (slash == std::string_view::npos) return true;
    identifier.remove_prefix(slash + 1);
  }
}

VideoLocation noSuchVideo(const std::string& identifier) {
  return {.file = {},
          .inCloud = false,
          .error = makeError(NSCocoaErrorDomain, NSFileReadNoSuchFileError,
                             "no such video: " + shownName(identifier))};
}

bool isMissing(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
         error == std::errc::too_many_symbolic_link_levels || error == std::errc::filename_too_long;
}

// Whether a link stands between `folder` and the file, so that the file may lie anywhere.
bool leadsThroughLink(fs::path folder, const fs::path& identifier) {
  std::error_code ignored;
  for (const fs::path& part : identifier.parent_path()) {
    folder /= part;
    if (fs::is_symlink(folder, ignored)) return true;
  }
  return false;
}

}  // namespace

DirectoryListing VideoFolder::list() const {
  return Listing(folder_).run();
}

VideoLocation VideoFolder::locate(const std::string& identifier) const {
  if (folder_.empty() || !isWellFormed(identifier)) return noSuchVideo(identifier);
  const fs::path file = folder_ / identifier;
  if (leadsThroughLink(folder_, identifier)) return noSuchVideo(identifier);

  fs::path placeholder = file;
  placeholder += kPlaceholderEnding;
  std::error_code error;
  if (fs::is_regular_file(placeholder, error))
    return {.file = std::move(placeholder), .inCloud = true, .error = std::nullopt};

  const bool there = hasVideoExtension(file) && fs::exists(file, error);
  if (there) return {.file = file, .inCloud = false, .error = std::nullopt};
  if (!error || isMissing(error)) return noSuchVideo(identifier);
  return {.file = {}, .inCloud = false, .error = fileReadError(error.value(), file, "cannot read")};
}

bool hasVideoExtension(const fs::path& name) {
  std::string extension = name.extension().string();
  for (char& c : extension) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return std::binary_search(kVideoExtensions.begin(), kVideoExtensions.end(), extension);
}

std::string shownName(std::string_view identifier) {
  std::string name(identifier.substr(0, kLongestShownName));
  for (char& c : name) c = (c >= 0 && c < ' ') || c == '\x7f' ? '?' : c;
  return identifier.size() > kLongestShownName ? name + "..." : name;
}

}  // namespace tq::internal
