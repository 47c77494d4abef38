#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundation/MediaLoading/TQVideoAssetTable.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Ports/PHImageManager.h"
#include "TQFoundation/Platform/Ports/VolumeInfo.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"

namespace tq {

/// What callers compare the loader's own errors with. The variables are read when an error is made, so a host
/// that changes them changes the errors; change them before the first load.
TQ_API extern std::string kNetworkErrorDomain;            ///< At first "Network Error".
inline constexpr std::int64_t kNetworkErrorCode = -1009;  ///< Code of errors of that domain.
TQ_API extern std::int64_t kiCloudDownloadNetworkError;   ///< At first 81; the loader makes no such error.
TQ_API extern std::int64_t kiCloudDownloadDiskFullError;  ///< At first 111, in the domain "Disk Full".

/// The videos of a batch as assets, in the batch's order; null for one that was never loaded.
using TQLoadedAssets = std::vector<std::shared_ptr<AVAsset>>;

/// Receives the events of a batch. Every call but `loadingCancelled` runs on the main queue.
class TQ_API TQAVAssetLoadProtocol {
 public:
  virtual ~TQAVAssetLoadProtocol() = default;

  /// The first video is about to be loaded. Once per loader; may still come after `loadingCancelled`.
  virtual void loadingStarted() = 0;

  /// How much of the whole batch is done, 0 to 1. While a server does not say how much will come it may be
  /// less.
  virtual void loadingProgress(double fraction) = 0;

  /// Every video is loaded: one asset for each video of the batch, repeated ones included.
  virtual void loadingCompleted(const TQLoadedAssets& assets) = 0;

  /// A video could not be loaded, and the batch ends here: start the loader again to retry. Only an error
  /// that the photo library reports while it goes on with the video does not end the batch. It is told by
  /// itself, so it can even follow the `loadingCompleted` to which the same video has led meanwhile.
  virtual void loadingFailedWithError(const NSError& error) = 0;

