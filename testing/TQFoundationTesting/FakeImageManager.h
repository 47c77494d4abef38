#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"

namespace tq {

/// How a fake photo library treats one of its videos.
struct FakeVideo {
  std::vector<double> progress = {};    ///< Fractions to report, in this order.
  std::optional<NSError> error = {};    ///< Reported after the fractions.
  bool hasAsset = true;                 ///< Whether the result carries an asset.
  bool inCloud = false;                 ///< Without network access the result carries none.
  bool stalls = false;                  ///< The result waits for `finish`, or for a cancel.
  std::shared_ptr<AVAsset> asset = {};  ///< Null: a new `AVURLAsset` of "file:///IDENTIFIER".
};

/// A photo library that lives in memory.
///
///     auto photos = FakeImageManager::make();
///     photos->add("beach.mov", {.progress = {0.5, 1.0}});
///     auto loader = TQAVAssetLoader::initWithVideos(photos->videos(), screen, {.photos = photos});
///
/// The handlers run on the queue it was made with: a `ManualQueue` gives each step to the test. Without one
/// it is as fast as a serial queue can be.
///
/// Thread-safe.
class TQ_API FakeImageManager final : public PHImageManager,
                                      public std::enable_shared_from_this<FakeImageManager> {
 public:
  [[nodiscard]] static std::shared_ptr<FakeImageManager> make(
      std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial());

  /// Adds a video, or changes how one that is there is treated from the next request on.
  void add(const std::string& identifier, FakeVideo video = {});

  /// All videos, in the order they were added first.
  [[nodiscard]] std::vector<std::shared_ptr<const PHAsset>> videos() const;

  /// Delivers the results of all requests that stall.
  void finish();

  [[nodiscard]] std::size_t requestsMade() const;
  [[nodiscard]] std::size_t requestsCancelled() const;

  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> video, PHVideoRequestOptions options,
                                          ResultHandler resultHandler) override;
  void cancelImageRequest(PHImageRequestID request) override;

 private:
  struct Request {
    std::string identifier;
    std::optional<FakeVideo> video;  // absent: the library has no such video
    PHVideoRequestOptions options;
    ResultHandler resultHandler;
  };

  explicit FakeImageManager(std::shared_ptr<DispatchQueue> queue) : queue_(std::move(queue)) {}
  void serve(PHImageRequestID id);
  [[nodiscard]] bool report(PHImageRequestID id, double fraction, const std::optional<NSError>& error);
  void end(PHImageRequestID id, bool cancelled);
  [[nodiscard]] std::shared_ptr<const Request> running(PHImageRequestID id) const;

  const std::shared_ptr<DispatchQueue> queue_;
  mutable Mutex mutex_;
  std::vector<std::shared_ptr<const PHAsset>> videos_ TQ_GUARDED_BY(mutex_);
  std::map<std::string, FakeVideo> treatment_ TQ_GUARDED_BY(mutex_);
  std::map<PHImageRequestID, std::shared_ptr<const Request>> running_ TQ_GUARDED_BY(mutex_);
  PHImageRequestID lastId_ TQ_GUARDED_BY(mutex_) = 0;
  std::size_t cancelled_ TQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace tq
