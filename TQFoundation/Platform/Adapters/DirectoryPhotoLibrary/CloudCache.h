#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoProbe.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq::internal {

/// One original of the cloud, and where it is kept once it has been fetched.
struct CloudOriginal {
  URL url;
  std::string name;                    ///< What errors call it; without the URL, which may hold secrets.
  std::filesystem::path file;          ///< In the cache.
  std::filesystem::path partialFiles;  ///< The folder for what has come of it so far.
};

/// The folder of the originals fetched so far. Several libraries and processes may share one. What comes in
/// is whole and playable, and stays until it is found damaged and has been fetched anew.
///
/// Thread-safe, without a lock: requests that find the same file damaged each fetch it, and the later one
/// leaves the good file of the earlier one alone.
class CloudCache {
 public:
  /// A cache in `folder` for the originals of the video folder `library`, with partial files in
  /// `partialFiles`.
  CloudCache(std::filesystem::path folder, std::filesystem::path partialFiles,
             const std::filesystem::path& library);

  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

  /// The original at `url` of the video `identifier`. Its file has a name of its own for each library,
  /// identifier and URL.
  [[nodiscard]] CloudOriginal original(const std::string& identifier, const URL& url) const;

  /// Looks into the original's file. Returns nullopt if it has to be fetched: it is not there, or damaged.
  [[nodiscard]] static std::optional<VideoProbe> find(const CloudOriginal& original,
                                                      const std::atomic<bool>& cancelled);

  /// Moves the file `fetched` in if it is playable. That another fetch has been faster is no failure.
  [[nodiscard]] static VideoProbe keep(const std::filesystem::path& fetched, const CloudOriginal& original,
                                       const std::atomic<bool>& cancelled);

 private:
  std::filesystem::path folder_;
  std::filesystem::path partialFiles_;
  std::filesystem::path library_;
};

}  // namespace tq::internal
