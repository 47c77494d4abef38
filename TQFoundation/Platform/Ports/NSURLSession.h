#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/NSError.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq {

/// What a server sent before the body.
struct NSHTTPURLResponse {
  int statusCode = 0;

  /// The bytes that were there already, from an earlier transfer, when the server sent the rest (status 206).
  std::int64_t continuedFrom = 0;

  /// How long the server asks to wait before the next request; absent: it does not say.
  std::optional<std::chrono::seconds> retryAfter = {};
};

/// What to fetch. The method is GET.
struct NSURLRequest {
  URL url;
};

/// How a session transfers. The defaults serve every session that sets nothing else.
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

  /// Whether the file is made to last. The space for a body of known length is taken before its first byte,
  /// so that a full volume ends the transfer at once (`NSFileWriteOutOfSpaceError`); where space cannot be
  /// taken ahead, as it gets full. The bytes are on the disk when `didFinishDownloadingToURL` is called, and
  /// what that has moved to `destinationFolder` is there for good when the transfer ends: after a power cut
  /// the file is whole or absent.
  bool durable = false;

  /// Where transfers keep what they have got when they fail, for the next transfer to continue with.
  struct Partials {
    /// Made when it is needed (mode 0700). Best on the volume of `destinationFolder`.
    std::filesystem::path folder;

    /// What is fetched, where that is more lasting than the URL. Empty: the URL.
    std::string key = {};

    /// What nobody has continued for so long is removed by a later run of the program.
    std::chrono::hours keptFor = std::chrono::hours(7 * 24);
  };

  /// Absent: nothing is kept. Otherwise a transfer that fails, or whose program ends, leaves its bytes in a
  /// partial file, provided that the server names the version of what it sends; the next one asks for the
  /// rest, and takes it only when it is the rest of that version. A cancel discards the bytes, so does a
  /// status of 404 or 410. One transfer at a time has a partial file; others of the same key go on without.
  /// Progress counts the bytes kept from the server's first response on. A part that was not asked for is an
  /// error, `NSURLErrorBadServerResponse`.
  std::optional<Partials> partials = {};
};

/// One transfer of a URL into a temporary file.
///
/// Thread-safe.
class TQ_API NSURLSessionDownloadTask {
 public:
  virtual ~NSURLSessionDownloadTask() = default;

  /// Starts the transfer. A second call does nothing.
  virtual void resume() = 0;

  /// Ends the transfer: its delegate receives `NSURLErrorCancelled` within 100 ms and nothing after it, and
  /// the temporary file is gone by then. A transfer that has ended, or whose end is on its way, is left
  /// alone; one that was never resumed ends without a start.
  virtual void cancel() = 0;

  /// What the server responded, of redirects the last response. Absent before that.
  [[nodiscard]] virtual std::optional<NSHTTPURLResponse> response() const = 0;
};

/// Receives what becomes of the transfers of a session.
///
/// Every call comes on the session's own serial queue, in the order things happened. Each task that was
/// resumed or cancelled ends in exactly one `didCompleteWithError`, and nothing follows it.
class TQ_API NSURLSessionDownloadDelegate {
 public:
  virtual ~NSURLSessionDownloadDelegate() = default;

  /// `bytesWritten` more bytes arrived, `totalBytesWritten` in all, of `totalBytesExpectedToWrite`, which is
  /// -1 when the server did not announce it. The first bytes and the last are always reported, those between
  /// at most 20 times a second.
  virtual void didWriteData(NSURLSessionDownloadTask& task, std::int64_t bytesWritten,
                            std::int64_t totalBytesWritten, std::int64_t totalBytesExpectedToWrite) = 0;

  /// The whole body lies in the file `location`, which is removed when this call returns: move it away.
  /// The status is not examined: the body of a 404 finishes too.
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
/// - Only http and https are spoken, after a redirect too; none leads from https to http; at most 20 are
///   followed; certificates are verified. Anything else ends the task with an error of `NSURLErrorDomain`.
/// - A body shorter than the server announced is an error and leaves no file; so does a full disk, with an
///   error of `NSCocoaErrorDomain`.
/// - A response that breaks the rules (two lengths, more than 1 MiB of headers and trailers) is an error.
/// - Errors carry a sentence for people, without secrets of the URL; `userInfo` alone has it whole.
///
/// The default sessions share their connections and one thread. At most six transfers of one server run at a
/// time, and in all an eighth of the limit of open files, 32 at most; the others start in turn. When the
/// system refuses a descriptor, a thread or memory, the task ends at once with an error that names it. A
/// transfer under way when the process exits ends without a call, and its file is removed. A child made by
/// fork can only exec or exit.
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

  /// A session that calls `delegate`, which it does not keep alive itself, on a serial queue of its own. The
  /// threads of that queue are not those of the global queues: tasks that block there do not hold it up.
  [[nodiscard]] static std::shared_ptr<NSURLSession> sessionWithConfiguration(
      const NSURLSessionConfiguration& configuration, std::weak_ptr<NSURLSessionDownloadDelegate> delegate);
};

/// How an object of the library makes its sessions: `NSURLSession::sessionWithConfiguration`, or a host's
/// own.
using NSURLSessionMaker = std::function<std::shared_ptr<NSURLSession>(
    const NSURLSessionConfiguration&, std::weak_ptr<NSURLSessionDownloadDelegate>)>;

}  // namespace tq
