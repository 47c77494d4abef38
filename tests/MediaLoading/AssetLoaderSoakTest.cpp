#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

// How many runs: 2,000, or what the environment says.
int soakRuns() {
  const char* const text = std::getenv("TQ_SOAK_RUNS");
  return text == nullptr ? 2'000 : std::max(std::atoi(text), 1);
}

// What a photo library does with the requests for one video, one after the other, up to the first asset.
using Attempts = std::vector<std::string>;
const Attempts kSuccesses = {"plain", "cloud", "moaning"};
const Attempts kFailures = {"lost", "moaning lost"};
bool reportsError(const std::string& attempt) {
  return attempt != "plain" && attempt != "cloud";
}

// A photo library whose video NAME is treated as the next of its attempts says.
class MoodyPhotos final : public PHImageManager {
 public:
  MoodyPhotos(std::shared_ptr<PHImageManager> photos, std::map<std::string, Attempts> plan)
      : photos_(std::move(photos)), plan_(std::move(plan)) {}
  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> video, PHVideoRequestOptions options,
                                          ResultHandler resultHandler) override {
    const std::string& name = video->localIdentifier();
    const std::size_t attempt = requests[name]++;
    const Attempts& attempts = plan_.at(name);
    EXPECT_LT(attempt, attempts.size()) << "a video that is loaded was asked for again";
    const std::string& treatment = attempts[std::min(attempt, attempts.size() - 1)];
    return photos_->requestAVAssetForVideo(std::make_shared<const PHAsset>(treatment), std::move(options),
                                           std::move(resultHandler));
  }
  void cancelImageRequest(PHImageRequestID request) override { photos_->cancelImageRequest(request); }

  std::map<std::string, std::size_t> requests;  // main queue only

 private:
  const std::shared_ptr<PHImageManager> photos_;
  const std::map<std::string, Attempts> plan_;
};

// One batch of a screen that starts again after each failure, in one of three ways, until all is loaded or
// something cancels. Its model: each video is asked for until its first asset and not again, each bad attempt
// is one failure, what completes is whole, and a cancel is followed by nothing.
class RetriedLoad final : public TQAVAssetLoadProtocol, public std::enable_shared_from_this<RetriedLoad> {
 public:
  RetriedLoad(std::mt19937& random, std::shared_ptr<PHImageManager> library) : retries_(random()) {
    const std::size_t distinct = random() % 4 + 1;
    std::map<std::string, Attempts> plan;
    for (std::size_t i = 0; i < distinct; ++i) {
      Attempts& attempts = plan[std::to_string(i)];
      for (auto bad = random() % 3; bad > 0; --bad)
        attempts.push_back(kFailures[random() % kFailures.size()]);
      attempts.push_back(kSuccesses[random() % kSuccesses.size()]);
      expectedFailures +=
          static_cast<std::size_t>(std::count_if(attempts.begin(), attempts.end(), &reportsError));
      expectedRequests[std::to_string(i)] = attempts.size();
    }
    for (std::size_t i = 0; i < distinct + 2; ++i)
      videos.push_back(std::make_shared<const PHAsset>(std::to_string(i % distinct)));
    photos = std::make_shared<MoodyPhotos>(std::move(library), std::move(plan));
  }
  void start(const std::shared_ptr<const VolumeInfo>& volumes) {
    loader =
        TQAVAssetLoader::initWithVideos(videos, weak_from_this(), {.photos = photos, .volumes = volumes});
    retried.set(loader);
    loader->startLoad();
  }
  void cancel() {
    const auto held = retried.get();
    if (!held) return;
    asked = true;
    held->cancelLoad();
    EXPECT_TRUE(cancelled || ends > 0) << "a cancel said nothing";
    over = true;
  }
  void loadingStarted() override { EXPECT_EQ(++starts, 1); }
  void loadingProgress(double fraction) override {
    EXPECT_FALSE(cancelled);
    EXPECT_TRUE(fraction >= 0 && fraction <= 1) << fraction;
  }
  void loadingCompleted(const TQLoadedAssets& assets) override {
    EXPECT_FALSE(cancelled);
    EXPECT_EQ(assets.size(), videos.size());
    EXPECT_EQ(std::count(assets.begin(), assets.end(), nullptr), 0);
    ++ends;
    completed = over = true;
  }
  void loadingFailedWithError(const NSError&) override {
    EXPECT_FALSE(cancelled);
    ++failures;
    ++ends;
    if (completed) return;
    if (const auto held = retried.get()) held->setVideos(videos);  // while another thread may start it
    const auto way = retries_ % 3;
    retries_ = retries_ / 3 + 1'000'003 * way;
    const auto again = [self = shared_from_this()] {
      if (const auto held = self->retried.get()) held->startLoad();
    };
    if (way == 0) again();
    if (way == 1) DispatchQueue::main()->async(again);
    if (way == 2) DispatchQueue::global()->async(again);
  }
  void loadingCancelled() override {
    cancelled = true;
    over = true;
  }
  void expectModel() const {
    EXPECT_TRUE(completed || cancelled || asked);
    if (asked) return;
    EXPECT_EQ(failures, expectedFailures);
    EXPECT_EQ(photos->requests, expectedRequests);
    EXPECT_EQ(starts, 1);
  }

