#include <utility>

#include "TQFoundation/Platform/Adapters/Curl/CurlEngine.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Files/Flush.h"
#include "TQFoundation/Platform/Queues/LibraryQueue.h"

namespace tq {
namespace {

using internal::CurlClient;
using internal::CurlEngine;
using internal::FinishedFile;
using internal::flushToDisk;

class CurlDownloadTask final : public NSURLSessionDownloadTask,
                               public CurlClient,
                               public std::enable_shared_from_this<CurlDownloadTask> {
 public:
  CurlDownloadTask(NSURLRequest request, NSURLSessionConfiguration configuration,
                   std::shared_ptr<DispatchQueue> queue, std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
      : request_(std::move(request)),
        configuration_(std::move(configuration)),
        queue_(std::move(queue)),
        weakDelegate_(std::move(delegate)) {}

  // Both are handed over to the engine with the lock held, so that no cancel overtakes the start it is meant
  // for.
  void resume() override {
    const MutexLock lock(mutex_);
    if (begin()) CurlEngine::shared().start(shared_from_this(), request_, configuration_);
  }

  void cancel() override {
    const MutexLock lock(mutex_);
    if (!begin()) return CurlEngine::shared().cancel(shared_from_this());
    ended(makeError(NSURLErrorDomain, NSURLErrorCancelled,
                    "cannot fetch " + withoutSecrets(request_.url.absoluteString()) + ": cancelled"),
          {});
  }

  [[nodiscard]] std::optional<NSHTTPURLResponse> response() const override { return response_.get(); }

  void responded(NSHTTPURLResponse response) override { response_.set(response); }

  void received(std::int64_t bytes, std::int64_t total, std::int64_t expected) override {
    queue_->async([self = shared_from_this(), bytes, total, expected] {
      if (self->delegate_) self->delegate_->didWriteData(*self, bytes, total, expected);
    });
  }

  void ended(const std::optional<NSError>& error, FinishedFile file) override {
    if (!file.path.empty() && !file.partial) CurlEngine::shared().addFile(file.path);
    queue_->async(
        [self = shared_from_this(), error, file = std::move(file)] { self->deliverEnd(error, file); });
  }

 private:
  // Returns true for the first start or cancel; the delegate is held from then to the end.
  bool begin() TQ_REQUIRES(mutex_) {
    if (std::exchange(begun_, true)) return false;
    delegate_ = weakDelegate_.lock();
    return true;
  }

  void deliverEnd(std::optional<NSError> error, const FinishedFile& file) {
    const auto delegate = std::move(delegate_);
    if (!file.path.empty() && delegate) error = deliverFile(file.path, *delegate);
    if (file.partial) {
      file.partial->discard();
    } else if (!file.path.empty()) {
      CurlEngine::shared().removeFile(file.path);
    }
    if (delegate) delegate->didCompleteWithError(*this, error);
  }

  // The bytes are on the disk before the file gets its name, and the name before the transfer ends.
  std::optional<NSError> deliverFile(const std::filesystem::path& file,
                                     NSURLSessionDownloadDelegate& delegate) {
    if (configuration_.durable)
      if (const int error = flushToDisk(file)) return fileWriteError(error, file, "cannot write to");
    delegate.didFinishDownloadingToURL(*this, URL::fileURLWithPath(file));
    if (configuration_.durable && !configuration_.destinationFolder.empty())
      static_cast<void>(flushToDisk(configuration_.destinationFolder));
    return std::nullopt;
  }

  const NSURLRequest request_;
  const NSURLSessionConfiguration configuration_;
  const std::shared_ptr<DispatchQueue> queue_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> weakDelegate_;

  // Invariant: of all starts and cancels exactly one sets `begun_`, and with it `delegate_`, before anything
  // is put on `queue_`; from then on only tasks of that queue touch `delegate_`.
  Mutex mutex_;
  bool begun_ TQ_GUARDED_BY(mutex_) = false;
  std::shared_ptr<NSURLSessionDownloadDelegate> delegate_;
  Guarded<std::optional<NSHTTPURLResponse>> response_;
};

class CurlURLSession final : public NSURLSession {
 public:
  CurlURLSession(const NSURLSessionConfiguration& configuration,
                 std::weak_ptr<NSURLSessionDownloadDelegate> delegate)
      : configuration_(configuration), delegate_(std::move(delegate)) {}

  [[nodiscard]] std::shared_ptr<NSURLSessionDownloadTask> downloadTaskWithRequest(
      NSURLRequest request) override {
    return std::make_shared<CurlDownloadTask>(std::move(request), configuration_, queue_, delegate_);
  }

 private:
  const NSURLSessionConfiguration configuration_;
  const std::weak_ptr<NSURLSessionDownloadDelegate> delegate_;
  const std::shared_ptr<DispatchQueue> queue_ = internal::makeLibraryQueue();
};

}  // namespace

std::shared_ptr<NSURLSession> NSURLSession::sessionWithConfiguration(
    const NSURLSessionConfiguration& configuration, std::weak_ptr<NSURLSessionDownloadDelegate> delegate) {
  return std::make_shared<CurlURLSession>(configuration, std::move(delegate));
}

}  // namespace tq
