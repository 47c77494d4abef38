#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

// Notes what it hears in words, and lets a test step in.
class Screen final : public TQAVAssetLoadProtocol {
 public:
  using Step = std::function<void(const std::string&)>;
  explicit Screen(Step theStep) : step(std::move(theStep)) {}
  void loadingStarted() override { hear("started"); }
  void loadingProgress(double fraction) override { hear("progress", " " + std::to_string(fraction)); }
  void loadingCompleted(const TQLoadedAssets& loaded) override {
    assets = loaded;
    hear("completed");
  }
  void loadingFailedWithError(const NSError& error) override {
    hear("failed", " " + error.domain + std::to_string(error.code));
  }
  void loadingCancelled() override { hear("cancelled"); }
  void hear(const std::string& word, const std::string& more = {}) {
    words.push_back(word + more);
    if (step) step(word);
  }

  Words words;
  TQLoadedAssets assets;
  const Step step;
};

// No loader on the stack, and no delegate that is gone before the call returns.
static_assert(!std::is_constructible_v<TQAVAssetLoader, TQAVAssetLoader::Videos,
                                       std::weak_ptr<TQAVAssetLoadProtocol>, TQAVAssetLoaderPorts>);
template <class Delegate>
concept CanBeDelegate = requires(Delegate&& delegate, TQAVAssetLoader& loader) {
  TQAVAssetLoader::initWithVideos({}, std::forward<Delegate>(delegate));
  loader.setDelegate(std::forward<Delegate>(delegate));
};
static_assert(CanBeDelegate<std::shared_ptr<Screen>&> && CanBeDelegate<std::weak_ptr<Screen>> &&
              !CanBeDelegate<std::shared_ptr<Screen>>);

// A photo library that lets a test step in before a new request's identifier is known, and before a cancel.
class SteppedInto final : public PHImageManager {
 public:
  using Step = std::function<void()>;
  SteppedInto(std::shared_ptr<PHImageManager> photos, Step step, Step cancelStep)
      : photos_(std::move(photos)), step_(std::move(step)), cancelStep_(std::move(cancelStep)) {}
  PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> video, PHVideoRequestOptions options,
                                          ResultHandler resultHandler) override {
    const auto id = photos_->requestAVAssetForVideo(video, std::move(options), std::move(resultHandler));
    if (step_) step_();
    return id;
  }
  void cancelImageRequest(PHImageRequestID request) override {
    cancelStep_();
    photos_->cancelImageRequest(request);
  }

 private:
  const std::shared_ptr<PHImageManager> photos_;
  const Step step_;
  const Step cancelStep_;
};

// A host that sends videos of a shared album down the path for shared videos.
class SharingLoader final : public TQAVAssetLoader {
 public:
  using TQAVAssetLoader::qx_isMovieLoadedForMediaIdentifier;
  using TQAVAssetLoader::qx_setMovieNotLoadedForMediaIdentifier;
  SharingLoader(const Videos& videos, const std::shared_ptr<Screen>& screen,
                const TQAVAssetLoaderPorts& ports)
      : TQAVAssetLoader(videos, screen, ports) {}

 protected:
  void qx_loadCloudLibraryVideo(const std::shared_ptr<const PHAsset>& video) override {
    if (video->localIdentifier().starts_with("shared"))
      qx_loadiCloudSharedVideo(video);
    else
      TQAVAssetLoader::qx_loadCloudLibraryVideo(video);
  }
};