  TQAVAssetLoader::Videos videos;
  std::map<std::string, std::size_t> expectedRequests;
  std::size_t expectedFailures = 0;
  std::shared_ptr<MoodyPhotos> photos;
  std::shared_ptr<TQAVAssetLoader> loader;
  Guarded<std::shared_ptr<TQAVAssetLoader>> retried;
  std::atomic<bool> asked = false, cancelled = false, over = false;
  std::atomic<int> ends = 0;
  std::size_t failures = 0;
  int starts = 0;
  bool completed = false;

 private:
  unsigned long retries_;
};

TEST(AssetLoaderSoak, BatchesOfRetriesCancelsAndProgressErrorsFollowAPlainModel) {
  constexpr int kAtOnce = 20;
  const auto seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  const NSError moan{.domain = "library", .code = 7};
  const auto photos = FakeImageManager::make();
  photos->add("plain");
  photos->add("cloud", {.progress = {0.1, 0.5, 1}});
  photos->add("moaning", {.progress = {0.5}, .error = moan});
  photos->add("lost", {.progress = {0.1}, .hasAsset = false});
  photos->add("moaning lost", {.progress = {0.1, 0.9}, .error = moan, .hasAsset = false});
  const auto volumes = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1);
  int cancelled = 0;
  int runs = 0;
  while (runs < soakRuns() && !testing::Test::HasFailure()) {
    std::vector<std::shared_ptr<RetriedLoad>> loads;
    for (int i = 0; i < kAtOnce; ++i, ++runs) {
      loads.push_back(std::make_shared<RetriedLoad>(random, photos));
      loads.back()->start(volumes);
    }
    std::thread canceller([&loads, moments = std::mt19937(random())]() mutable {
      for (const auto& load : loads) {
        std::this_thread::sleep_for(std::chrono::microseconds(moments() % 150));
        const auto way = moments() % 4;  // half of them are left alone
        if (way == 0) load->cancel();
        if (way == 1) DispatchQueue::main()->async([load] { load->cancel(); });
      }
    });
    for (const auto& load : loads) ASSERT_TRUE(runMainQueueUntil([&] { return load->over.load(); }));
    canceller.join();
    for (const auto& load : loads) {
      load->retried.set(nullptr);
      const std::weak_ptr loader = std::exchange(load->loader, nullptr);
      ASSERT_TRUE(runMainQueueUntil([&] { return loader.expired(); }));
      load->expectModel();
      cancelled += load->cancelled ? 1 : 0;
    }
  }
  std::cout << cancelled << " of " << runs << " cancelled\n";
  EXPECT_GT(cancelled, 0);
  EXPECT_LT(cancelled, runs);
}

