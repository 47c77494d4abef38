#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// What went wrong: a domain that names the family of errors, a code within it, and texts for people.
///
///     NSError error{.domain = std::string(NSURLErrorDomain), .code = NSURLErrorTimedOut};
///     if (error.code == NSURLErrorTimedOut) retryLater();
///     std::cerr << error.localizedDescription() << '\n';
///
/// An absent error is an empty `std::optional<NSError>`. Two errors are equal when all three parts are.
/// A plain value: share freely once built.
struct TQ_API NSError {
  std::string domain = {};
  std::int64_t code = 0;
  std::map<std::string, std::string> userInfo = {};

  /// A sentence for people: the one in `userInfo` under `NSLocalizedDescriptionKey`, else domain and code.
  [[nodiscard]] std::string localizedDescription() const;

  /// All three parts in one line, for logs, the keys in their order; control characters are spelled `\x0A`:
  /// `Domain=NSCocoaErrorDomain Code=640 UserInfo={NSFilePath=/data/a}`. A failing URL is shown
  /// `withoutSecrets`; `userInfo` alone has it whole.
  [[nodiscard]] std::string description() const;

  friend bool operator==(const NSError&, const NSError&) = default;
};

/// Keys of `NSError::userInfo`.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";
inline constexpr std::string_view NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";

/// Errors of a transfer.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr std::int64_t NSURLErrorUnknown = -1;
inline constexpr std::int64_t NSURLErrorCancelled = -999;
inline constexpr std::int64_t NSURLErrorBadURL = -1000;
inline constexpr std::int64_t NSURLErrorTimedOut = -1001;
inline constexpr std::int64_t NSURLErrorUnsupportedURL = -1002;
inline constexpr std::int64_t NSURLErrorCannotFindHost = -1003;
inline constexpr std::int64_t NSURLErrorCannotConnectToHost = -1004;
inline constexpr std::int64_t NSURLErrorNetworkConnectionLost = -1005;
inline constexpr std::int64_t NSURLErrorHTTPTooManyRedirects = -1007;
inline constexpr std::int64_t NSURLErrorResourceUnavailable = -1008;
inline constexpr std::int64_t NSURLErrorNotConnectedToInternet = -1009;
inline constexpr std::int64_t NSURLErrorBadServerResponse = -1011;
inline constexpr std::int64_t NSURLErrorSecureConnectionFailed = -1200;
inline constexpr std::int64_t NSURLErrorServerCertificateUntrusted = -1202;

/// Errors of the system; the code is an `errno`.
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// Errors of files.
inline constexpr std::string_view NSCocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::int64_t NSFileNoSuchFileError = 4;
inline constexpr std::int64_t NSFileReadUnknownError = 256;
inline constexpr std::int64_t NSFileReadNoPermissionError = 257;
inline constexpr std::int64_t NSFileReadCorruptFileError = 259;
inline constexpr std::int64_t NSFileReadNoSuchFileError = 260;
inline constexpr std::int64_t NSFileWriteUnknownError = 512;
inline constexpr std::int64_t NSFileWriteNoPermissionError = 513;
inline constexpr std::int64_t NSFileWriteInvalidFileNameError = 514;
inline constexpr std::int64_t NSFileWriteFileExistsError = 516;
inline constexpr std::int64_t NSFileWriteUnsupportedSchemeError = 518;
inline constexpr std::int64_t NSFileWriteOutOfSpaceError = 640;
inline constexpr std::int64_t NSFileWriteVolumeReadOnlyError = 642;

/// An error of `domain` and `code` whose description is `sentence`.
[[nodiscard]] TQ_API NSError makeError(std::string_view domain, std::int64_t code, std::string sentence);

/// The file error for a failed attempt to write, create, move or remove `path`.
///
/// `systemError` is the `errno` of the failed call. The description is `attempt`, the path and the system's
/// own words, as in "cannot create /data/a.mov: No space left on device".
[[nodiscard]] TQ_API NSError fileWriteError(int systemError, const std::filesystem::path& path,
                                            std::string_view attempt);

/// The file error for a failed attempt to read `path`; see `fileWriteError`.
[[nodiscard]] TQ_API NSError fileReadError(int systemError, const std::filesystem::path& path,
                                           std::string_view attempt);

}  // namespace tq
