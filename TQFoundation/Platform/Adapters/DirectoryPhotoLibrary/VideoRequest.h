#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudCache.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoFolder.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/LibraryQueue.h"

namespace tq::internal {

/// What the requests of one library share.
struct VideoStores {
  VideoFolder folder;
  CloudCache cache;
  NSURLSessionMaker makeSession;
};

/// One request for the asset of a video, on a serial queue of its own.
///
/// `cancel`: thread-safe.
class VideoRequest : public std::enable_shared_from_this<VideoRequest> {
 public:
  VideoRequest(std::shared_ptr<const VideoStores> stores, std::shared_ptr<const PHAsset> video,
               PHVideoRequestOptions options, PHImageManager::ResultHandler resultHandler);

  /// Starts the request, which keeps itself alive until its end. `ended` is called just before the result.
  void start(std::function<void()> ended);

  /// Makes the request end soon.
  void cancel();

 private:
  // All of these on the queue.
  void run();
  void runFromCloud(const std::filesystem::path& placeholder);
  void fetch(const CloudOriginal& original);
  void progressed(double fraction);
  void tell(const std::optional<NSError>& error);
  void finish(const VideoProbe& outcome);
  void fail(NSError error) { finish({.details = std::nullopt, .error = std::move(error)}); }
  void deliver(std::shared_ptr<AVAsset> asset, const PHImageInfo& info);

  const std::shared_ptr<DispatchQueue> queue_ = makeLibraryQueue();
  const std::shared_ptr<const VideoStores> stores_;
  const std::shared_ptr<const PHAsset> video_;
  std::atomic<bool> cancelled_ = false;
  Guarded<std::shared_ptr<NSURLSessionDownloadTask>> task_;

  // The queue only, once started.
  PHVideoRequestOptions options_;
  PHImageManager::ResultHandler resultHandler_;
  std::function<void()> ended_;
  std::filesystem::path file_;
  bool inCloud_ = false;
  double fraction_ = 0;
};

}  // namespace tq::internal