// Everything on one manual queue: each test sees every step in one order.
class AssetLoader : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* const name : {"a", "b", "c", "d"}) photos_->add(name);
  }
  void make(const std::vector<std::string>& names) {
    TQAVAssetLoader::Videos videos;
    for (const auto& name : names) videos.push_back(std::make_shared<const PHAsset>(name));
    screen_ = std::make_shared<Screen>(std::move(step_));
    const auto onCancel = [this] { EXPECT_TRUE(!loader_ || loader_->downloadCancelled()); };
    const TQAVAssetLoaderPorts ports{
        .photos = std::make_shared<SteppedInto>(photos_, duringRequest_, onCancel),
        .volumes = volume_,
        .makeSession =
            [this](const auto& configuration, auto delegate) {
              if (duringDownload_) duringDownload_();
              return network_->maker()(configuration, std::move(delegate));
            },
        .mainQueue = queue_,
        .setUpQueue = queue_,
        .temporaryDirectory = folder_.path()};
    loader_ = std::make_shared<SharingLoader>(videos, screen_, ports);
  }
  void start() {
    loader_->startLoad();
    queue_->run();
  }
  // What a screen hears of the load of a batch.
  Words load(const std::vector<std::string>& names) {
    make(names);
    start();
    return screen_ ? screen_->words : Words();
  }
  static std::filesystem::path fileOf(const std::shared_ptr<AVAsset>& asset) {
    return *dynamic_cast<const AVURLAsset&>(*asset).url().filePath();
  }
  void addShared(const std::string& identifier, const std::string& url) {
    photos_->add(identifier, {.inCloud = true, .asset = std::make_shared<AVURLAsset>(*URL::parse(url))});
  }

  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  std::shared_ptr<ManualQueue> queue_ = std::make_shared<ManualQueue>();
  std::shared_ptr<FakeImageManager> photos_ = FakeImageManager::make(queue_);
  std::shared_ptr<FakeNetwork> network_ = FakeNetwork::make(queue_);
  std::shared_ptr<FixedVolumeInfo> volume_ = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1);
  Screen::Step step_;                // the next screen's
  SteppedInto::Step duringRequest_;  // the next loader's
  SteppedInto::Step duringDownload_;
  std::shared_ptr<Screen> screen_;
  std::shared_ptr<SharingLoader> loader_;
};

TEST_F(AssetLoader, HandsBackTheBatchInItsOrderAndLoadsARepeatedVideoOnce) {
  EXPECT_EQ(load({}), (Words{"completed"}));
  step_ = [&](const std::string& word) { EXPECT_TRUE(word != "started" || photos_->requestsMade() > 0); };
  EXPECT_EQ(load({"b", "a", "b", "c"}), (Words{"started", "completed"}));
  ASSERT_EQ(screen_->assets.size(), 4U);
  EXPECT_EQ(screen_->assets[0], screen_->assets[2]);
  EXPECT_EQ(fileOf(screen_->assets[1]), "/a");
  start();
  EXPECT_EQ(screen_->words, (Words{"started", "completed", "completed"}));
  EXPECT_EQ(photos_->requestsMade(), 3U);
  loader_->qx_setMovieNotLoadedForMediaIdentifier("b");
  start();
  EXPECT_TRUE(screen_->words.size() == 4 && screen_->assets[2]);
  EXPECT_EQ(photos_->requestsMade(), 4U);
}

TEST_F(AssetLoader, ProgressIsThatOfTheWholeBatchAndASecondStartLeavesTheVideoInFlightAlone) {
  photos_->add("a", {.progress = {0.25}, .stalls = true});
  photos_->add("b", {.progress = {0.5}});
  load({"a", "b", "c", "a", "d"});
  start();
  EXPECT_EQ(photos_->requestsMade(), 1U);
  photos_->finish();
  queue_->run();
  EXPECT_EQ(screen_->words, (Words{"started", "progress 0.062500", "progress 0.375000", "completed"}));
}

TEST_F(AssetLoader, StopsBeforeEachVideoThatHasNoRoom) {
  step_ = [&](const std::string& word) {
    if (word == "progress") volume_->set(kMinDiskspace);
  };
  photos_->add("a", {.progress = {1}});
  EXPECT_EQ(load({"a", "b"}), (Words{"started", "progress 0.500000", "failed Disk Full111"}));
  EXPECT_EQ(load({"a"}), (Words{"started", "failed Disk Full111"}));
  EXPECT_EQ(photos_->requestsMade(), 1U);
}

