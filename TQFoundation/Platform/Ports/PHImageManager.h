#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Base/AVAsset.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

/// A video of a photo library, by its identifier there.
///
/// Hosts may derive from it to carry their library's own handle. Immutable after construction; share freely.
class TQ_API PHAsset {
 public:
  explicit PHAsset(std::string localIdentifier) : localIdentifier_(std::move(localIdentifier)) {}
  PHAsset(const PHAsset&) = delete;
  PHAsset& operator=(const PHAsset&) = delete;
  virtual ~PHAsset() = default;

  /// Names the asset uniquely within its library, also in later runs.
  [[nodiscard]] const std::string& localIdentifier() const { return localIdentifier_; }

 private:
  std::string localIdentifier_;
};

/// Names a request while it runs; 0 names none.
using PHImageRequestID = std::int32_t;

/// What a library reports beside a progress or a result.
struct PHImageInfo {
  std::optional<NSError> error = {};  ///< Why there is no asset.
  bool cancelled = false;             ///< The request was cancelled.
  bool isInCloud = false;             ///< The original lies in the cloud.
};

/// How a video is to be fetched.
struct PHVideoRequestOptions {
  /// The fraction fetched so far, 0 to 1; an error that came up (the request's result still comes); a flag
  /// the handler may set to have the request cancelled; and the library's remarks.
  using ProgressHandler = std::function<void(double fraction, const std::optional<NSError>& error, bool& stop,
                                             const PHImageInfo& info)>;

  /// Whether an original that lies in the cloud may be fetched. Without, the result of such a video is
  /// absent.
  bool networkAccessAllowed = false;

  /// Called while an original is fetched, and with an error when one comes up. May be empty.
  ProgressHandler progressHandler = {};
};

/// The photo library: turns its videos into playable assets.
///
///     const auto id = photos->requestAVAssetForVideo(video, {.networkAccessAllowed = true},
///         [](std::shared_ptr<AVAsset> asset, const PHImageInfo& info) { ... });
///     photos->cancelImageRequest(id);
///
/// The contract every library keeps:
/// - Each request calls its result handler exactly once, with an asset or, when there is none, with null and
///   `info.error` or `info.cancelled`. No progress follows the result.
/// - The handlers run on a queue of the library's own choosing, never inside the call that started the
///   request, and are let go of once the result has been delivered.
/// - A cancelled request ends soon, with null and `info.cancelled`, unless its result was already on its way.
///
/// Thread-safe. No lock is held while a callback runs; it may call back in.
class TQ_API PHImageManager {
 public:
  using ResultHandler = std::function<void(std::shared_ptr<AVAsset> asset, const PHImageInfo& info)>;

  virtual ~PHImageManager() = default;

  /// Starts fetching the playable asset of `video` and returns the request's id, never 0.
  virtual PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> video,
                                                  PHVideoRequestOptions options,
                                                  ResultHandler resultHandler) = 0;

  /// Cancels a running request; an id that has ended or never was does nothing.
  virtual void cancelImageRequest(PHImageRequestID request) = 0;

  /// The library of this machine's user. Created on first use, never destroyed.
  ///
  /// Defined in the target that brings a library (`TQFoundation::DirectoryPhotoLibrary`, or the host's own):
  /// a program that always names its library need not link one.
  [[nodiscard]] static const std::shared_ptr<PHImageManager>& defaultManager();
};

}  // namespace tq
