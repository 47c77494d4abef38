#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"

#include <utility>

#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"

namespace tq {

std::string kNetworkErrorDomain = "Network Error";
std::int64_t kiCloudDownloadNetworkError = 81;
std::int64_t kiCloudDownloadDiskFullError = 111;

std::shared_ptr<TQAVAssetLoader> TQAVAssetLoader::initWithVideos(
    Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> withDelegate, TQAVAssetLoaderPorts ports) {
  return std::make_shared<TQAVAssetLoader>(std::move(videos), std::move(withDelegate), std::move(ports));
}

TQAVAssetLoader::TQAVAssetLoader(Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> delegate,
                                 TQAVAssetLoaderPorts ports)
    : ports_(std::move(ports)), delegate_(std::move(delegate)), videos_(std::move(videos)) {}

void TQAVAssetLoader::startLoad() {
  qx_setupVideoAssetDownloadInformation();
}

void TQAVAssetLoader::cancelLoad() {
  const State before = state_.exchange(State::cancelled);
  qx_cancelCloudSharedVideoDownload();
  if (const auto request = videoRequestIdentifier()) ports_.photos->cancelImageRequest(request);
  const bool tooLate = before == State::telling && tellingThread_ != std::this_thread::get_id();
  if (tooLate) return;
  if (const auto told = delegate()) told->loadingCancelled();
}

void TQAVAssetLoader::qx_setupVideoAssetDownloadInformation() {
  ports_.setUpQueue->async([self = shared_from_this(), batch = videos_] {
    for (const auto& video : batch) {
      if (self->downloadCancelled()) return;
      self->ports_.mainQueue->sync([&] { self->recordVideo(video); });
    }
    self->ports_.mainQueue->sync([&] {
      if (self->qx_isLoadCompleted()) {
        self->qx_notifyLoadCompletion();
      } else {
        self->qx_startLoading();
      }
    });
  });
}

void TQAVAssetLoader::recordVideo(const std::shared_ptr<const PHAsset>& video) {
  if (downloadCancelled() || !video) return;
  if (information_.add(video)) ++numberOfVideosToDownload_;
}

// A second start finds the first one's video in flight and leaves it alone.
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
    if (const auto told = self->delegate()) told->loadingStarted();
  });
}

void TQAVAssetLoader::qx_notifyLoadCompletion() {
  TQLoadedAssets assets;
  assets.reserve(videos_.size());
  for (const auto& video : videos_) {
    const auto* const entry = video ? information_.find(video->localIdentifier()) : nullptr;
    if (entry != nullptr) assets.push_back(entry->asset);
  }
  tellEnd([&](TQAVAssetLoadProtocol& told) { told.loadingCompleted(assets); });
}

void TQAVAssetLoader::qx_notifyLoadingErrorIfNeeded(const NSError& error) {
  ports_.mainQueue->async([self = shared_from_this(), error] {
    self->tellEnd([&](TQAVAssetLoadProtocol& told) { told.loadingFailedWithError(error); });
  });
}

void TQAVAssetLoader::qx_loadVideoWithIdentifier(const std::string& identifier) {
  const auto* const entry = information_.find(identifier);
  if (entry == nullptr) return;
  if (!qx_checkDiskSpaceAvailable())
    return qx_notifyLoadingErrorIfNeeded({.domain = "Disk Full", .code = kiCloudDownloadDiskFullError});
  videoInFlight_ = true;
  const auto video = entry->video;
  qx_loadCloudLibraryVideo(video);
}

bool TQAVAssetLoader::qx_checkDiskSpaceAvailable() const {
  return TQDiskSpaceHandler::make({.volumes = ports_.volumes})->hasAvailableFreeSpace();
}

void TQAVAssetLoader::qx_loadCloudLibraryVideo(const std::shared_ptr<const PHAsset>& video) {
  libraryErrorTold_ = false;
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
  tellProgress(overall);
  if (!error) return;
  libraryErrorTold_ = true;
  qx_notifyLoadingErrorIfNeeded(*error);
}

void TQAVAssetLoader::libraryAssetArrived(const std::shared_ptr<const PHAsset>& video,
                                          const LibraryAsset& asset) {
  if (!asset) {
    ++numberOfVideosDownloaded_;
    videoInFlight_ = false;
    if (!libraryErrorTold_) failWithNetworkError();
    return;
  }
  qx_setMovieLoadedForAsset(asset, video->localIdentifier());
  videoFinished();
}

// The library's answer goes to `arrived` on the main queue, unless the load is cancelled by then.
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
  videoInFlight_ = false;
  if (qx_isLoadCompleted()) {
    qx_notifyLoadCompletion();
  } else {
    qx_startLoading();
  }
}

void TQAVAssetLoader::failWithNetworkError() {
  qx_notifyLoadingErrorIfNeeded({.domain = kNetworkErrorDomain, .code = kNetworkErrorCode});
}

void TQAVAssetLoader::tellProgress(double overall) {
  if (downloadCancelled()) return;
  if (const auto told = delegate()) told->loadingProgress(overall);
}

// Of an end and a cancel on another thread, whoever changes the state first is told and the other is not.
void TQAVAssetLoader::tellEnd(const std::function<void(TQAVAssetLoadProtocol&)>& tell) {
  tellingThread_ = std::this_thread::get_id();
  State before = State::open;
  if (!state_.compare_exchange_strong(before, State::telling) && before == State::cancelled) return;
  if (const auto told = delegate()) tell(*told);
  if (before != State::open) return;
  State mine = State::telling;
  state_.compare_exchange_strong(mine, State::open);
}

}  // namespace tq
