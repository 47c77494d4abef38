#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <iostream>
#include <random>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

// One load and the one who cancels it. The mutex makes "not ended, so cancel" one step, as a screen's thread
// would have it: whoever comes second must find that there is nothing left to do.
class WatchedLoad final : public TQAVAssetLoadProtocol, public std::enable_shared_from_this<WatchedLoad> {
 public:
  void start(const TQAVAssetLoader::Videos& videos, const TQAVAssetLoaderPorts& ports) {
    count_ = videos.size();
    loader = TQAVAssetLoader::initWithVideos(videos, weak_from_this(), ports);
    loader->startLoad();
  }
  void cancel() {
    const std::scoped_lock lock(mutex_);
    if (ends == 0) loader->cancelLoad();
  }
  void loadingStarted() override { ++starts; }
  void loadingProgress(double) override { EXPECT_FALSE(cancelledOnMain_); }
  void loadingCompleted(const TQLoadedAssets& assets) override { end(assets.size() == count_); }
  void loadingFailedWithError(const NSError&) override { end(true); }
  void loadingCancelled() override {
    cancelledOnMain_ = DispatchQueue::main()->isCurrent();
    cancelled = true;
    end(true);
  }

  std::atomic<int> ends = 0;
  int starts = 0;
  bool cancelled = false;
  std::shared_ptr<TQAVAssetLoader> loader;

 private:
  void end(bool right) {
    EXPECT_TRUE(right);
    const std::scoped_lock lock(mutex_);
    ++ends;
  }

  std::size_t count_ = 0;
  std::atomic<bool> cancelledOnMain_ = false;
  std::recursive_mutex mutex_;
};

TEST(AssetLoaderSoak, TenThousandLoadsCancelledAtRandomMomentsEndOnceEach) {
  constexpr int kRounds = 500;
  constexpr int kAtOnce = 20;
  const auto seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
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
  int cancelled = 0;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::shared_ptr<WatchedLoad>> loads;
    for (int i = 0; i < kAtOnce; ++i) {
      loads.push_back(std::make_shared<WatchedLoad>());
      loads.back()->start(random() % 4 == 0 ? bad : good, ports);
    }
    std::thread canceller([&loads, moments = std::mt19937(random())]() mutable {
      for (const auto& load : loads) {
        std::this_thread::sleep_for(std::chrono::microseconds(moments() % 150));
        if (moments() % 2 == 0)
          load->cancel();
        else
          DispatchQueue::main()->async([load] { load->cancel(); });
      }
    });
    for (const auto& load : loads) ASSERT_TRUE(runMainQueueUntil([&] { return load->ends > 0; }));
    canceller.join();
    for (const auto& load : loads) {
      // What is still under way may hold its loader for a moment, and says nothing more.
      const std::weak_ptr loader = std::exchange(load->loader, nullptr);
      ASSERT_TRUE(runMainQueueUntil([&] { return loader.expired(); }));
      ASSERT_EQ(load->ends, 1);
      ASSERT_LE(load->starts, 1);
      cancelled += load->cancelled ? 1 : 0;
    }
  }
  std::cout << cancelled << " cancelled, the rest completed or failed first\n";
  EXPECT_GT(cancelled, 0);
  EXPECT_LT(cancelled, kRounds * kAtOnce);
}

// Of loads that end at once, each cancelled at about the moment of its end.
TEST(AssetLoaderSoak, AnEndAndACancelOfTheSameMomentAreToldAsOneOfTheTwo) {
  using Clock = std::chrono::steady_clock;
  const auto queue = DispatchQueue::serial();
  const TQAVAssetLoaderPorts ports{
      .photos = FakeImageManager::make(), .mainQueue = DispatchQueue::serial(), .setUpQueue = queue};
  std::mt19937 random(7);
  int cancelled = 0;
  double longest = 20'000;  // in nanoseconds, until the cancel; follows the speed of this machine
  for (int round = 0; round < 30'000; ++round) {
    const auto load = std::make_shared<WatchedLoad>();
    load->start({}, ports);
    const auto moment = Clock::now() + std::chrono::nanoseconds(random() % static_cast<unsigned>(longest));
    while (Clock::now() < moment && load->ends == 0) std::this_thread::yield();
    load->cancel();
    queue->sync([] {});
    ASSERT_EQ(load->ends, 1) << round;
    cancelled += load->cancelled ? 1 : 0;
    longest = std::clamp(longest * (load->cancelled ? 1.01 : 0.99), 100.0, 1e6);
  }
  EXPECT_GT(cancelled, 0);
  EXPECT_LT(cancelled, 30'000);
}

}  // namespace
}  // namespace tq::tests
