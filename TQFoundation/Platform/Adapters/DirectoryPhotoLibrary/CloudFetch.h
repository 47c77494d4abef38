#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudCache.h"
#include "TQFoundation/Platform/Ports/NSURLSession.h"

namespace tq::internal {

/// Fetches one original into the cache.
class CloudFetch final : public NSURLSessionDownloadDelegate {
 public:
  struct Callbacks {
    std::function<void(double fraction)> progress;  ///< 0 to 1; not called while the length is unknown.
    std::function<void(VideoProbe outcome)> ended;  ///< The last call, once.
  };

  /// Starts the fetch. The callbacks run on the session's queue. To cancel it, set `cancelled`, which has to
  /// outlive the fetch, then cancel the task.
  [[nodiscard]] static std::shared_ptr<NSURLSessionDownloadTask> start(const NSURLSessionMaker& makeSession,
                                                                       CloudOriginal original,
                                                                       const std::atomic<bool>& cancelled,
                                                                       Callbacks callbacks);

  void didWriteData(NSURLSessionDownloadTask& task, std::int64_t bytesWritten, std::int64_t totalBytesWritten,
                    std::int64_t totalBytesExpectedToWrite) override;
  void didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) override;
  void didCompleteWithError(NSURLSessionDownloadTask& task, const std::optional<NSError>& error) override;

 private:
  CloudFetch(CloudOriginal original, const std::atomic<bool>& cancelled, Callbacks callbacks);
  [[nodiscard]] VideoProbe failure(std::int64_t code, const std::string& reason) const;

  const CloudOriginal original_;
  const std::atomic<bool>& cancelled_;
  Callbacks callbacks_;
  VideoProbe outcome_;
};

}  // namespace tq::internal
