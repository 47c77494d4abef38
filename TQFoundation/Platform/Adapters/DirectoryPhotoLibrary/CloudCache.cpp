#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudCache.h"

#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoFolder.h"
#include "TQFoundation/Platform/Base/Sha256.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

// Whether another fetch of the same original may be better than the file that has been looked into.
bool isWorthAnother(const VideoProbe& probe) {
  return !probe.details &&
         (probe.error->code == NSFileReadCorruptFileError ||
          probe.error->code == NSFileReadNoPermissionError || probe.error->code == NSFileReadNoSuchFileError);
}

// Puts `fetched` in the place of a damaged file, in one step: another request may be handing that path out,
// having just put a good file there itself.
std::optional<NSError> replace(const fs::path& fetched, const fs::path& damaged) {
  std::error_code error;
  fs::rename(fetched, damaged, error);
  if (!error) return std::nullopt;
  // A folder, or another file system.
  fs::remove(damaged, error);
  auto failure = NSFileManager::moveItem(fetched, damaged);
  if (failure && failure->code == NSFileWriteFileExistsError) return std::nullopt;
  return failure;
}

}  // namespace

CloudCache::CloudCache(fs::path folder, fs::path partialFiles, const fs::path& library)
    : folder_(std::move(folder)), partialFiles_(std::move(partialFiles)) {
  std::error_code error;
  library_ = fs::weakly_canonical(library, error);
  if (error) library_ = library;
}

CloudOriginal CloudCache::original(const std::string& identifier, const URL& url) const {
  // None of the three can hold a zero byte.
  std::string key = sha256(library_.native() + '\0' + identifier + '\0' + url.absoluteString());
  if (hasVideoExtension(identifier)) key += fs::path(identifier).extension().native();
  return {.url = url,
          .name = "the original of " + shownName(identifier),
          .file = folder_ / key,
          .partialFiles = partialFiles_};
}

std::optional<VideoProbe> CloudCache::find(const CloudOriginal& original,
                                           const std::atomic<bool>& cancelled) {
  VideoProbe probe = probeVideo(original.file, original.name, cancelled);
  if (!cancelled && isWorthAnother(probe)) return std::nullopt;
  return probe;
}

VideoProbe CloudCache::keep(const fs::path& fetched, const CloudOriginal& original,
                            const std::atomic<bool>& cancelled) {
  VideoProbe probe = probeVideo(fetched, original.name, cancelled);
  if (!probe.details) return probe;
  auto error = NSFileManager::moveItem(fetched, original.file);
  if (error && error->code == NSFileWriteFileExistsError) {
    VideoProbe there = probeVideo(original.file, original.name, cancelled);
    if (!isWorthAnother(there)) return there;
    error = replace(fetched, original.file);
  }
  if (error) return {.details = std::nullopt, .error = std::move(error)};
  return probe;
}

}  // namespace tq::internal
