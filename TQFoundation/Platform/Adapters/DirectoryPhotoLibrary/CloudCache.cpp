#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/CloudCache.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoFolder.h"
#include "TQFoundation/Platform/Files/NSFileManager.h"

namespace tq {
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

bool isThere(const fs::path& file) {
  std::error_code ignored;
  return fs::exists(fs::symlink_status(file, ignored));
}

// What another fetch of the same original would not suffer from again.
bool isWorthAnother(const VideoProbe& probe) {
  return !probe.details &&
         (probe.error->code == NSFileReadCorruptFileError ||
          probe.error->code == NSFileReadNoPermissionError || probe.error->code == NSFileReadNoSuchFileError);
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
  return {.url = url,
          .name = "the original of " + shownName(identifier) + " at " + url.absoluteString(),
          .file = folder_ / key};
}

std::optional<VideoProbe> CloudCache::find(const CloudOriginal& original,
                                           const std::atomic<bool>& cancelled) {
  if (!isThere(original.file)) return std::nullopt;
  VideoProbe probe = probeVideo(original.file, original.name, cancelled);
  if (cancelled || !isWorthAnother(probe)) return probe;

  // Two requests that have both found it damaged: the second one may not remove what the first has fetched.
  static std::mutex& removing = *new std::mutex;
  const std::scoped_lock lock(removing);
  if (!isThere(original.file)) return std::nullopt;
  probe = probeVideo(original.file, original.name, cancelled);
  if (cancelled || !isWorthAnother(probe)) return probe;
  std::error_code error;
  if (fs::remove(original.file, error) || !error) return std::nullopt;
  return VideoProbe{.details = std::nullopt,
                    .error = fileWriteError(error.value(), original.file, "cannot remove the damaged file")};
}

VideoProbe CloudCache::keep(const fs::path& fetched, const CloudOriginal& original,
                            const std::atomic<bool>& cancelled) {
  VideoProbe probe = probeVideo(fetched, original.name, cancelled);
  if (!probe.details) return probe;
  const auto error = NSFileManager::moveItem(fetched, original.file);
  if (!error) return probe;
  if (error->code == NSFileWriteFileExistsError) return probeVideo(original.file, original.name, cancelled);
  return {.details = std::nullopt, .error = error};
}

}  // namespace tq
