// The second path of the asset loader: videos of shared albums, fetched as files into a cache folder.

#include <string_view>
#include <utility>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq {

namespace {

constexpr std::string_view kCacheFolder = "iCloudVideos";
constexpr std::size_t kLongestFileName = 255;  // NAME_MAX of the file systems in use

std::string_view cacheName(const URL& url) {
  std::string_view name = url.absoluteString();
  name.remove_prefix(name.rfind('/') + 1);  // npos + 1 is 0
  return name.substr(0, name.find('?'));
}

bool canNameAFile(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.size() <= kLongestFileName;
}

}  // namespace

std::filesystem::path TQAVAssetLoader::locationOfiCloudMovieAtURL(
    const URL& url, const std::filesystem::path& temporaryDirectory) {
  const auto folder = temporaryDirectory / kCacheFolder;
  const std::string_view name = cacheName(url);
  return name.empty() ? folder : folder / name;
}

void TQAVAssetLoader::qx_loadiCloudSharedVideo(const std::shared_ptr<const PHAsset>& video) {
  requestAsset(video, {.networkAccessAllowed = true, .progressHandler = nullptr},
               &TQAVAssetLoader::sharedAssetArrived);
}

void TQAVAssetLoader::sharedAssetArrived(const std::shared_ptr<const PHAsset>& video,
                                         const LibraryAsset& asset) {
  const auto* const remote = dynamic_cast<const AVURLAsset*>(asset.get());
  if (remote != nullptr) return qx_loadCloudSharedAVURLAsset(*remote, video);
  failWithNetworkError();
  videoFailed();
}

void TQAVAssetLoader::qx_loadCloudSharedAVURLAsset(const AVURLAsset& asset,
                                                   const std::shared_ptr<const PHAsset>&) {
  if (!canNameAFile(cacheName(asset.url()))) {
    failWithNetworkError();
    return videoFailed();
  }
  const auto temporary =
      ports_.temporaryDirectory.empty() ? NSTemporaryDirectory() : ports_.temporaryDirectory;
  const auto path = locationOfiCloudMovieAtURL(asset.url(), temporary);
  sharedFile_ = URL::fileURLWithPath(path);
  if (NSFileManager::isRegularFile(path)) return sharedFileReady();
  // Without the folder the download itself fails, with a reason.
  static_cast<void>(NSFileManager::createDirectory(path.parent_path()));
  qx_downloadVideoAtLocation(asset.url(), *sharedFile_);
}

void TQAVAssetLoader::qx_downloadVideoAtLocation(const URL& remote, const URL& local) {
  const auto downloader =
      TQFileDownloader::make({.makeSession = ports_.makeSession, .mainQueue = ports_.mainQueue});
  fileDownloader_.set(downloader);
  sharedFile_ = local;
  downloader->setDownloadDelegate(weak_from_this());
  downloader->downloadFileAtRemoteLocation(remote, local);
  // A cancel on another thread may have found the downloader before it had anything to cancel.
  if (downloadCancelled()) downloader->cancelFileDownload();
}

void TQAVAssetLoader::qx_cancelCloudSharedVideoDownload() {
  if (const auto downloader = fileDownloader()) downloader->cancelFileDownload();
}

// By the time of the second hop the video may be done, and its fraction part of the next one's base.
void TQAVAssetLoader::fileDownloadingProgress(double fraction) {
  ports_.mainQueue->async([self = shared_from_this(), fraction, load = loadsBegun_] {
    if (!self->videoInFlight_ || self->loadsBegun_ != load) return;
    const double overall = self->overallFraction(fraction);
    self->report(false, [&](TQAVAssetLoadProtocol& receiver) { receiver.loadingProgress(overall); });
  });
}

void TQAVAssetLoader::didFinishFileDownloadingAtURL(const URL&) {
  if (!downloadCancelled()) sharedFileReady();
}

// Only the first error of a download is the end of its video: another one may be in flight by the second.
void TQAVAssetLoader::didFinishFileDownloadingWithError(const std::optional<NSError>& error) {
  if (!error) return;
  qx_notifyLoadingErrorIfNeeded(*error);
  if (std::exchange(sharedFile_, std::nullopt)) videoFailed();
}

void TQAVAssetLoader::sharedFileReady() {
  const auto file = std::exchange(sharedFile_, std::nullopt);
  if (file && videoInFlight_) qx_setMovieLoadedForAsset(std::make_shared<AVURLAsset>(*file), *videoInFlight_);
  videoFinished();
}

}  // namespace tq
