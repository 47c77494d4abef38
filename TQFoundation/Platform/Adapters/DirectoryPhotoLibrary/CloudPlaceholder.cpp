#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudPlaceholder.h"

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RegularFile.h"
#include "TQFoundation/Platform/Base/Text.h"

namespace tq::internal {
namespace {

constexpr std::size_t kMostBytes = std::size_t{8} * 1024;
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

// The file's text is not part of the reason: the file may be a link to something secret.
CloudPlaceholder refuse(const std::filesystem::path& file, std::string_view reason) {
  return {
      .original = std::nullopt,
      .error = makeError(NSCocoaErrorDomain, NSFileReadCorruptFileError,
                         "the placeholder " + file.string() + " names no original: " + std::string(reason))};
}

}  // namespace

CloudPlaceholder readCloudPlaceholder(const std::filesystem::path& file) {
  const RegularFile input(file);
  if (input.error()) return {.original = std::nullopt, .error = input.error()};

  std::string bytes(kMostBytes, '\0');
  std::size_t count = 0;
  while (count < bytes.size()) {
    const auto got = input.read(static_cast<std::int64_t>(count), bytes.data() + count, bytes.size() - count);
    if (got < 0)
      return {.original = std::nullopt, .error = fileReadError(static_cast<int>(-got), file, "cannot read")};
    if (got == 0) break;
    count += static_cast<std::size_t>(got);
  }
  bytes.resize(count);

  const std::size_t end = bytes.find('\n');
  if (end == std::string::npos && count == kMostBytes) return refuse(file, "its first line is too long");
  std::string_view line = std::string_view(bytes).substr(0, end);
  if (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  line = trimmed(line);
  if (line.empty()) return refuse(file, "its first line is empty");
  auto url = URL::parse(line);
  if (!url) return refuse(file, "its first line is no URL");
  if (!url->isHTTP()) return refuse(file, "its URL is neither http nor https");
  return {.original = std::move(url), .error = std::nullopt};
}

}  // namespace tq::internal
