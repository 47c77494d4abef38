#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudCache.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <system_error>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoFolder.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;

constexpr int kHashBits = 256;

std::string hexHash(std::string_view text) {
  const std::unique_ptr<AVSHA, decltype(&av_free)> hash(av_sha_alloc(), &av_free);
  if (!hash) throw std::bad_alloc();
  std::array<std::uint8_t, kHashBits / 8> digest{};
  av_sha_init(hash.get(), kHashBits);
  av_sha_update(hash.get(), reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
  av_sha_final(hash.get(), digest.data());
  std::string hex;
  for (const std::uint8_t byte : digest) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

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

CloudCache::CloudCache(fs::path folder, const fs::path& library) : folder_(std::move(folder)) {
  std::error_code error;
  library_ = fs::weakly_canonical(library, error);
  if (error) library_ = library;
}

CloudOriginal CloudCache::original(const std::string& identifier, const URL& url) const {
  // None of the three can hold a zero byte.
  std::string key = hexHash(library_.native() + '\0' + identifier + '\0' + url.absoluteString());
  if (hasVideoExtension(identifier)) key += fs::path(identifier).extension().native();
  return {.url = url, .name = "the original of " + shownName(identifier), .file = folder_ / key};
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
