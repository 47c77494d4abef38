#include "TQFoundation/MediaLoading/TQFileDownloader.h"

#include <utility>

#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq {

namespace {

std::optional<NSError> moveIntoPlace(const URL& from, const URL& to) {
  const auto source = from.filePath();
  const auto target = to.filePath();
  if (source && target) return NSFileManager::moveItem(*source, *target);
  return makeError(
      NSCocoaErrorDomain, NSFileWriteUnsupportedSchemeError,
      "cannot move the file to " + withoutSecrets(to.absoluteString()) + ": that is no file URL");
}

}  // namespace

std::shared_ptr<TQFileDownloader> TQFileDownloader::make(TQFileDownloaderPorts ports) {
  return std::shared_ptr<TQFileDownloader>(new TQFileDownloader(std::move(ports)));
}

void TQFileDownloader::downloadFileAtRemoteLocation(const URL& remote, const URL& local) {
  localLocation_.set(local);
  auto configuration = NSURLSessionConfiguration::defaultSessionConfiguration();
  if (const auto path = local.filePath()) configuration.destinationFolder = path->parent_path();
  const auto session = ports_.makeSession(configuration, weak_from_this());
  downloadSession_.set(session);
  const auto task = session->downloadTaskWithRequest({.url = remote});
  downloadTask_.set(task);
  task->resume();
}

void TQFileDownloader::cancelFileDownload() {
  if (const auto task = downloadTask_.get()) task->cancel();
}

void TQFileDownloader::didWriteData(NSURLSessionDownloadTask&, std::int64_t, std::int64_t totalBytesWritten,
                                    std::int64_t totalBytesExpectedToWrite) {
  const double fraction =
      static_cast<double>(totalBytesWritten) / static_cast<double>(totalBytesExpectedToWrite);
  ports_.mainQueue->async([self = shared_from_this(), fraction] {
    if (const auto delegate = self->downloadDelegate()) delegate->fileDownloadingProgress(fraction);
  });
}

// The session's file is gone when this returns, so the move cannot wait for the main queue.
void TQFileDownloader::didFinishDownloadingToURL(NSURLSessionDownloadTask&, const URL& location) {
  auto error = moveIntoPlace(location, localLocation().value_or(location));
  ports_.mainQueue->async([self = shared_from_this(), error = std::move(error)] {
    const auto delegate = self->downloadDelegate();
    if (!delegate) return;
    if (error) {
      delegate->didFinishFileDownloadingWithError(error);
    } else if (const auto local = self->localLocation()) {
      delegate->didFinishFileDownloadingAtURL(*local);
    }
  });
}

void TQFileDownloader::didCompleteWithError(NSURLSessionDownloadTask&, const std::optional<NSError>& error) {
  ports_.mainQueue->async([self = shared_from_this(), error] {
    if (const auto delegate = self->downloadDelegate()) delegate->didFinishFileDownloadingWithError(error);
  });
}

}  // namespace tq
