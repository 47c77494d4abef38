#include <gtest/gtest.h>

#include "TQFoundation/MediaLoading/TQAVAssetLoader.h"
#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using doubles::FakeImageManager;
using doubles::FakeNetwork;
using doubles::FakeVideo;
using doubles::FixedVolumeInfo;
using doubles::ManualQueue;
using namespace platform;
using Words = std::vector<std::string>;

// Notes what it hears in words, and lets a test step in.
class Screen final : public TQAVAssetLoadProtocol {
 public:
  void loadingStarted() override { hear("started"); }
  void loadingProgress(double fraction) override {
    fractions.push_back(fraction);
    hear("progress");
  }
  void loadingCompleted(const TQLoadedAssets& loaded) override {
    assets = loaded;
    hear("completed");
  }
  void loadingFailedWithError(const NSError& failed) override {
    error = failed;
    hear("failed");
  }
  void loadingCancelled() override { hear("cancelled"); }

  Words words;
  std::vector<double> fractions;
  TQLoadedAssets assets;
  std::optional<NSError> error;
  std::function<void(const std::string&)> step;

 private:
  void hear(const std::string& word) {
    words.push_back(word);
    if (step) step(word);
  }
};

// A host that sends videos of a shared album down the path for shared videos.
class SharingLoader final : public TQAVAssetLoader {
 public:
  using TQAVAssetLoader::qx_isMovieLoadedForMediaIdentifier;
  using TQAVAssetLoader::TQAVAssetLoader;

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

  TQAVAssetLoaderPorts ports() const {
    return {.photos = photos_,
            .volumes = volume_,
            .makeSession = network_->maker(),
            .mainQueue = queue_,
            .setUpQueue = queue_,
            .temporaryDirectory = folder_.path()};
  }
  static TQAVAssetLoader::Videos batch(const std::vector<std::string>& names) {
    TQAVAssetLoader::Videos videos;
    for (const auto& name : names) videos.push_back(std::make_shared<const PHAsset>(name));
    return videos;
  }
  void load(const std::vector<std::string>& names) {
    loader_ = std::make_shared<SharingLoader>(batch(names), screen_, ports());
    loader_->startLoad();
    queue_->run();
  }
  void addShared(const std::string& identifier, const std::string& url) {
    photos_->add(identifier, {.asset = std::make_shared<AVURLAsset>(*URL::parse(url))});
  }

  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  std::shared_ptr<ManualQueue> queue_ = std::make_shared<ManualQueue>();
  std::shared_ptr<FakeImageManager> photos_ = FakeImageManager::make(queue_);
  std::shared_ptr<FakeNetwork> network_ = FakeNetwork::make(queue_);
  std::shared_ptr<FixedVolumeInfo> volume_ = std::make_shared<FixedVolumeInfo>(kMinDiskspace + 1);
  std::shared_ptr<Screen> screen_ = std::make_shared<Screen>();
  std::shared_ptr<SharingLoader> loader_;
};

TEST_F(AssetLoader, HandsBackTheBatchInItsOrderAndLoadsARepeatedVideoOnce) {
  load({"b", "a", "b", "c"});
  EXPECT_EQ(screen_->words, (Words{"started", "completed"}));
  ASSERT_EQ(screen_->assets.size(), 4U);
  EXPECT_EQ(screen_->assets[0], screen_->assets[2]);
  EXPECT_EQ(dynamic_cast<const AVURLAsset&>(*screen_->assets[1]).url().filePath(), "/a");
  EXPECT_EQ(photos_->requestsMade(), 3U);
  EXPECT_EQ(loader_->numberOfVideosToDownload(), 3);
}

TEST_F(AssetLoader, AnEmptyBatchIsCompleteAtOnceAndAFinishedOneAgain) {
  load({});
  EXPECT_EQ(screen_->words, (Words{"completed"}));
  load({"a"});
  loader_->startLoad();
  queue_->run();
  EXPECT_EQ(screen_->words, (Words{"completed", "started", "completed", "completed"}));
  EXPECT_EQ(photos_->requestsMade(), 1U);
}

TEST_F(AssetLoader, ASecondStartLeavesTheVideoInFlightAlone) {
  photos_->add("a", {.stalls = true});
  load({"a", "b"});
  loader_->startLoad();
  queue_->run();
  EXPECT_EQ(photos_->requestsMade(), 1U);
  photos_->finish();
  queue_->run();
  EXPECT_EQ(screen_->words, (Words{"started", "completed"}));
}

