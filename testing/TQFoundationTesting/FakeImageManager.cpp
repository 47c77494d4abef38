#include "TQFoundationTesting/FakeImageManager.h"

#include <utility>

namespace tq {

std::shared_ptr<FakeImageManager> FakeImageManager::make(std::shared_ptr<DispatchQueue> queue) {
  return std::shared_ptr<FakeImageManager>(new FakeImageManager(std::move(queue)));
}

void FakeImageManager::add(const std::string& identifier, FakeVideo video) {
  const MutexLock lock(mutex_);
  if (treatment_.insert_or_assign(identifier, std::move(video)).second)
    videos_.push_back(std::make_shared<const PHAsset>(identifier));
}

std::vector<std::shared_ptr<const PHAsset>> FakeImageManager::videos() const {
  const MutexLock lock(mutex_);
  return videos_;
}

std::size_t FakeImageManager::requestsMade() const {
  const MutexLock lock(mutex_);
  return static_cast<std::size_t>(lastId_);
}

std::size_t FakeImageManager::requestsCancelled() const {
  const MutexLock lock(mutex_);
  return cancelled_;
}

PHImageRequestID FakeImageManager::requestAVAssetForVideo(std::shared_ptr<const PHAsset> video,
                                                          PHVideoRequestOptions options,
                                                          ResultHandler resultHandler) {
  const std::string& identifier = video->localIdentifier();
  Request request{identifier, std::nullopt, std::move(options), std::move(resultHandler)};
  PHImageRequestID id = 0;
  {
    const MutexLock lock(mutex_);
    if (const auto found = treatment_.find(identifier); found != treatment_.end())
      request.video = found->second;
    id = ++lastId_;
    running_.emplace(id, std::make_shared<const Request>(std::move(request)));
  }
  queue_->async([self = shared_from_this(), id] { self->serve(id); });
  return id;
}

void FakeImageManager::cancelImageRequest(PHImageRequestID request) {
  {
    const MutexLock lock(mutex_);
    if (!running_.contains(request)) return;
    ++cancelled_;
  }
  queue_->async([self = shared_from_this(), request] { self->end(request, true); });
}

void FakeImageManager::finish() {
  queue_->async([self = shared_from_this()] {
    std::vector<PHImageRequestID> waiting;
    {
      const MutexLock lock(self->mutex_);
      for (const auto& [id, request] : self->running_) waiting.push_back(id);
    }
    for (const PHImageRequestID id : waiting) self->end(id, false);
  });
}

void FakeImageManager::serve(PHImageRequestID id) {
  const auto request = running(id);
  if (!request) return;
  if (!request->video) return end(id, false);
  for (const double fraction : request->video->progress)
    if (!report(id, fraction, std::nullopt)) return;
  const double last = request->video->progress.empty() ? 0 : request->video->progress.back();
  if (request->video->error && !report(id, last, request->video->error)) return;
  if (!request->video->stalls) end(id, false);
}

// Returns false if the handler ended the request.
bool FakeImageManager::report(PHImageRequestID id, double fraction, const std::optional<NSError>& error) {
  const auto request = running(id);
  if (!request) return false;
  bool stop = false;
  if (const auto& handler = request->options.progressHandler) handler(fraction, error, stop, {});
  if (stop) end(id, true);
  return !stop;
}

void FakeImageManager::end(PHImageRequestID id, bool cancelled) {
  std::shared_ptr<const Request> request;
  {
    const MutexLock lock(mutex_);
    if (auto ended = running_.extract(id)) request = std::move(ended.mapped());
  }
  if (!request) return;
  PHImageInfo info{.error = std::nullopt, .cancelled = cancelled};
  std::shared_ptr<AVAsset> asset;
  if (cancelled) return request->resultHandler(nullptr, info);
  const auto missing = [&](std::string sentence) {
    return makeError(NSCocoaErrorDomain, NSFileReadNoSuchFileError,
                     std::move(sentence) + request->identifier);
  };
  if (!request->video) {
    info.error = missing("no such video: ");
  } else if (!request->video->hasAsset ||
             (request->video->inCloud && !request->options.networkAccessAllowed)) {
    info.error = request->video->error.value_or(missing("no asset of "));
  } else {
    asset = request->video->asset;
    if (!asset) asset = std::make_shared<AVURLAsset>(URL::fileURLWithPath("/" + request->identifier));
  }
  request->resultHandler(std::move(asset), info);
}

std::shared_ptr<const FakeImageManager::Request> FakeImageManager::running(PHImageRequestID id) const {
  const MutexLock lock(mutex_);
  const auto found = running_.find(id);
  return found == running_.end() ? nullptr : found->second;
}

}  // namespace tq