TEST_F(AssetLoader, AnErrorOfTheLibraryIsToldOnceAndItsResultDecides) {
  const NSError lost{.domain = "library", .code = 7};
  photos_->add("a", {.progress = {0.5}, .error = lost});
  EXPECT_EQ(load({"a"}),
            (Words{"started", "progress 0.500000", "progress 0.500000", "completed", "failed library7"}));
  photos_->add("a", {.error = lost, .hasAsset = false});
  EXPECT_EQ(load({"a", "b"}), (Words{"started", "progress 0.000000", "failed library7"}));
  EXPECT_EQ(load({"unknown", "a"}), (Words{"started", "failed Network Error-1009"}));
  EXPECT_EQ(loader_->numberOfVideosDownloaded(), 1);
  EXPECT_FALSE(loader_->qx_isMovieLoadedForMediaIdentifier("a"));
  EXPECT_TRUE(loader_->qx_isMovieLoadedForMediaIdentifier("never heard of"));
}

// A batch of which one video fails in the ways there are, and a screen that has it tried again. Once a start
// waits for the end of the video in flight; once the screen itself is inside the failure.
TEST_F(AssetLoader, AStartAfterAFailureTriesWhatIsNotLoadedYet) {
  const NSError lost{.domain = "library", .code = 7};
  addShared("shared", "http://nowhere/clip");
  for (const auto& [video, failing] : {std::pair<const char*, FakeVideo>{"b", {.hasAsset = false}},
                                       {"b", {.error = lost, .hasAsset = false}},
                                       {"b", {.error = lost, .hasAsset = false, .stalls = true}},
                                       {"shared", {}}}) {
    SCOPED_TRACE(video + std::to_string(failing.error.has_value()) + std::to_string(failing.stalls));
    const bool isShared = video != std::string("b");
    if (!isShared) photos_->add(video, failing);
    int failures = 0;
    step_ = [&](const std::string& word) {
      if (word != "failed") return;
      if (++failures == 3) isShared ? addShared("shared", "http://host/ok") : photos_->add("b");
      loader_->startLoad();
      loader_->startLoad();
    };
    network_->add("http://host/ok", {.body = "film"});
    const auto before = photos_->requestsMade();
    load({"a", video, "c"});
    for (int i = 0; i < 3; ++i) {
      photos_->finish();
      queue_->run();
    }
    EXPECT_EQ(failures, 3);
    EXPECT_EQ(photos_->requestsMade() - before, 6U);
    EXPECT_EQ(screen_->words.back(), "completed");
    EXPECT_EQ(std::count(screen_->words.begin(), screen_->words.end(), "completed"), 1);
    EXPECT_EQ(std::count(screen_->assets.begin(), screen_->assets.end(), nullptr), 0);
  }
}

// A screen that is called on another thread than the one that cancels, and cancels from inside its callbacks.
class SlowScreen final : public TQAVAssetLoadProtocol {
 public:
  void loadingStarted() override {}
  void loadingProgress(double) override { onProgress(); }
  void loadingCompleted(const TQLoadedAssets&) override { onEnd(); }
  void loadingFailedWithError(const NSError&) override { onEnd(); }
  void loadingCancelled() override {
    ++cancels;
    inOrder = !insideProgress;
  }
  void cancelOnAnotherThread() {
    std::thread([this] { loader->cancelLoad(); }).join();
  }
  std::function<void()> onProgress, onEnd;
  std::shared_ptr<TQAVAssetLoader> loader;
  std::atomic<bool> insideProgress = false;
  std::atomic<bool> inOrder = false;
  std::atomic<int> cancels = 0;
};

class AssetLoaderThreads : public testing::Test {
 protected:
  void load(FakeVideo video) {
    photos_->add("a", std::move(video));
    screen_ = std::make_shared<SlowScreen>();
    screen_->onProgress = onProgress_;
    screen_->onEnd = onEnd_;
    screen_->loader =
        TQAVAssetLoader::initWithVideos(photos_->videos(), screen_,
                                        {.photos = photos_,
                                         .volumes = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1),
                                         .mainQueue = main_});
    screen_->loader->startLoad();
    EXPECT_TRUE(eventually([&] { return screen_->cancels > 0; }));
    main_->sync([] {});  // the callback has returned
    const std::weak_ptr<TQAVAssetLoader> weak = std::exchange(screen_->loader, nullptr);
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));
  }
  const std::shared_ptr<DispatchQueue> main_ = DispatchQueue::serial();
  const std::shared_ptr<FakeImageManager> photos_ = FakeImageManager::make();
  std::function<void()> onProgress_ = [] {};
  std::function<void()> onEnd_ = [] {};
  std::shared_ptr<SlowScreen> screen_;
};