TEST_F(AssetLoader, ProgressIsThatOfTheWholeBatch) {
  photos_->add("a", {.progress = {0.25}});
  photos_->add("b", {.progress = {0.5}});
  load({"a", "b", "c", "a", "d"});
  EXPECT_EQ(screen_->fractions, (std::vector{0.0625, 0.375}));
}

TEST_F(AssetLoader, StopsBeforeAVideoThatHasNoRoom) {
  volume_->set(kMinDiskspace);
  load({"a"});
  EXPECT_EQ(screen_->words, (Words{"started", "failed"}));
  EXPECT_EQ(*screen_->error, (NSError{.domain = "Disk Full", .code = 111}));
  EXPECT_EQ(photos_->requestsMade(), 0U);
}

TEST_F(AssetLoader, TheRoomIsLookedAtBeforeEachVideo) {
  screen_->step = [&](const std::string& word) {
    if (word == "progress") volume_->set(0);
  };
  photos_->add("a", {.progress = {1}});
  load({"a", "b"});
  EXPECT_EQ(screen_->words, (Words{"started", "progress", "failed"}));
}

TEST_F(AssetLoader, AnErrorOfTheLibraryIsToldOnceAndItsResultDecides) {
  const NSError lost{.domain = "library", .code = 7};
  photos_->add("a", {.progress = {0.5}, .error = lost});
  load({"a"});
  EXPECT_EQ(screen_->words, (Words{"started", "progress", "progress", "completed", "failed"}));

  screen_ = std::make_shared<Screen>();
  photos_->add("a", {.error = lost, .hasAsset = false});
  load({"a", "b"});
  EXPECT_EQ(screen_->words, (Words{"started", "progress", "failed"}));
  EXPECT_EQ(screen_->error, lost);
}

TEST_F(AssetLoader, AnAbsentResultWithoutAReasonIsANetworkError) {
  load({"unknown", "a"});
  EXPECT_EQ(screen_->words, (Words{"started", "failed"}));
  EXPECT_EQ(*screen_->error, (NSError{.domain = "Network Error", .code = -1009}));
  EXPECT_EQ(loader_->numberOfVideosDownloaded(), 1);
  EXPECT_FALSE(loader_->qx_isMovieLoadedForMediaIdentifier("a"));
  EXPECT_TRUE(loader_->qx_isMovieLoadedForMediaIdentifier("never heard of"));
}

// One batch with all it can meet, cancelled before its first step, its second, and so on to its end.
TEST_F(AssetLoader, ACancelAtAnyStepIsTheLastThingTold) {
  network_->add("http://host/clip.mov", {.body = "film", .progress = {2}});
  std::size_t steps = 0;
  for (bool ended = false; !ended; ++steps) {
    std::filesystem::remove_all(folder_ / "iCloudVideos");
    screen_ = std::make_shared<Screen>();
    photos_->add("a", {.progress = {0.5, 1}});
    addShared("shared", "http://host/clip.mov");
    loader_ = std::make_shared<SharingLoader>(batch({"a", "shared", "b"}), screen_, ports());
    loader_->startLoad();
    for (std::size_t i = 0; i < steps; ++i) queue_->runNext();
    ended = !screen_->words.empty() && screen_->words.back() == "completed";
    if (ended) break;
    loader_->cancelLoad();
    EXPECT_EQ(screen_->words.back(), "cancelled");
    const Words before = screen_->words;
    queue_->run();
    Words after = screen_->words;
    if (after.size() > before.size() && after.back() == "started") after.pop_back();
    EXPECT_EQ(after, before) << "cancelled at step " << steps;
    const std::weak_ptr<SharingLoader> weak = loader_;
    loader_.reset();
    EXPECT_TRUE(weak.expired()) << "cancelled at step " << steps;
  }
  EXPECT_GT(steps, 15U);
}

TEST_F(AssetLoader, ACancelReachesTheRequestAndTheDownload) {
  photos_->add("a", {.stalls = true});
  load({"a"});
  loader_->cancelLoad();
  queue_->run();
  EXPECT_EQ(photos_->requestsCancelled(), 1U);
  network_->add("http://host/slow", {.progress = {1}, .expected = 10, .stalls = true});
  addShared("shared", "http://host/slow");
  load({"shared"});
  const std::weak_ptr<TQFileDownloader> download = loader_->fileDownloader();
  loader_->cancelLoad();
  loader_.reset();
  queue_->run();
  EXPECT_TRUE(download.expired());  // the session has let go of it: the transfer has ended
}

