#pragma once

#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"

namespace tq {

/// Receives what becomes of a download. Every call comes on the main queue.
class TQ_API TQFileDownloaderDelegate {
 public:
  virtual ~TQFileDownloaderDelegate() = default;

  /// The fraction received. While the server has not said how much will come it is negative, and not a finite
  /// number when it announced an empty body.
  virtual void fileDownloadingProgress(double fraction) = 0;

  /// The whole file lies at `localLocation`.
  virtual void didFinishFileDownloadingAtURL(const URL& localLocation) = 0;

  /// The file could not be moved into place, or the transfer has ended: with the error that ended it, or
  /// without one after a success. A call without an error says nothing new.
  virtual void didFinishFileDownloadingWithError(const std::optional<NSError>& error) = 0;
};

/// What a file downloader asks of the world.
struct TQFileDownloaderPorts {
  NSURLSessionMaker makeSession = NSURLSession::sessionWithConfiguration;
  std::shared_ptr<DispatchQueue> mainQueue = DispatchQueue::main();
};

/// Downloads one file over http or https to where the caller wants it.
///
///     auto downloader = TQFileDownloader::make();
///     downloader->setDownloadDelegate(screen);
///     downloader->downloadFileAtRemoteLocation(*URL::parse("https://example.com/clip.mov"),
///                                              URL::fileURLWithPath("/data/clip.mov"));
///
/// A success reports progress, `didFinishFileDownloadingAtURL`, then `didFinishFileDownloadingWithError`
/// without an error; a failure reports progress, then the error. When the file cannot be moved into place
/// (one is there already, the folder is missing) the move's error comes first and the end of the transfer,
/// without one, after it. The caller makes the folder; what is there already is never touched. The status is
/// not examined: the body of a 404 is a file like any other. The errors are those of `NSURLSession` and
/// `NSFileManager::moveItem`.
///
/// One download at a time. A second one started meanwhile replaces the fields while the first goes on, so
/// both share one destination, the second's: the file that is whole first is moved there, which reports its
/// completion, and the move of the other one fails. A failure can therefore follow a completion; start the
/// next download after the end of this one, or on a downloader of its own. A download in flight keeps its
/// downloader alive.
///
/// Thread-safe. The callbacks run on the main queue, never inside the call that started the work; they may
/// release the downloader.
class TQ_API TQFileDownloader : public NSURLSessionDownloadDelegate,
                                public std::enable_shared_from_this<TQFileDownloader> {
 public:
  [[nodiscard]] static std::shared_ptr<TQFileDownloader> make(TQFileDownloaderPorts ports = {});

  /// Starts downloading `remote` to the file URL `local`.
  void downloadFileAtRemoteLocation(const URL& remote, const URL& local);

  /// Cancels the latest download: its delegate receives `NSURLErrorCancelled`. Without one: nothing.
  void cancelFileDownload();

  [[nodiscard]] std::shared_ptr<TQFileDownloaderDelegate> downloadDelegate() const { return delegate_.get(); }
  void setDownloadDelegate(std::weak_ptr<TQFileDownloaderDelegate> delegate) {
    delegate_.set(std::move(delegate));
  }

  /// A temporary would be gone at once, and never be called: it does not compile.
  template <class T>
  void setDownloadDelegate(std::shared_ptr<T>&& temporary) = delete;

  /// Of the latest download, also after its end; absent or null before the first.
  [[nodiscard]] std::optional<URL> localLocation() const { return localLocation_.get(); }
  [[nodiscard]] std::shared_ptr<NSURLSessionDownloadTask> downloadTask() const { return downloadTask_.get(); }
  [[nodiscard]] std::shared_ptr<NSURLSession> downloadSession() const { return downloadSession_.get(); }

  /// From the session, on its queue.
  void didWriteData(NSURLSessionDownloadTask& task, std::int64_t bytesWritten, std::int64_t totalBytesWritten,
                    std::int64_t totalBytesExpectedToWrite) override;
  void didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) override;
  void didCompleteWithError(NSURLSessionDownloadTask& task, const std::optional<NSError>& error) override;

 private:
  explicit TQFileDownloader(TQFileDownloaderPorts ports) : ports_(std::move(ports)) {}

  const TQFileDownloaderPorts ports_;
  WeakDelegate<TQFileDownloaderDelegate> delegate_;
  Guarded<std::optional<URL>> localLocation_;
  Guarded<std::shared_ptr<NSURLSessionDownloadTask>> downloadTask_;
  Guarded<std::shared_ptr<NSURLSession>> downloadSession_;
};

}  // namespace tq
