#include <gtest/gtest.h>

#include <atomic>
#include <iostream>
#include <random>
#include <thread>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

using doubles::FakeImageManager;
using doubles::FixedVolumeInfo;
using namespace platform;

// One load and the one who cancels it. The mutex makes "not ended, so cancel" one step, as a screen's thread
// would have it: whoever comes second must find that there is nothing left to do.
class WatchedLoad final : public TQAVAssetLoadProtocol, public std::enable_shared_from_this<WatchedLoad> {
 public:
  explicit WatchedLoad(std::atomic<int>& running) : running_(running) {}

  void start(TQAVAssetLoader::Videos videos, TQAVAssetLoaderPorts ports) {
    loader_ = TQAVAssetLoader::initWithVideos(std::move(videos), weak_from_this(), std::move(ports));
    loader_->startLoad();
  }
  void cancel() {
    const std::scoped_lock lock(mutex_);
    if (ends == 0) loader_->cancelLoad();
  }
  [[nodiscard]] std::weak_ptr<TQAVAssetLoader> release() { return std::exchange(loader_, nullptr); }

  void loadingStarted() override { ++starts; }
  void loadingProgress(double) override {
    if (cancelledOnMain) ++faults;
  }
  void loadingCompleted(const TQLoadedAssets& assets) override {
    EXPECT_EQ(assets.size(), 4U);
    end();
  }
  void loadingFailedWithError(const NSError&) override { end(); }
  void loadingCancelled() override {
    cancelledOnMain = DispatchQueue::main()->isCurrent();
    cancelled = true;
    end();
  }

  int ends = 0, starts = 0, faults = 0;
  bool cancelled = false;
  std::atomic<bool> cancelledOnMain = false;

 private:
  void end() {
    const std::scoped_lock lock(mutex_);
    if (++ends == 1) --running_;
  }

  std::atomic<int>& running_;
  std::recursive_mutex mutex_;
  std::shared_ptr<TQAVAssetLoader> loader_;
};

TEST(AssetLoaderSoak, TenThousandLoadsCancelledAtRandomMomentsEndOnceEach) {
  constexpr int kLoads = 10'000;
  constexpr int kAtOnce = 20;
  const auto seed = std::random_device{}();
  std::cout << "seed " << seed << '\n';
  std::mt19937 random(seed);
  const auto photos = FakeImageManager::make();
  photos->add("plain");
  photos->add("cloud", {.progress = {0.1, 0.5, 1}});
  photos->add("lost", {.progress = {0.1}, .hasAsset = false});
  const auto video = [](const char* name) { return std::make_shared<const PHAsset>(name); };
  const TQAVAssetLoader::Videos good = {video("plain"), video("cloud"), video("plain"), video("cloud")};
  const TQAVAssetLoader::Videos bad = {video("plain"), video("lost"), video("cloud"), video("cloud")};
  const TQAVAssetLoaderPorts ports{.photos = photos,
                                   .volumes = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1)};
  int outcomes[2] = {};
  for (int round = 0; round < kLoads / kAtOnce; ++round) {
    std::atomic<int> running = kAtOnce;
    std::vector<std::shared_ptr<WatchedLoad>> loads;
    for (int i = 0; i < kAtOnce; ++i) {
      loads.push_back(std::make_shared<WatchedLoad>(running));
      loads.back()->start(random() % 4 == 0 ? bad : good, ports);
    }
    std::thread canceller([&loads, seedOfRound = random()] {
      std::mt19937 moments(seedOfRound);
      for (const auto& load : loads) {
        std::this_thread::sleep_for(std::chrono::microseconds(moments() % 150));
        if (moments() % 2 == 0)
          load->cancel();
        else
          DispatchQueue::main()->async([load] { load->cancel(); });
      }
    });
    ASSERT_TRUE(runMainQueueUntil([&] { return running == 0; }, std::chrono::seconds(20)));
    canceller.join();
    std::vector<std::weak_ptr<TQAVAssetLoader>> loaders;
    for (const auto& load : loads) loaders.push_back(load->release());
    // What is still under way may hold its loader for a moment, and says nothing more.
    ASSERT_TRUE(runMainQueueUntil([&] {
      DispatchQueue::main()->async([] {});
      return std::all_of(loaders.begin(), loaders.end(), [](const auto& loader) { return loader.expired(); });
    }));
    for (const auto& load : loads) {
      ASSERT_EQ(load->ends, 1);
      ASSERT_LE(load->starts, 1);
      ASSERT_EQ(load->faults, 0);
      ++outcomes[load->cancelled];
    }
  }
  std::cout << outcomes[1] << " cancelled, " << outcomes[0] << " completed or failed first\n";
  EXPECT_GT(outcomes[0], 0);
  EXPECT_GT(outcomes[1], 0);
}

}  // namespace
}  // namespace tq::tests
