#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"

namespace tq {

/// Where a video of the folder lies.
struct VideoLocation {
  std::filesystem::path file;    ///< The video, or the placeholder that says where its original is.
  bool inCloud = false;          ///< `file` is a placeholder.
  std::optional<NSError> error;  ///< Why there is no such video.
};

/// The folder behind a directory photo library: which names in it are videos.
///
/// Immutable after construction; share freely.
class VideoFolder {
 public:
  explicit VideoFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}

  [[nodiscard]] const std::filesystem::path& path() const { return folder_; }

  /// All videos, or why they cannot be listed.
  [[nodiscard]] DirectoryListing list() const;

  /// The video that `identifier` names. Whatever the text, nothing outside the folder is looked at, and
  /// nothing answered that `list` would not name or that is a broken one of those.
  [[nodiscard]] VideoLocation locate(const std::string& identifier) const;

 private:
  std::filesystem::path folder_;
};

/// Whether the name ends as the names of videos do, in capitals or not.
[[nodiscard]] bool hasVideoExtension(const std::filesystem::path& name);

/// `identifier` as it can be shown to people: not too long, without control characters.
[[nodiscard]] std::string shownName(std::string_view identifier);

}  // namespace tq
