#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoProbe.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq {

/// One original of the cloud, and where it is kept once it has been fetched.
struct CloudOriginal {
  URL url;
  std::string name;            ///< What errors call it.
  std::filesystem::path file;  ///< In the cache.
};

/// The folder of the originals fetched so far. Several libraries and processes may share one: what comes in
/// is whole and playable, and stays until somebody finds it damaged.
///
/// Thread-safe.
class CloudCache {
 public:
  /// A cache in `folder` for the originals of the video folder `library`.
  CloudCache(std::filesystem::path folder, const std::filesystem::path& library);

  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  /// The original at `url` of the video `identifier`. Its file has a name of its own for each library,
  /// identifier and URL.
  [[nodiscard]] CloudOriginal original(const std::string& identifier, const URL& url) const;

  /// Looks into the original's file: absent when it is not there (any more: a damaged one is removed).
  [[nodiscard]] static std::optional<VideoProbe> find(const CloudOriginal& original,
                                                      const std::atomic<bool>& cancelled);

  /// Takes the file `fetched` in when it is playable. That another fetch has been faster is no failure.
  [[nodiscard]] static VideoProbe keep(const std::filesystem::path& fetched, const CloudOriginal& original,
                                       const std::atomic<bool>& cancelled);

 private:
  std::filesystem::path folder_;
  std::filesystem::path library_;
};

}  // namespace tq
