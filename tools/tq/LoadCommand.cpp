#include "tools/tq/LoadCommand.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"
#include "tools/tq/Outcome.h"
#include "tools/tq/Progress.h"
#include "tools/tq/Rows.h"

namespace tq::tool {
namespace {

using Videos = TQAVAssetLoader::Videos;

// What the application would have as its screen.
class LoadScreen final : public TQAVAssetLoadProtocol {
 public:
  void loadingStarted() override {}
  void loadingProgress(double fraction) override { fraction_ = fraction; }
  void loadingCompleted(const TQLoadedAssets& assets) override { assets_ = assets; }
  void loadingFailedWithError(const NSError& error) override {
    if (!error_) error_ = error;
  }
  void loadingCancelled() override { cancelled_ = true; }

  [[nodiscard]] bool ended() const { return assets_ || error_ || cancelled_; }
  [[nodiscard]] double fraction() const { return fraction_; }
  [[nodiscard]] const std::optional<TQLoadedAssets>& assets() const { return assets_; }
  [[nodiscard]] const std::optional<NSError>& error() const { return error_; }

 private:
  double fraction_ = 0;
  std::optional<TQLoadedAssets> assets_;
  std::optional<NSError> error_;
  bool cancelled_ = false;
};

// The first identifier that names no video of `listed`, or absent when `batch` is complete.
std::optional<std::string> chooseVideos(const Videos& listed, const std::vector<std::string>& identifiers,
                                        Videos& batch) {
  std::map<std::string_view, std::shared_ptr<const PHAsset>> byIdentifier;
  for (const auto& video : listed) byIdentifier.emplace(video->localIdentifier(), video);
  for (const auto& identifier : identifiers) {
    const auto found = byIdentifier.find(identifier);
    if (found == byIdentifier.end()) return identifier;
    batch.push_back(found->second);
  }
  return std::nullopt;
}

// Videos are loaded in the order of their entries.
std::string videoBeingLoaded(const TQAVAssetLoader& loader) {
  const auto& entries = loader.videoAssetDownloadInformation().entries();
  const auto finished = static_cast<std::size_t>(loader.downloadProgress());
  return finished < entries.size() ? entries[finished].video->localIdentifier() : std::string();
}

void showProgress(const TQAVAssetLoader& loader, const LoadScreen& screen, Progress& progress) {
  if (!loader.downloadStarted()) return;
  const auto count = loader.numberOfVideosToDownload();
  const auto finished = loader.downloadProgress();
  const auto current = std::min(static_cast<std::int64_t>(finished) + 1, count);
  // The photo library reports no progress of a video that lies here already. One that has been fetched may
  // still prove unplayable: only the end is 100 %.
  constexpr double kMostUnfinished = 0.99;
  const double fraction = std::max(screen.fraction(), finished / static_cast<double>(count));
  progress.show(screen.assets() ? 1 : std::min(fraction, kMostUnfinished),
                std::to_string(current) + '/' + std::to_string(count) + "  " + videoBeingLoaded(loader));
}

// Loads the batch to its end; `screen` has received which. Returns the video it was at.
std::string runLoader(std::shared_ptr<TQAVAssetLoader> loader, const LoadScreen& screen,
                      const Interrupts& interrupts) {
  Progress progress("loaded");
  const auto ended = [&] {
    showProgress(*loader, screen, progress);
    return screen.ended();
  };
  loader->startLoad();
  runMainQueue(interrupts, ended, [&] { loader->cancelLoad(); });
  std::string last = videoBeingLoaded(*loader);
  const std::weak_ptr<const void> underWay = loader;
  loader = nullptr;
  runMainQueueUntilReleased(underWay);
  return last;
}

void saySkipped(const std::vector<NSError>& skipped) {
  constexpr std::size_t kMostLines = 10;
  for (std::size_t i = 0; i < std::min(skipped.size(), kMostLines); ++i)
    say("skipped: " + skipped[i].localizedDescription());
  if (skipped.size() > kMostLines) say("skipped: " + std::to_string(skipped.size() - kMostLines) + " more");
}

std::vector<LoadedVideo> loadedVideos(const Videos& batch, const TQLoadedAssets& assets,
                                      const DirectoryImageManager& photos) {
  std::vector<LoadedVideo> loaded;
  for (std::size_t i = 0; i < std::min(batch.size(), assets.size()); ++i) {
    if (!assets[i]) continue;
    loaded.push_back({.identifier = batch[i]->localIdentifier(),
                      .asset = assets[i],
                      .fetched = photos.isFetched(*assets[i])});
  }
  return loaded;
}

}  // namespace

int load(const LoadRequest& request, const Interrupts& interrupts) {
  const auto photos = DirectoryImageManager::make(request.folder, {.cacheFolder = request.cache});
  const auto listing = photos->fetchAssets();
  if (listing.error) return fail(sentence(*listing.error, request.folder.string()));
  saySkipped(listing.skipped);
  Videos batch;
  if (const auto unknown = chooseVideos(listing.videos, request.identifiers, batch))
    return fail("there is no video \"" + *unknown + "\" in " + request.folder.string());
  if (request.identifiers.empty()) batch = listing.videos;
  if (batch.empty()) say("there are no videos in " + request.folder.string());

  const auto screen = std::make_shared<LoadScreen>();
  const std::string last =
      runLoader(TQAVAssetLoader::initWithVideos(batch, screen, {.photos = photos}), *screen, interrupts);
  if (screen->error()) return fail(sentence(*screen->error(), last));
  if (!screen->assets()) return say("cancelled"), kExitInterrupted;
  const auto loaded = loadedVideos(batch, *screen->assets(), *photos);
  return write(request.json ? jsonOf(loaded) : rowsOf(loaded));
}

}  // namespace tq::tool