  /// The load was cancelled. Runs inside `cancelLoad`, on the thread that called it.
  virtual void loadingCancelled() = 0;
};

/// What an asset loader asks of the world.
struct TQAVAssetLoaderPorts {
  std::shared_ptr<PHImageManager> photos = PHImageManager::defaultManager();
  std::shared_ptr<const VolumeInfo> volumes = VolumeInfo::shared();
  NSURLSessionMaker makeSession = NSURLSession::sessionWithConfiguration;
  std::shared_ptr<DispatchQueue> mainQueue = DispatchQueue::main();
  std::shared_ptr<DispatchQueue> setUpQueue = DispatchQueue::global(DispatchQueue::Priority::high);
  std::filesystem::path temporaryDirectory = {};  ///< Empty: `NSTemporaryDirectory()` at each use.
};

/// Turns a batch of the photo library's videos into playable assets, one after the other, fetching those that
/// are only in the cloud.
///
///     auto loader = TQAVAssetLoader::initWithVideos(picked, screen);
///     loader->startLoad();
///     ...
///     loader->cancelLoad();          // from any thread, at any time
///
/// Before each video more than `kMinDiskspace` bytes must be free, else the batch ends with the error "Disk
/// Full". A video that occurs twice is loaded once and handed back twice. Videos are loaded in the order of
/// their first appearance.
///
/// A loader is for one batch. To retry after a failure, call `startLoad` again, also from inside
/// `loadingFailedWithError`: what is loaded stays loaded, the rest is tried again. A start while a video is
/// in flight changes nothing, unless an error has been reported since the last start: then it takes effect
/// when that video has ended. A start after the completion reports the assets again.
///
/// Errors: "Disk Full" (`kiCloudDownloadDiskFullError`); `kNetworkErrorDomain` (`kNetworkErrorCode`) for a
/// video of which the library gives no asset and no reason; those of the photo library and of
/// `TQFileDownloader` unchanged.
///
/// After `loadingCancelled` nothing more is reported but a `loadingStarted` under way. Of an end of the batch
/// and a cancel on another thread that meet, exactly one is reported: `cancelLoad` returns without a call if
/// the delegate began to receive the end less than 100 ms ago and has not returned. Any other report that the
/// delegate is receiving on another thread may delay `cancelLoad`, by 100 ms at most. The photo library may
/// go on for a moment after a cancel; its results are dropped.
///
/// Hold the loader until its end. Steps under way on a queue or in the photo library keep it alive, but the
/// download of a shared video does not: it goes on into the cache, and nothing more is reported. The
/// callbacks may release the loader.
///
/// `startLoad`, `cancelLoad`, `videos`, `setVideos`, `delegate`, `setDelegate`, `downloadCancelled`,
/// `fileDownloader`, `videoRequestIdentifier`: thread-safe. All else: main queue only. No lock is held while
/// a callback runs.
class TQ_API TQAVAssetLoader : public TQFileDownloaderDelegate,
                               public std::enable_shared_from_this<TQAVAssetLoader> {
 public:
  using Videos = std::vector<std::shared_ptr<const PHAsset>>;

  /// A loader for `videos`, none of them null. Nothing starts. The delegate is held weakly.
  [[nodiscard]] static std::shared_ptr<TQAVAssetLoader> initWithVideos(
      Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> withDelegate, TQAVAssetLoaderPorts ports = {});

  /// A temporary would be gone at once: the delegate is held weakly.
  template <class T>
  static std::shared_ptr<TQAVAssetLoader> initWithVideos(Videos videos, std::shared_ptr<T>&& temporary,
                                                         TQAVAssetLoaderPorts ports = {}) = delete;

  TQAVAssetLoader(const TQAVAssetLoader&) = delete;
  TQAVAssetLoader& operator=(const TQAVAssetLoader&) = delete;

  /// Starts the batch, or tries again what is not loaded yet, and returns at once.
  void startLoad();

  /// Cancels the load for good, in whatever state it is, and reports that to the delegate before it returns.
  void cancelLoad();

  /// Where the shared video at `url` is kept: in "iCloudVideos" of the temporary directory, under the text
  /// between the last "/" of the whole URL, its query included, and the first "?" after it.
  [[nodiscard]] static std::filesystem::path locationOfiCloudMovieAtURL(
      const URL& url, const std::filesystem::path& temporaryDirectory = NSTemporaryDirectory());

  [[nodiscard]] bool downloadCancelled() const { return downloadCancelled_; }
  [[nodiscard]] bool downloadStarted() const { return downloadStarted_; }

  /// The latest request to the photo library, also after its end; 0 before the first.
  [[nodiscard]] PHImageRequestID videoRequestIdentifier() const { return videoRequestIdentifier_; }

  /// The batch. What is set while a batch loads counts for its result and for the next start, not for the
  /// videos it loads.
  [[nodiscard]] Videos videos() const { return *videos_.get(); }
  void setVideos(Videos videos) { videos_.set(std::make_shared<const Videos>(std::move(videos))); }

  [[nodiscard]] const TQVideoAssetTable& videoAssetDownloadInformation() const { return information_; }

  [[nodiscard]] std::shared_ptr<TQAVAssetLoadProtocol> delegate() const { return delegate_.get(); }
  void setDelegate(std::weak_ptr<TQAVAssetLoadProtocol> delegate) { delegate_.set(std::move(delegate)); }
  template <class T>
  void setDelegate(std::shared_ptr<T>&& temporary) = delete;

  [[nodiscard]] std::int64_t numberOfVideosToDownload() const { return numberOfVideosToDownload_; }
  [[nodiscard]] std::int64_t numberOfVideosDownloaded() const { return numberOfVideosDownloaded_; }

  /// The videos finished so far, as a number.
  [[nodiscard]] double downloadProgress() const { return downloadProgress_; }

  /// Of the shared video fetched last; null before the first.
  [[nodiscard]] std::shared_ptr<TQFileDownloader> fileDownloader() const { return fileDownloader_.get(); }

  /// From the file downloader.
  void fileDownloadingProgress(double fraction) override;
  void didFinishFileDownloadingAtURL(const URL& localLocation) override;
  void didFinishFileDownloadingWithError(const std::optional<NSError>& error) override;

 protected:
  /// For derived classes. A loader has to be owned by a `std::shared_ptr`, so theirs is made with
  /// `std::make_shared`.
  TQAVAssetLoader(Videos videos, std::weak_ptr<TQAVAssetLoadProtocol> delegate, TQAVAssetLoaderPorts ports);

  /// The steps of a batch, for derived classes. Main queue only.
  void qx_setupVideoAssetDownloadInformation();
  void qx_startLoading();
  [[nodiscard]] bool qx_isLoadCompleted() const;
  void qx_setMovieLoadedForAsset(std::shared_ptr<AVAsset> asset, const std::string& identifier);
  void qx_setMovieNotLoadedForMediaIdentifier(const std::string& identifier);

  /// False only for a video that is still to be loaded; an identifier without an entry counts as loaded.
  [[nodiscard]] bool qx_isMovieLoadedForMediaIdentifier(const std::string& identifier) const;
  void qx_notifyStartDownloadIfRequired();
  void qx_notifyLoadCompletion();
  void qx_notifyLoadingErrorIfNeeded(const NSError& error);
  void qx_loadVideoWithIdentifier(const std::string& identifier);
  [[nodiscard]] bool qx_checkDiskSpaceAvailable() const;

  /// How one video is loaded once there is room for it. Every video of a batch comes by here: a derived class
  /// sends those that live in a shared album on to `qx_loadiCloudSharedVideo`.
  virtual void qx_loadCloudLibraryVideo(const std::shared_ptr<const PHAsset>& video);

  /// Loads a shared video: asks the photo library for its remote file, which is fetched into the cache folder
  /// unless it lies there already. The asset of the batch is then that file.
  void qx_loadiCloudSharedVideo(const std::shared_ptr<const PHAsset>& video);
  void qx_loadCloudSharedAVURLAsset(const AVURLAsset& asset, const std::shared_ptr<const PHAsset>& forVideo);
  void qx_downloadVideoAtLocation(const URL& remote, const URL& local);
  void qx_cancelCloudSharedVideoDownload();

 private:
  using LibraryAsset = std::shared_ptr<AVAsset>;
  using Arrival = void (TQAVAssetLoader::*)(const std::shared_ptr<const PHAsset>&, const LibraryAsset&);
  using Call = std::function<void(TQAVAssetLoadProtocol&)>;

  // A call of the delegate on the main queue that has begun.
  struct Report {
    bool isEnd;
    std::thread::id thread;
    std::chrono::steady_clock::time_point begin;
  };

  void recordVideo(const std::shared_ptr<const PHAsset>& video);
  void startOrRetry();
  void requestAsset(const std::shared_ptr<const PHAsset>& video, PHVideoRequestOptions options,
                    Arrival arrived);
  void libraryProgress(double overall, const std::optional<NSError>& error);
  void libraryAssetArrived(const std::shared_ptr<const PHAsset>& video, const LibraryAsset& asset);
  void sharedAssetArrived(const std::shared_ptr<const PHAsset>& video, const LibraryAsset& asset);
  void sharedFileReady();
  void videoFinished();
  void videoFailed();
  void failWithNetworkError();
  void report(bool isEnd, const Call& call) TQ_EXCLUDES(mutex_);
  [[nodiscard]] bool cancelBeforeEnd() TQ_EXCLUDES(mutex_);
  void awaitReport() TQ_EXCLUDES(mutex_);
  [[nodiscard]] double overallFraction(double fraction) const;

  const TQAVAssetLoaderPorts ports_;
  WeakDelegate<TQAVAssetLoadProtocol> delegate_;
  Guarded<std::shared_ptr<const Videos>> videos_;
  std::atomic<PHImageRequestID> videoRequestIdentifier_ = 0;
  Guarded<std::shared_ptr<TQFileDownloader>> fileDownloader_;

  // Invariant: a report begins only while `downloadCancelled_` is false, and stands in `report_` from that
  // test until the delegate has returned; both are written under `mutex_`. So a cancel on another thread
  // knows whether a report can still reach the delegate: it leaves the word to an end, and waits for anything
  // else. It does either for at most 100 ms, because the delegate may take its time, or wait for the
  // cancelling thread. A delegate that runs the main queue nests reports: the inner one puts the outer one
  // back.
  Mutex mutex_;
  ConditionVariable reportReturned_;
  std::optional<Report> report_ TQ_GUARDED_BY(mutex_);
  std::atomic<bool> downloadCancelled_ = false;  // read without the lock by steps that merely save work

  // Written on the main queue, read on the photo library's queues too.
  std::atomic<std::int64_t> numberOfVideosToDownload_ = 0;
  std::atomic<double> downloadProgress_ = 0;

  // Main queue only. Invariant: at most one video is in flight, and `restartWanted_` only while one is.
  TQVideoAssetTable information_;
  std::int64_t numberOfVideosDownloaded_ = 0;
  bool downloadStarted_ = false;
  bool batchIsOpen_ = false;                  // a start has taken effect, and no end has been reported since
  bool errorReported_ = false;                // since then
  bool restartWanted_ = false;                // a start waits for the end of the video in flight
  std::optional<std::string> videoInFlight_;  // its identifier
  std::int64_t loadsBegun_ = 0;        // loads of single videos; late progress belongs to an earlier one
  bool libraryErrorReported_ = false;  // by the request in flight
  std::optional<URL> sharedFile_;      // what the download in flight leads to
};

}  // namespace tq
