#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"

#include <system_error>
#include <utility>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RequestTable.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/VideoRequest.h"
#include "TQFoundation/Platform/Base/NeverDestroyed.h"
#include "TQFoundation/Platform/Folders/Directories.h"

namespace tq {
namespace {

namespace fs = std::filesystem;
using internal::CloudCache;
using internal::RequestTable;
using internal::VideoFolder;
using internal::VideoRequest;
using internal::VideoStores;

constexpr const char* kCacheFolder = "CloudVideos";
constexpr const char* kPartialFiles = "PartialFiles";

// Absolute, so that a later change of the working folder changes nothing.
fs::path fixed(const fs::path& folder) {
  std::error_code error;
  fs::path absolute = fs::absolute(folder, error);
  if (error) return folder;
  absolute = absolute.lexically_normal();
  return absolute.has_filename() ? absolute : absolute.parent_path();
}

fs::path cacheFolderOf(const DirectoryImageManagerOptions& options) {
  if (!options.cacheFolder.empty()) return fixed(options.cacheFolder);
  const fs::path own = userCacheFolder();
  return (own.empty() ? NSTemporaryDirectory() : own) / kCacheFolder;
}

// Sessions of `inner` that leave `free` bytes on the volume of their temporary files.
NSURLSessionMaker sessionsThatLeave(std::uint64_t free, NSURLSessionMaker inner) {
  return [inner = std::move(inner), free](NSURLSessionConfiguration configuration,
                                          std::weak_ptr<NSURLSessionDownloadDelegate> delegate) {
    configuration.minimumFreeBytes = free;
    return inner(configuration, std::move(delegate));
  };
}

class Library final : public DirectoryImageManager, public std::enable_shared_from_this<Library> {
 public:
  explicit Library(VideoStores stores) : stores_(std::make_shared<const VideoStores>(std::move(stores))) {}

  [[nodiscard]] DirectoryListing fetchAssets() const override { return stores_->folder.list(); }

  [[nodiscard]] bool isFetched(const AVAsset& asset) const override {
    const auto* const urlAsset = dynamic_cast<const AVURLAsset*>(&asset);
    const auto file = urlAsset == nullptr ? std::nullopt : urlAsset->url().filePath();
    return file && file->parent_path() == stores_->cache.folder();
  }

  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> video, PHVideoRequestOptions options,
                                          ResultHandler resultHandler) override {
    const auto request = std::make_shared<VideoRequest>(stores_, std::move(video), std::move(options),
                                                        std::move(resultHandler));
    const PHImageRequestID id = requests_.add(request);
    request->start([self = shared_from_this(), id] { self->requests_.remove(id); });
    return id;
  }

  void cancelImageRequest(PHImageRequestID request) override {
    if (const auto running = requests_.find(request)) running->cancel();
  }

 private:
  const std::shared_ptr<const VideoStores> stores_;
  RequestTable<VideoRequest> requests_;
};

}  // namespace

std::shared_ptr<DirectoryImageManager> DirectoryImageManager::make(fs::path folder,
                                                                   DirectoryImageManagerOptions options) {
  folder = fixed(folder);
  const fs::path cacheFolder = cacheFolderOf(options);
  const bool isDefault = options.cacheFolder.empty();
  CloudCache cache(cacheFolder, isDefault ? partialFilesFolder() : cacheFolder / kPartialFiles, folder);
  return std::make_shared<Library>(VideoStores{
      .folder = VideoFolder(std::move(folder)),
      .cache = std::move(cache),
      .makeSession = sessionsThatLeave(options.minimumFreeBytes, std::move(options.makeSession))});
}

const std::shared_ptr<PHImageManager>& PHImageManager::defaultManager() {
  static const NeverDestroyed<std::shared_ptr<PHImageManager>> manager(
      DirectoryImageManager::make(userFolder(UserFolder::videos)));
  return *manager;
}

}  // namespace tq