TEST_F(AssetLoaderThreads, OnlyAnEndKeepsACancelOnAnotherThreadSilentAndNotForLong) {
  const NSError lost{.domain = "library", .code = 7};
  onEnd_ = [&] { screen_->cancelOnAnotherThread(); };
  load({.error = lost, .stalls = true});  // the video goes on: that was no end
  EXPECT_EQ(screen_->cancels, 1);
  for (const bool startsAgain : {false, true}) {
    onEnd_ = [&] {
      if (startsAgain) screen_->loader->startLoad();
      screen_->cancelOnAnotherThread();
      EXPECT_TRUE(screen_->cancels > 0 || !startsAgain);
      std::this_thread::sleep_for(std::chrono::milliseconds(110));
      screen_->cancelOnAnotherThread();
      EXPECT_GT(screen_->cancels, 0);
    };
    load({.hasAsset = startsAgain});
    load({.hasAsset = !startsAgain});
  }
}

TEST_F(AssetLoaderThreads, ACancelLetsTheProgressUnderWayReturnFirst) {
  constexpr int kRounds = 50;
  int inOrder = 0;
  std::thread canceller;
  onProgress_ = [&] {
    screen_->insideProgress = true;
    canceller = std::thread([&] { screen_->loader->cancelLoad(); });
    while (!screen_->loader->downloadCancelled()) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    screen_->insideProgress = false;
  };
  for (int round = 0; round < kRounds; ++round) {
    load({.progress = {0.5}});
    canceller.join();
    inOrder += screen_->inOrder ? 1 : 0;
  }
  EXPECT_GT(inOrder, kRounds / 2);  // all, unless this machine stands still for 100 ms
}

// One batch with all it can meet, cancelled before its first step, its second, and so on to its end.
TEST_F(AssetLoader, ACancelAtAnyStepIsTheLastThingTold) {
  network_->add("http://host/clip.mov", {.body = "film", .progress = {2}});
  photos_->add("a", {.progress = {0.5, 1}});
  addShared("shared", "http://host/clip.mov");
  int steps = 0;
  for (;; ++steps) {
    SCOPED_TRACE(steps);
    std::filesystem::remove_all(folder_ / "iCloudVideos");
    make({"a", "shared", "b"});
    loader_->startLoad();
    for (int i = 0; i < steps; ++i) queue_->runNext();
    if (!screen_->words.empty() && screen_->words.back() == "completed") break;
    loader_->cancelLoad();
    EXPECT_EQ(screen_->words.back(), "cancelled");
    const auto before = screen_->words.size();
    const auto requests = photos_->requestsMade();
    queue_->run();
    if (screen_->words.back() == "started") screen_->words.pop_back();
    EXPECT_EQ(screen_->words.size(), before);
    EXPECT_EQ(photos_->requestsMade(), requests);
    const std::weak_ptr<SharingLoader> weak = std::exchange(loader_, nullptr);
    EXPECT_TRUE(weak.expired());
  }
  EXPECT_GT(steps, 15);
}

TEST_F(AssetLoader, ACancelReachesTheRequestAndTheDownload) {
  photos_->add("a", {.stalls = true});
  load({"a"});
  loader_->cancelLoad();
  EXPECT_EQ(photos_->requestsCancelled(), 1U);
  duringRequest_ = [&] { loader_->cancelLoad(); };
  load({"a"});
  EXPECT_EQ(photos_->requestsCancelled(), 2U);
  duringRequest_ = {};
  network_->add("http://host/slow", {.progress = {1}, .expected = 10, .stalls = true});
  addShared("shared", "http://host/slow");
  for (const bool atItsStart : {false, true}) {
    if (atItsStart) duringDownload_ = [&] { loader_->cancelLoad(); };
    load({"shared"});
    const std::weak_ptr<TQFileDownloader> download = loader_->fileDownloader();
    loader_->cancelLoad();
    loader_.reset();
    queue_->run();
    EXPECT_TRUE(download.expired());  // the session has let go of it: the transfer has ended
  }
}