TEST_F(AssetLoader, MayBeReleasedOrCancelledInsideItsOwnCallbacks) {
  for (const char* const word : {"started", "progress", "completed", "failed"}) {
    photos_->add("a", {.progress = {0.5}, .hasAsset = std::string(word) != "failed"});
    screen_ = std::make_shared<Screen>();
    screen_->step = [&](const std::string& heard) {
      if (heard != word) return;
      loader_->cancelLoad();
      loader_.reset();
    };
    load({"a"});
    EXPECT_EQ(screen_->words.back(), "cancelled") << word;
    EXPECT_EQ(loader_, nullptr);
  }
}

TEST_F(AssetLoader, GoesOnToItsEndWithoutAScreen) {
  const std::weak_ptr<Screen> weak = screen_;
  screen_->step = [&](const std::string&) { screen_.reset(); };
  photos_->add("a", {.progress = {0.5, 1}});
  load({"a", "b"});
  EXPECT_TRUE(weak.expired());
  EXPECT_TRUE(loader_->qx_isMovieLoadedForMediaIdentifier("b"));
}

TEST_F(AssetLoader, FetchesASharedVideoIntoItsCacheOnceForAllQueries) {
  network_->add("http://host/m/clip.mov?sig=1", {.body = "film", .progress = {2}});
  addShared("shared1", "http://host/m/clip.mov?sig=1");
  addShared("shared2", "http://host/m/clip.mov?sig=2");
  load({"shared1", "shared2"});
  EXPECT_EQ(screen_->words, (Words{"started", "progress", "progress", "completed"}));
  EXPECT_EQ(screen_->fractions, (std::vector{0.25, 0.5}));
  const auto file = folder_ / "iCloudVideos/clip.mov";
  for (const auto& asset : screen_->assets)
    EXPECT_EQ(dynamic_cast<const AVURLAsset&>(*asset).url().filePath(), file);
  EXPECT_EQ(readFile(file), "film");
  EXPECT_EQ(network_->requests("http://host/m/clip.mov?sig=2"), 0);
}

TEST_F(AssetLoader, ASharedVideoThatCannotBeHadEndsTheBatchWithOneError) {
  struct Case {
    std::string identifier, url;
    std::int64_t code;
  };
  const std::string tooLong(256, 'n');
  const std::vector<Case> cases = {{"shared-gone", "", -1009},
                                   {"shared-empty", "http://host/?x", -1009},
                                   {"shared-dots", "http://host/..", -1009},
                                   {"shared-long", "http://host/" + tooLong, -1009},
                                   {"shared-lost", "http://nowhere/clip", -1003},
                                   {"shared-folder", "http://host/taken", 516}};
  std::filesystem::create_directories(folder_ / "iCloudVideos/taken");
  network_->add("http://host/taken", {.body = "film"});
  for (const auto& [identifier, url, code] : cases) {
    if (!url.empty()) addShared(identifier, url);
    screen_ = std::make_shared<Screen>();
    load({identifier, "a"});
    EXPECT_EQ(std::count(screen_->words.begin(), screen_->words.end(), "failed"), 1) << identifier;
    EXPECT_EQ(std::count(screen_->words.begin(), screen_->words.end(), "completed"), 0) << identifier;
    EXPECT_EQ(screen_->error->code, code) << identifier;
  }
  photos_->add("shared-other", {.asset = std::make_shared<AVAsset>()});  // no URL asset
  load({"shared-other"});
  EXPECT_EQ(screen_->error->code, -1009);
}

TEST(LocationOfiCloudMovie, IsTheTextBetweenTheLastSlashAndTheFirstQuestionMark) {
  const auto name = [](const char* url) {
    return TQAVAssetLoader::locationOfiCloudMovieAtURL(*URL::parse(url), "/tmp/t").string();
  };
  EXPECT_EQ(name("https://host/media/clip.mov?sig=1"), "/tmp/t/iCloudVideos/clip.mov");
  EXPECT_EQ(name("https://host/clip.mov?sig=a/b"), "/tmp/t/iCloudVideos/b");
  EXPECT_EQ(name("https://host/a%2Fb%20c.mov#part"), "/tmp/t/iCloudVideos/a%2Fb%20c.mov#part");
  EXPECT_EQ(name("clip.mov?"), "/tmp/t/iCloudVideos/clip.mov");
  EXPECT_EQ(name("https://host/"), "/tmp/t/iCloudVideos");
}

}  // namespace
}  // namespace tq::tests