// One load and what cancels it. The mutex makes "not ended, so cancel" one step, as a screen's thread would
// have it: if the end comes second, it finds that there is nothing left to do, and the other way round.
class WatchedLoad final : public TQAVAssetLoadProtocol, public std::enable_shared_from_this<WatchedLoad> {
 public:
  void start(const TQAVAssetLoaderPorts& ports) {
    loader = TQAVAssetLoader::initWithVideos({}, weak_from_this(), ports);
    loader->startLoad();
  }
  void cancel() {
    const std::scoped_lock lock(mutex_);
    if (ends == 0) loader->cancelLoad();
  }
  void loadingStarted() override {}
  void loadingProgress(double) override {}
  void loadingCompleted(const TQLoadedAssets&) override { end(); }
  void loadingFailedWithError(const NSError&) override {}
  void loadingCancelled() override {
    cancelled = true;
    end();
  }

  std::atomic<int> ends = 0;
  bool cancelled = false;
  std::shared_ptr<TQAVAssetLoader> loader;

 private:
  void end() {
    const std::scoped_lock lock(mutex_);
    ++ends;
  }
  std::recursive_mutex mutex_;
};

// Of loads that end at once, each cancelled at about the moment of its end.
TEST(AssetLoaderSoak, AnEndAndACancelOfTheSameMomentAreToldAsOneOfTheTwo) {
  using Clock = std::chrono::steady_clock;
  const auto queue = DispatchQueue::serial();
  const TQAVAssetLoaderPorts ports{
      .photos = FakeImageManager::make(), .mainQueue = DispatchQueue::serial(), .setUpQueue = queue};
  std::mt19937 random(7);
  int cancelled = 0;
  double longest = 20'000;  // in nanoseconds, until the cancel; follows the speed of this machine
  const int runs = soakRuns();
  for (int run = 0; run < runs; ++run) {
    const auto load = std::make_shared<WatchedLoad>();
    load->start(ports);
    const auto moment = Clock::now() + std::chrono::nanoseconds(random() % static_cast<unsigned>(longest));
    while (Clock::now() < moment && load->ends == 0) std::this_thread::yield();
    load->cancel();
    queue->sync([] {});
    ASSERT_EQ(load->ends, 1) << run;
    cancelled += load->cancelled ? 1 : 0;
    longest = std::clamp(longest * (load->cancelled ? 1.01 : 0.99), 100.0, 1e6);
  }
  EXPECT_GT(cancelled, 0);
  EXPECT_LT(cancelled, runs);
}

// Each of these loads holds a background thread, in a hand-off to the main queue, which is not drained yet.
// 64 is how many tasks run side by side.
TEST(AssetLoaderSoak, AsManyLoadsAsThereAreThreadsStopNoQueueWhileTheMainQueueIsNotDrained) {
  const auto photos = FakeImageManager::make();
  for (int i = 0; i < 4; ++i) photos->add(std::to_string(i), {.progress = {0.5}});
  const TQAVAssetLoaderPorts ports{.photos = photos,
                                   .volumes = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1)};
  for (const std::size_t count : {64U, 200U}) {
    std::atomic<std::size_t> completed = 0;
    struct Screen final : TQAVAssetLoadProtocol {
      explicit Screen(std::atomic<std::size_t>& count) : completions(count) {}
      void loadingStarted() override {}
      void loadingProgress(double) override {}
      void loadingCompleted(const TQLoadedAssets&) override { ++completions; }
      void loadingFailedWithError(const NSError&) override {}
      void loadingCancelled() override {}
      std::atomic<std::size_t>& completions;
    };
    const auto screen = std::make_shared<Screen>(completed);
    for (std::size_t i = 0; i < count; ++i)
      TQAVAssetLoader::initWithVideos(photos->videos(), screen, ports)->startLoad();
    const auto passed = std::make_shared<std::atomic<bool>>(false);
    std::thread([passed] { DispatchQueue::serial()->sync([&] { *passed = true; }); }).detach();
    EXPECT_TRUE(eventually([&] { return passed->load(); }));
    EXPECT_EQ(completed, 0U);
    EXPECT_TRUE(runMainQueueUntil([&] { return completed == count; }));
  }
}

}  // namespace
}  // namespace tq::tests
