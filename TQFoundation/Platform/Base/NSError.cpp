#include "TQFoundation/Platform/Base/NSError.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Base/URL.h"

namespace tq {
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

std::string inOneLine(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      line += c;
    } else {
      line.append("\\x").append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
    }
  }
  return line;
}

}  // namespace

std::string NSError::localizedDescription() const {
  const auto sentence = userInfo.find(std::string(NSLocalizedDescriptionKey));
  if (sentence != userInfo.end()) return sentence->second;
  return domain + " (" + std::to_string(code) + ")";
}

std::string NSError::description() const {
  std::string line = "Domain=" + domain + " Code=" + std::to_string(code) + " UserInfo={";
  std::string_view separator;
  for (const auto& [key, value] : userInfo) {
    line.append(separator).append(key).append(1, '=');
    line.append(key == NSURLErrorFailingURLStringErrorKey ? withoutSecrets(value) : value);
    separator = ", ";
  }
  return inOneLine(line += '}');
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

}  // namespace tq
