#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"

#include <algorithm>
#include <utility>

#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"

namespace tq {

std::string kNetworkErrorDomain = "Network Error";
std::int64_t kiCloudDownloadNetworkError = 81;
std::int64_t kiCloudDownloadDiskFullError = 111;

namespace {

// How long a cancel respects a report on another thread. It is long enough for a thread that has been
// preempted just before it calls the delegate, and too short for anybody to wait for in vain.
constexpr std::chrono::milliseconds kLongestMeeting{100};

}  // namespace

std::shared_ptr<TQAVAssetLoader> TQAVAssetLoader::initWithVideos(
    Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> withDelegate, TQAVAssetLoaderPorts ports) {
  return std::shared_ptr<TQAVAssetLoader>(
      new TQAVAssetLoader(std::move(videos), std::move(withDelegate), std::move(ports)));
}

TQAVAssetLoader::TQAVAssetLoader(Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> delegate,
                                 TQAVAssetLoaderPorts ports)
    : ports_(std::move(ports)),
      delegate_(std::move(delegate)),
      videos_(std::make_shared<const Videos>(std::move(videos))) {}

void TQAVAssetLoader::startLoad() {
  {
    // The end that the delegate is receiving is none any more: a cancel that meets it has to be reported.
    const MutexLock lock(mutex_);
    if (report_) report_->isEnd = false;
  }
  qx_setupVideoAssetDownloadInformation();
}

void TQAVAssetLoader::cancelLoad() {
  const bool endComesFirst = !cancelBeforeEnd();
  qx_cancelCloudSharedVideoDownload();
  if (const auto request = videoRequestIdentifier()) ports_.photos->cancelImageRequest(request);
  if (endComesFirst) return;
  awaitReport();
  if (const auto receiver = delegate()) receiver->loadingCancelled();
}

// Returns false if the delegate has just begun to receive an end on another thread.
bool TQAVAssetLoader::cancelBeforeEnd() {
  const MutexLock lock(mutex_);
  downloadCancelled_ = true;
  if (!report_ || !report_->isEnd || report_->thread == std::this_thread::get_id()) return true;
  return std::chrono::steady_clock::now() - report_->begin >= kLongestMeeting;
}

void TQAVAssetLoader::awaitReport() {
  const MutexLock lock(mutex_);
  while (report_ && report_->thread != std::this_thread::get_id()) {
    if (!reportReturned_.waitUntil(mutex_, report_->begin + kLongestMeeting)) return;
  }
}

void TQAVAssetLoader::qx_setupVideoAssetDownloadInformation() {
  ports_.setUpQueue->async([self = shared_from_this(), batch = videos_.get()] {
    for (const auto& video : *batch) {
      if (self->downloadCancelled()) return;
      self->ports_.mainQueue->sync([&] { self->recordVideo(video); });
    }
    self->ports_.mainQueue->sync([&] { self->startOrRetry(); });
  });
}

void TQAVAssetLoader::recordVideo(const std::shared_ptr<const PHAsset>& video) {
  if (downloadCancelled() || !video) return;
  if (information_.add(video)) ++numberOfVideosToDownload_;
}

// A failure leaves videos counted as finished that are not loaded: each start counts afresh.
void TQAVAssetLoader::startOrRetry() {
  if (videoInFlight_) {
    restartWanted_ = restartWanted_ || errorReported_;
    return;
  }
  batchIsOpen_ = true;
  errorReported_ = false;
  const auto missing = static_cast<std::int64_t>(information_.countNotLoaded());
  numberOfVideosDownloaded_ = std::max<std::int64_t>(numberOfVideosToDownload_ - missing, 0);
  downloadProgress_ = static_cast<double>(numberOfVideosDownloaded_);
  if (qx_isLoadCompleted()) {
    qx_notifyLoadCompletion();
  } else {
    qx_startLoading();
  }
}

void TQAVAssetLoader::qx_startLoading() {
  if (downloadCancelled() || videoInFlight_) return;
  const auto* const next = information_.firstNotLoaded();
  if (next == nullptr) return;
  const std::string identifier = next->video->localIdentifier();
  qx_notifyStartDownloadIfRequired();
  qx_loadVideoWithIdentifier(identifier);
}

bool TQAVAssetLoader::qx_isLoadCompleted() const {
  return numberOfVideosToDownload_ == numberOfVideosDownloaded_;
}

void TQAVAssetLoader::qx_setMovieLoadedForAsset(std::shared_ptr<AVAsset> asset,
                                                const std::string& identifier) {
  information_.set(identifier, std::move(asset));
}

void TQAVAssetLoader::qx_setMovieNotLoadedForMediaIdentifier(const std::string& identifier) {
  information_.set(identifier, nullptr);
}

bool TQAVAssetLoader::qx_isMovieLoadedForMediaIdentifier(const std::string& identifier) const {
  const auto* const entry = information_.find(identifier);
  return entry == nullptr || entry->asset != nullptr;
}

void TQAVAssetLoader::qx_notifyStartDownloadIfRequired() {
  if (std::exchange(downloadStarted_, true)) return;
  ports_.mainQueue->async([self = shared_from_this()] {
    if (const auto receiver = self->delegate()) receiver->loadingStarted();
  });
}

void TQAVAssetLoader::qx_notifyLoadCompletion() {
  const auto videos = videos_.get();
  TQLoadedAssets assets;
  assets.reserve(videos->size());
  for (const auto& video : *videos) {
    const auto* const entry = video ? information_.find(video->localIdentifier()) : nullptr;
    if (entry != nullptr) assets.push_back(entry->asset);
  }
  batchIsOpen_ = false;
  report(true, [&](TQAVAssetLoadProtocol& receiver) { receiver.loadingCompleted(assets); });
}

// Whether the batch ends with the error shows only here: meanwhile the video may have ended either way.
void TQAVAssetLoader::qx_notifyLoadingErrorIfNeeded(const NSError& error) {
  ports_.mainQueue->async([self = shared_from_this(), error] {
    const bool isEnd = self->batchIsOpen_ && !self->videoInFlight_;
    if (isEnd) self->batchIsOpen_ = false;
    self->errorReported_ = true;
    self->report(isEnd, [&](TQAVAssetLoadProtocol& receiver) { receiver.loadingFailedWithError(error); });
  });
}

void TQAVAssetLoader::qx_loadVideoWithIdentifier(const std::string& identifier) {
  const auto* const entry = information_.find(identifier);
  if (entry == nullptr) return;
  if (!qx_checkDiskSpaceAvailable())
    return qx_notifyLoadingErrorIfNeeded({.domain = "Disk Full", .code = kiCloudDownloadDiskFullError});
  videoInFlight_ = identifier;
  ++loadsBegun_;
  const auto video = entry->video;
  qx_loadCloudLibraryVideo(video);
}

bool TQAVAssetLoader::qx_checkDiskSpaceAvailable() const {
  return TQDiskSpaceHandler::make({.volumes = ports_.volumes})->hasAvailableFreeSpace();
}

void TQAVAssetLoader::qx_loadCloudLibraryVideo(const std::shared_ptr<const PHAsset>& video) {
  libraryErrorReported_ = false;
  auto onProgress = [self = shared_from_this()](double fraction, const std::optional<NSError>& error, bool&,
                                                const PHImageInfo&) {
    const double overall = self->overallFraction(fraction);
    self->ports_.mainQueue->async([self, overall, error] { self->libraryProgress(overall, error); });
  };
  requestAsset(video, {.networkAccessAllowed = true, .progressHandler = std::move(onProgress)},
               &TQAVAssetLoader::libraryAssetArrived);
}

void TQAVAssetLoader::libraryProgress(double overall, const std::optional<NSError>& error) {
  if (downloadCancelled()) return;
  report(false, [&](TQAVAssetLoadProtocol& receiver) { receiver.loadingProgress(overall); });
  if (!error) return;
  libraryErrorReported_ = true;
  qx_notifyLoadingErrorIfNeeded(*error);
}

void TQAVAssetLoader::libraryAssetArrived(const std::shared_ptr<const PHAsset>& video,
                                          const LibraryAsset& asset) {
  if (!asset) {
    ++numberOfVideosDownloaded_;
    if (!libraryErrorReported_) failWithNetworkError();
    return videoFailed();
  }
  qx_setMovieLoadedForAsset(asset, video->localIdentifier());
  videoFinished();
}

// The library's result goes to `arrived` on the main queue, unless the load is cancelled by then.
void TQAVAssetLoader::requestAsset(const std::shared_ptr<const PHAsset>& video, PHVideoRequestOptions options,
                                   Arrival arrived) {
  auto onResult = [self = shared_from_this(), video, arrived](LibraryAsset asset, const PHImageInfo&) {
    self->ports_.mainQueue->async([self, video, arrived, asset = std::move(asset)] {
      if (!self->downloadCancelled()) ((*self).*arrived)(video, asset);
    });
  };
  videoRequestIdentifier_ =
      ports_.photos->requestAVAssetForVideo(video, std::move(options), std::move(onResult));
  // A cancel on another thread that came before the id was stored could not name the request.
  if (downloadCancelled()) ports_.photos->cancelImageRequest(videoRequestIdentifier_);
}

double TQAVAssetLoader::overallFraction(double fraction) const {
  return (downloadProgress_ + fraction) / static_cast<double>(numberOfVideosToDownload_);
}

void TQAVAssetLoader::videoFinished() {
  ++numberOfVideosDownloaded_;
  downloadProgress_ = downloadProgress_ + 1.0;
  videoInFlight_.reset();
  restartWanted_ = false;  // going on is all that it wants
  if (qx_isLoadCompleted()) {
    qx_notifyLoadCompletion();
  } else {
    qx_startLoading();
  }
}

void TQAVAssetLoader::videoFailed() {
  videoInFlight_.reset();
  if (std::exchange(restartWanted_, false)) startOrRetry();
}

void TQAVAssetLoader::failWithNetworkError() {
  qx_notifyLoadingErrorIfNeeded({.domain = kNetworkErrorDomain, .code = kNetworkErrorCode});
}

void TQAVAssetLoader::report(bool isEnd, const Call& call) {
  std::optional<Report> outer{
      {.isEnd = isEnd, .thread = std::this_thread::get_id(), .begin = std::chrono::steady_clock::now()}};
  {
    const MutexLock lock(mutex_);
    if (downloadCancelled_) return;
    std::swap(outer, report_);
  }
  if (const auto receiver = delegate()) call(*receiver);
  {
    const MutexLock lock(mutex_);
    report_ = outer;
  }
  reportReturned_.notifyAll();
}

}  // namespace tq
