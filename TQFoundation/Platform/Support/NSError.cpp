#include "TQFoundation/Platform/Support/NSError.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace tq::platform {
namespace {

std::int64_t writeCode(int systemError) {
  switch (systemError) {
    case ENOENT:
    case ENOTDIR:
      return NSFileNoSuchFileError;
    case EACCES:
    case EPERM:
      return NSFileWriteNoPermissionError;
    case EEXIST:
      return NSFileWriteFileExistsError;
    case ENAMETOOLONG:
    case EINVAL:
      return NSFileWriteInvalidFileNameError;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return NSFileWriteOutOfSpaceError;
    case EROFS:
      return NSFileWriteVolumeReadOnlyError;
    default:
      return NSFileWriteUnknownError;
  }
}

std::int64_t readCode(int systemError) {
  switch (systemError) {
    case ENOENT:
    case ENOTDIR:
      return NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM:
      return NSFileReadNoPermissionError;
    default:
      return NSFileReadUnknownError;
  }
}

NSError fileError(std::int64_t code, int systemError, const std::filesystem::path& path,
                  std::string_view attempt) {
  NSError error = makeError(
      NSCocoaErrorDomain, code,
      std::string(attempt) + ' ' + path.string() + ": " + std::generic_category().message(systemError));
  error.userInfo.emplace(NSFilePathErrorKey, path.string());
  return error;
}

}  // namespace

std::string NSError::localizedDescription() const {
  const auto sentence = userInfo.find(std::string(NSLocalizedDescriptionKey));
  if (sentence != userInfo.end()) return sentence->second;
  return domain + " (" + std::to_string(code) + ")";
}

NSError makeError(std::string_view domain, std::int64_t code, std::string sentence) {
  NSError error{.domain = std::string(domain), .code = code};
  error.userInfo.emplace(NSLocalizedDescriptionKey, std::move(sentence));
  return error;
}

NSError fileWriteError(int systemError, const std::filesystem::path& path, std::string_view attempt) {
  return fileError(writeCode(systemError), systemError, path, attempt);
}

NSError fileReadError(int systemError, const std::filesystem::path& path, std::string_view attempt) {
  return fileError(readCode(systemError), systemError, path, attempt);
}

}  // namespace tq::platform
