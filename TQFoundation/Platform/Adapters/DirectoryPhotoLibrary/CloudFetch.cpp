#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudFetch.h"

#include <algorithm>
#include <utility>

namespace tq::internal {
namespace {

constexpr int kPartialContent = 206;

int statusOf(const NSURLSessionDownloadTask& task) {
  const auto response = task.response();
  return response ? response->statusCode : 0;
}

// Whether the file is the original. A part is, when the session has asked for it and put it to what it had.
bool isWhole(const NSURLSessionDownloadTask& task) {
  const auto response = task.response();
  const int status = statusOf(task);
  return status / 100 == 2 && (status != kPartialContent || response->continuedFrom > 0);
}

}  // namespace

std::shared_ptr<NSURLSessionDownloadTask> CloudFetch::start(const NSURLSessionMaker& makeSession,
                                                            CloudOriginal original,
                                                            const std::atomic<bool>& cancelled,
                                                            Callbacks callbacks) {
  auto configuration = NSURLSessionConfiguration::defaultSessionConfiguration();
  configuration.destinationFolder = original.file.parent_path();
  configuration.durable = true;
  configuration.partials = {.folder = original.partialFiles, .key = original.file.filename().string()};
  const NSURLRequest request{.url = original.url};
  const std::shared_ptr<CloudFetch> fetch(
      new CloudFetch(std::move(original), cancelled, std::move(callbacks)));
  // From here on the started task keeps the fetch alive.
  auto task = makeSession(configuration, fetch)->downloadTaskWithRequest(request);
  task->resume();
  return task;
}

CloudFetch::CloudFetch(CloudOriginal original, const std::atomic<bool>& cancelled, Callbacks callbacks)
    : original_(std::move(original)),
      cancelled_(cancelled),
      callbacks_(std::move(callbacks)),
      outcome_(failure(NSURLErrorUnknown, "no file came of it")) {}

// The body of a refusal is no part of the video.
void CloudFetch::didWriteData(NSURLSessionDownloadTask& task, std::int64_t, std::int64_t totalBytesWritten,
                              std::int64_t totalBytesExpectedToWrite) {
  if (totalBytesExpectedToWrite <= 0 || !isWhole(task)) return;
  const double fraction =
      static_cast<double>(totalBytesWritten) / static_cast<double>(totalBytesExpectedToWrite);
  callbacks_.progress(std::clamp(fraction, 0.0, 1.0));
}

// The session's file is gone when this returns: it is looked into and moved here.
void CloudFetch::didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) {
  if (!isWhole(task)) {
    outcome_ = failure(NSURLErrorBadServerResponse, "the server answered " + std::to_string(statusOf(task)));
  } else if (const auto file = location.filePath()) {
    outcome_ = CloudCache::keep(*file, original_, cancelled_);
  }
}

void CloudFetch::didCompleteWithError(NSURLSessionDownloadTask&, const std::optional<NSError>& error) {
  if (error) outcome_ = {.details = std::nullopt, .error = error};
  if (const auto ended = std::exchange(callbacks_, {}).ended) ended(std::move(outcome_));
}

VideoProbe CloudFetch::failure(std::int64_t code, const std::string& reason) const {
  NSError error = makeError(NSURLErrorDomain, code, "cannot fetch " + original_.name + ": " + reason);
  error.userInfo.emplace(NSURLErrorFailingURLStringErrorKey, original_.url.absoluteString());
  return {.details = std::nullopt, .error = std::move(error)};
}

}  // namespace tq::internal
