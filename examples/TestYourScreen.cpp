// Tests a screen without a network, a disk or a wait: every step happens when the test says so.

#include <TQFoundation/MediaLoading/TQAVAssetLoader.h>
#include <TQFoundation/MediaLoading/TQDiskSpaceHandler.h>
#include <TQFoundationTesting/FakeImageManager.h>
#include <TQFoundationTesting/FixedVolumeInfo.h>
#include <TQFoundationTesting/ManualQueue.h>

#include <iostream>

using namespace tq;

class Screen final : public TQAVAssetLoadProtocol {
 public:
  void loadingStarted() override { bar = 0; }
  void loadingProgress(double fraction) override { bar = fraction; }
  void loadingCompleted(const TQLoadedAssets&) override { message = "ready"; }
  void loadingFailedWithError(const NSError& error) override { message = error.domain; }
  void loadingCancelled() override {}

  double bar = -1;
  std::string message;
};

int main() {
  const auto queue = std::make_shared<ManualQueue>();
  const auto photos = FakeImageManager::make(queue);
  photos->add("beach.mov", {.progress = {0.5}});
  photos->add("city.mov", {.stalls = true});
  const auto volume = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1);
  const auto screen = std::make_shared<Screen>();
  const auto load = [&] {
    const auto loader = TQAVAssetLoader::initWithVideos(
        photos->videos(), screen,
        {.photos = photos, .volumes = volume, .mainQueue = queue, .setUpQueue = queue});
    loader->startLoad();
    queue->run();
  };

  load();
  std::cout << "with half of the first of two videos there the bar is at " << screen->bar << '\n';
  photos->finish();
  queue->run();
  std::cout << "in the end the screen says: " << screen->message << '\n';
  if (screen->bar != 0.25 || screen->message != "ready") return 1;

  volume->set(0);
  load();
  std::cout << "on a full disk it says: " << screen->message << '\n';
  return screen->message == "Disk Full" ? 0 : 1;
}