TEST_F(AssetLoader, MayBeReleasedOrCancelledInsideItsOwnCallbacks) {
  for (const std::string word : {"started", "progress", "completed", "failed"}) {
    photos_->add("a", {.progress = {0.5}, .hasAsset = word != "failed"});
    step_ = [&](const std::string& heard) {
      if (heard != word) return;
      loader_->cancelLoad();
      loader_.reset();
    };
    EXPECT_EQ(load({"a"}).back(), "cancelled") << word;
    EXPECT_EQ(loader_, nullptr);
  }
}

TEST_F(AssetLoader, GoesOnToItsEndWithoutAScreen) {
  step_ = [&](const std::string&) { screen_.reset(); };
  photos_->add("a", {.progress = {0.5, 1}});
  load({"a", "b"});
  EXPECT_EQ(screen_, nullptr);
  EXPECT_TRUE(loader_->qx_isMovieLoadedForMediaIdentifier("b"));
}

// Its file's name is the text between the URL's last slash and first question mark.
TEST_F(AssetLoader, FetchesASharedVideoIntoItsCacheOnceForAllQueries) {
  network_->add("http://host/m/c%2Fi.mov?sig=1", {.body = "film", .progress = {2}});
  addShared("shared1", "http://host/m/c%2Fi.mov?sig=1");
  addShared("shared2", "http://host/m/c%2Fi.mov?sig=2?");
  addShared("shared3", "http://host/m/?sig=/c%2Fi.mov");
  EXPECT_EQ(load({"shared1", "shared2", "shared3"}),
            (Words{"started", "progress 0.166667", "progress 0.333333", "completed"}));
  const auto file = folder_ / "iCloudVideos/c%2Fi.mov";
  for (const auto& asset : screen_->assets) EXPECT_EQ(fileOf(asset), file);
  EXPECT_EQ(readFile(file), "film");
}

TEST_F(AssetLoader, LateProgressOfASharedVideoIsNotThatOfTheNextOne) {
  network_->add("http://host/clip", {.stalls = true});
  addShared("shared", "http://host/clip");
  load({"shared", "a"});
  loader_->fileDownloadingProgress(1);
  loader_->didFinishFileDownloadingAtURL(*URL::parse("http://host/clip"));
  queue_->run();
  EXPECT_EQ(screen_->words, (Words{"started", "completed"}));
  loader_->fileDownloader()->cancelFileDownload();  // a stalled transfer holds its delegate
  queue_->run();
}

TEST_F(AssetLoader, ASharedVideoThatCannotBeHadEndsTheBatchWithOneError) {
  std::filesystem::create_directories(folder_ / "iCloudVideos/taken");
  network_->add("http://host/taken", {.expected = -1});
  photos_->add("shared-other", {.asset = std::make_shared<AVAsset>()});  // no URL asset
  const std::string noName = "Network Error-1009";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"shared-gone", "", noName},
      {"shared-other", "", noName},
      {"shared-empty", "http://host/?x", noName},
      {"shared-dots", "http://host/..", noName},
      {"shared-long", "http://host/" + std::string(256, 'n'), noName},
      {"shared-lost", "http://nowhere/clip", "NSURLErrorDomain-1003"},
      {"shared-folder", "http://host/taken", "NSCocoaErrorDomain516"}};
  for (const auto& [identifier, url, error] : cases) {
    if (!url.empty()) addShared(identifier, url);
    EXPECT_EQ(load({identifier, "a"}), (Words{"started", "failed " + error})) << identifier;
  }
}

}  // namespace
}  // namespace tq::tests
