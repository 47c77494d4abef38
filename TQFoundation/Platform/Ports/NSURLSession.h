#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq {

/// What a server said before the body.
struct NSHTTPURLResponse {
  int statusCode = 0;
};

/// What to fetch. The method is GET.
struct NSURLRequest {
  URL url;
};

/// How a session transfers. The defaults are those of every session that says nothing else.
struct NSURLSessionConfiguration {
  [[nodiscard]] static NSURLSessionConfiguration defaultSessionConfiguration() { return {}; }

  /// How long a transfer may go without a byte before it ends with `NSURLErrorTimedOut`. The time a transfer
  /// waits for others to end does not count.
  std::chrono::milliseconds timeoutIntervalForRequest = std::chrono::seconds(60);

  /// The folder the finished file will be moved to, when known. The temporary file then lies on the same
  /// volume, so that the move is a rename; a folder that cannot take it is passed over in silence, unless the
  /// next field is set.
  std::filesystem::path destinationFolder = {};

  /// Whether a transfer makes sure that `destinationFolder` takes a new file before it sends its request. If
  /// not (no such folder, a read-only volume, no inode left), it ends at once with an error of
  /// `NSCocoaErrorDomain`.
  bool checksDestinationFolder = false;

  /// The bytes that stay free on the volume of the temporary file: a transfer that would leave less ends with
  /// `NSFileWriteOutOfSpaceError`, before its first byte when the server announces the length. 0: no limit
  /// but the volume's own.
  std::uint64_t minimumFreeBytes = 0;
};

/// One transfer of a URL into a temporary file.
///
/// Thread-safe.
class TQ_API NSURLSessionDownloadTask {
 public:
  virtual ~NSURLSessionDownloadTask() = default;

  /// Starts the transfer. Again: nothing.
  virtual void resume() = 0;

  /// Ends the transfer: its delegate hears `NSURLErrorCancelled` within 100 ms and nothing after it, and the
  /// temporary file is gone by then. A transfer that has ended, or whose end is on its way, is left alone;
  /// one that was never resumed ends without a start.
  virtual void cancel() = 0;

  /// What the server said, once it has; of redirects the last. Absent before, and when it never did.
  [[nodiscard]] virtual std::optional<NSHTTPURLResponse> response() const = 0;
};

/// Hears of the transfers of a session.
///
/// Every call comes on the session's own serial queue, in the order things happened. Each task that was
/// resumed or cancelled ends in exactly one `didCompleteWithError`, and nothing follows it.
class TQ_API NSURLSessionDownloadDelegate {
 public:
  virtual ~NSURLSessionDownloadDelegate() = default;

  /// `bytesWritten` more bytes arrived, `totalBytesWritten` in all, of `totalBytesExpectedToWrite`, which is
  /// -1 when the server did not say. The first bytes and the last are always told, those between at most 20
  /// times a second.
  virtual void didWriteData(NSURLSessionDownloadTask& task, std::int64_t bytesWritten,
                            std::int64_t totalBytesWritten, std::int64_t totalBytesExpectedToWrite) = 0;

  /// The whole body lies in the file `location`, which is removed when this call returns: move it away.
  /// The status is not looked at: the body of a 404 finishes too.
  virtual void didFinishDownloadingToURL(NSURLSessionDownloadTask& task, const URL& location) = 0;

  /// The task has ended: with the error that ended it, or without one after `didFinishDownloadingToURL`.
  virtual void didCompleteWithError(NSURLSessionDownloadTask& task, const std::optional<NSError>& error) = 0;
};

/// Transfers over http and https.
///
///     auto session = NSURLSession::sessionWithConfiguration({}, delegate);
///     auto task = session->downloadTaskWithRequest({*URL::parse("https://example.com/clip.mov")});
///     task->resume();
///
/// The contract every session keeps:
/// - Only http and https are spoken, after a redirect too; at most 20 redirects are followed; certificates
/// are
///   verified. Anything else ends the task with an error of `NSURLErrorDomain`.
/// - A body shorter than the server announced is an error and leaves no file; so does a full disk, with an
///   error of `NSCocoaErrorDomain`.
/// - Errors carry a sentence for people.
///
/// Thread-safe. No lock is held while a callback runs; it may call back in, and may release the
/// session and its tasks.
class TQ_API NSURLSession {
 public:
  virtual ~NSURLSession() = default;

  /// A task for `request`, not yet started. A started task holds itself and the session's delegate until it
  /// has ended; one that nobody holds and nobody started is forgotten.
  [[nodiscard]] virtual std::shared_ptr<NSURLSessionDownloadTask> downloadTaskWithRequest(
      NSURLRequest request) = 0;

  /// A session that tells `delegate`, which it does not keep alive itself, on a serial queue of its own.
  [[nodiscard]] static std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration, std::weak_ptr<NSURLSessionDownloadDelegate> delegate);
};

/// How an object of the library makes its sessions: `NSURLSession::sessionWithConfiguration`, or a host's
/// own.
using NSURLSessionMaker = std::function<std::shared_ptr<NSURLSession>(
    const NSURLSessionConfiguration&, std::weak_ptr<NSURLSessionDownloadDelegate>)>;

}  // namespace tq
