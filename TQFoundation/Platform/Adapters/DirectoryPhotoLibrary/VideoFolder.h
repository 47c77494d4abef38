#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"

namespace tq::internal {

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

  /// Returns all videos, or why the folder cannot be listed.
  [[nodiscard]] DirectoryListing list() const;

  /// Returns the video that `identifier` names. No text leads outside the folder, or to anything that `list`
  /// would neither name nor skip.
  [[nodiscard]] VideoLocation locate(const std::string& identifier) const;

 private:
  std::filesystem::path folder_;
};

/// Returns whether the name ends as the names of videos do, in any case.
[[nodiscard]] bool hasVideoExtension(const std::filesystem::path& name);

/// Returns `identifier` as it can be shown to people: not too long, without control characters.
[[nodiscard]] std::string shownName(std::string_view identifier);

}  // namespace tq::internal
