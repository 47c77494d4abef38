#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoRequest.h"

#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudFetch.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudPlaceholder.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq::internal {

VideoRequest::VideoRequest(std::shared_ptr<const VideoStores> stores, std::shared_ptr<const PHAsset> video,
                           PHVideoRequestOptions options, PHImageManager::ResultHandler resultHandler)
    : stores_(std::move(stores)),
      video_(std::move(video)),
      options_(std::move(options)),
      resultHandler_(std::move(resultHandler)) {}

void VideoRequest::start(std::function<void()> ended) {
  ended_ = std::move(ended);
  queue_->async([self = shared_from_this()] { self->run(); });
}

void VideoRequest::cancel() {
  cancelled_ = true;
  if (const auto task = task_.get()) task->cancel();
}

void VideoRequest::run() {
  if (cancelled_) return finish({});
  if (!video_)
    return fail(makeError(NSCocoaErrorDomain, NSFileReadNoSuchFileError, "no video was asked for"));
  const std::string& identifier = video_->localIdentifier();
  const VideoLocation location = stores_->folder.locate(identifier);
  if (location.error) return fail(*location.error);
  if (location.inCloud) return runFromCloud(location.file);
  file_ = location.file;
  finish(probeVideo(file_, shownName(identifier), cancelled_));
}

void VideoRequest::runFromCloud(const std::filesystem::path& placeholder) {
  inCloud_ = true;
  const auto [url, unreadable] = readCloudPlaceholder(placeholder);
  if (unreadable) return fail(*unreadable);
  const std::string& identifier = video_->localIdentifier();
  const CloudOriginal original = stores_->cache.original(identifier, *url);
  file_ = original.file;
  if (const auto cached = CloudCache::find(original, cancelled_)) return finish(*cached);
  if (!options_.networkAccessAllowed) {
    return fail(makeError(NSURLErrorDomain, NSURLErrorResourceUnavailable,
                          shownName(identifier) + " lives in the cloud, and the network may not be used"));
  }
  if (auto error = NSFileManager::createDirectory(stores_->cache.folder())) return fail(std::move(*error));
  fetch(original);
}

void VideoRequest::fetch(const CloudOriginal& original) {
  const auto onQueue = [self = shared_from_this()](auto call) {
    self->queue_->async([self, call = std::move(call)] { call(*self); });
  };
  task_.set(CloudFetch::start(
      stores_->makeSession, original, cancelled_,
      {.progress = [onQueue](double fraction) { onQueue([=](VideoRequest& r) { r.progressed(fraction); }); },
       .ended =
           [onQueue](VideoProbe outcome) {
             onQueue([outcome = std::move(outcome)](VideoRequest& r) { r.finish(outcome); });
           }}));
  // A cancel on another thread may have come before it could find the task.
  if (cancelled_) cancel();
}

void VideoRequest::progressed(double fraction) {
  fraction_ = fraction;
  if (!cancelled_) tell(std::nullopt);
}

void VideoRequest::tell(const std::optional<NSError>& error) {
  if (!options_.progressHandler) return;
  bool stop = false;
  options_.progressHandler(fraction_, error, stop,
                           {.error = error, .cancelled = false, .isInCloud = inCloud_});
  if (stop) cancel();
}

void VideoRequest::finish(const VideoProbe& outcome) {
  if (cancelled_) return deliver(nullptr, {.error = std::nullopt, .cancelled = true, .isInCloud = inCloud_});
  if (outcome.error) tell(outcome.error);
  auto asset =
      outcome.details ? std::make_shared<AVURLAsset>(URL::fileURLWithPath(file_), outcome.details) : nullptr;
  deliver(std::move(asset), {.error = outcome.error, .cancelled = false, .isInCloud = inCloud_});
}

// What the handlers hold is released here, not when the last holder of the request goes.
void VideoRequest::deliver(std::shared_ptr<AVAsset> asset, const PHImageInfo& info) {
  task_.set(nullptr);
  options_.progressHandler = nullptr;
  const auto resultHandler = std::exchange(resultHandler_, nullptr);
  if (const auto ended = std::exchange(ended_, nullptr)) ended();
  if (resultHandler) resultHandler(std::move(asset), info);
}

}  // namespace tq::internal
