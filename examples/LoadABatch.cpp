// Loads all videos of a folder, with one progress for them all: load-a-batch FOLDER

#include <TQFoundation/MediaLoading/TQAVAssetLoader.h>
#include <TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h>

#include <iostream>

using namespace tq;
using namespace tq;

class Screen final : public TQAVAssetLoadProtocol {
 public:
  void loadingStarted() override { std::cout << "loading\n"; }
  void loadingProgress(double fraction) override { std::cout << static_cast<int>(fraction * 100) << " %\n"; }
  void loadingCompleted(const TQLoadedAssets& assets) override {
    for (const auto& asset : assets)
      std::cout << asset->details()->codec << ", " << asset->details()->duration.count() << " s\n";
    succeeded = !assets.empty();
    DispatchQueue::main()->stop();
  }
  void loadingFailedWithError(const NSError& error) override {
    std::cerr << error.localizedDescription() << '\n';
    DispatchQueue::main()->stop();
  }
  void loadingCancelled() override { DispatchQueue::main()->stop(); }

  bool succeeded = false;
};

int main(int argc, char** argv) {
  const auto photos = DirectoryImageManager::make(argc > 1 ? argv[1] : ".");
  const auto listing = photos->fetchAssets();
  if (listing.error) {
    std::cerr << listing.error->localizedDescription() << '\n';
    return 1;
  }
  const auto screen = std::make_shared<Screen>();
  const auto loader = TQAVAssetLoader::initWithVideos(listing.videos, screen, {.photos = photos});
  loader->startLoad();
  DispatchQueue::main()->run();
  return screen->succeeded ? 0 : 1;
}
