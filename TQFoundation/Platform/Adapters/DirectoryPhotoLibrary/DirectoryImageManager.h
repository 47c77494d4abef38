#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"

namespace tq {

/// The options of a directory photo library.
struct DirectoryImageManagerOptions {
  /// Where originals fetched from the cloud are kept. Empty: "CloudVideos" in `userCacheFolder()`. What has
  /// come of an original when its fetch fails or the program ends is kept in "PartialFiles" there (empty: in
  /// `partialFilesFolder()`), and the next fetch continues with it.
  std::filesystem::path cacheFolder = {};

  /// How originals are fetched.
  NSURLSessionMaker makeSession = NSURLSession::sessionWithConfiguration;

  /// The bytes that a fetch leaves free on the volume of the cache, also when the server does not announce a
  /// length: as many as must be free before a video is loaded.
  std::uint64_t minimumFreeBytes = 314'572'800;
};

/// The videos of a folder, or why it cannot be listed.
struct DirectoryListing {
  std::vector<std::shared_ptr<const PHAsset>> videos = {};  ///< Sorted by identifier.
  std::optional<NSError> error = {};

  /// What is left out, each with its reason and its path under `NSFilePathErrorKey`: subfolders that cannot
  /// be read, and files named as videos are that cannot be looked at (links that lead nowhere, paths too
  /// long).
  std::vector<NSError> skipped = {};
};

/// A photo library that is a folder: each video file in it, subfolders included, is an asset whose local
/// identifier is its path within the folder, with "/" between the parts.
///
///     auto photos = DirectoryImageManager::make("/home/me/Videos");
///     auto loader = TQAVAssetLoader::initWithVideos(photos->fetchAssets().videos, screen, {.photos =
///     photos});
///
/// A file `NAME.cloud` says that the video NAME lives in the cloud: its first line is the http or https URL
/// of the original. That holds beside a file NAME too, which is then no more than a stand-in. With network
/// access allowed the original is fetched, with progress, into the library's own cache, where it is found the
/// next time, without the network too. An original that is not there and may not be fetched gives an absent
/// asset. Another URL in the placeholder is another original, and one found damaged is fetched anew. Progress
/// and results of such a video have `isInCloud` set. A local video is handed over where it lies.
///
/// An asset is handed over only if it is playable: the file is as long as its container says, it has a video
/// stream of a common codec with a decoder here, and a first packet can be read, all within 64 MiB of reading
/// and 10 s. A file that was cut where neither its server nor its container announced a length passes. Assets
/// are `AVURLAsset`s of a file, with their details. Anything else gives an absent asset and an error that
/// names the file and the reason, reported to the progress handler (if there is one) before the result, and
/// in the result's info: of `NSCocoaErrorDomain` for what lies in the folder, of `NSURLErrorDomain` for what
/// the network did. Only a cancel is reported in the result alone.
///
/// libav has one log callback for the process. The first look into a file sets it to one that drops what
/// libav logs of such looks, and passes the rest on to libav's default. A host that has a callback of its own
/// sets it after that; it then receives those lines too.
///
/// Names that begin with a dot are no videos, nor is what only a link to a folder leads to. Nothing in the
/// folder is ever written.
///
/// Thread-safe. The handlers run on a background queue, never inside the call that started the
/// request; a request under way keeps the library alive.
class TQ_API DirectoryImageManager : public PHImageManager {
 public:
  [[nodiscard]] static std::shared_ptr<DirectoryImageManager> make(std::filesystem::path folder,
                                                                   DirectoryImageManagerOptions options = {});

  /// Returns all videos of the folder as it is now. Reads directories only, no file: a video that is listed
  /// need not be playable.
  [[nodiscard]] virtual DirectoryListing fetchAssets() const = 0;

  /// Returns whether `asset` came out of the cloud: its file lies in the library's cache.
  [[nodiscard]] virtual bool isFetched(const AVAsset& asset) const = 0;
};

}  // namespace tq
