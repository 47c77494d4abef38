// The videos whose originals lie in the cloud: fetched, kept, found again; and all that may go wrong on the
// way.

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"
#include "TQFoundationTesting/FakeImageManager.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "tests/Platform/Adapters/DirectoryPhotoLibrary/Clips.h"
#include "tests/contract/ImageManagerContract.h"
#include "tests/support/LoopbackServer.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Then = Reply::Then;
namespace fs = std::filesystem;

// A library, its cloud, and where temporary files would show.
struct CloudWorld {
  CloudWorld() {
    fs::copy_file(clipFile("vp8.webm"), folder / "playable.webm");
    writeFile(folder / "failing.mp4", "no film");
    addToCloud("endless.mp4", {.body = std::string(9'000, 'x'), .then = Then::stall, .after = 900});
    manager = DirectoryImageManager::make(folder.path(), {.cacheFolder = kept / "cache/videos"});
  }
  ~CloudWorld() { EXPECT_EQ(temporary.files(), 0); }

  void addToCloud(const std::string& name, Reply reply) {
    server.serve("/" + name, std::move(reply));
    writeFile(folder / (name + ".cloud"), server.url("/" + name) + "\n");
  }

  const TemporaryFolder folder;
  const TemporaryFolder kept;
  const TemporaryFolder temporary;
  const EnvironmentVariable variable{"TMPDIR", temporary.path()};
  LoopbackServer server;
  std::shared_ptr<PHImageManager> manager;
};

struct FakeWorld {
  FakeWorld() {
    manager->add("playable.webm", {.progress = {0.5, 1}});
    manager->add("endless.mp4", {.progress = {0.5}, .stalls = true});
  }
  std::shared_ptr<FakeImageManager> manager = FakeImageManager::make();
};

using Worlds = testing::Types<CloudWorld, FakeWorld>;
INSTANTIATE_TYPED_TEST_SUITE_P(Libraries, ImageManagerContract, Worlds);

class CloudVideos : public testing::Test, protected CloudWorld {
 protected:
  bool isFetched(const VideoRequested& request) {
    return dynamic_cast<DirectoryImageManager&>(*manager).isFetched(*request->asset);
  }
  // Asks for a video that has to come, and answers where it is.
  fs::path fetched(const std::string& name, bool network = true) {
    const VideoRequested request(manager, name, network);
    EXPECT_TRUE(request.wait());
    if (!request->asset) throw std::runtime_error(request->info.error->localizedDescription());
    EXPECT_TRUE(isFetched(request) && request->info.isInCloud);
    return *dynamic_cast<const AVURLAsset&>(*request->asset).url().filePath();
  }
  const std::string film_ = readFile(clipFile("h264.MP4"));
};

TEST_F(CloudVideos, OfManyKindsAreFetchedOnceAndFoundAgainBesideLocalOnes) {
  bool cloud = false;
  for (const auto& [name, encoder] : allClips()) {
    SCOPED_TRACE(name);
    fs::create_symlink(clipFile(name), folder / name);
    for (const bool fromCloud : {false, cloud = !cloud}) {
      if (fromCloud) addToCloud(name, {.body = readFile(clipFile(name))});
      const VideoRequested request(manager, name);
      ASSERT_TRUE(request.wait() && request->asset) << request->info.error->localizedDescription();
      const AVVideoDetails& details = *request->asset->details();
      EXPECT_NEAR(details.duration.count(), kClipDuration, kDurationTolerance);
      EXPECT_TRUE(name.starts_with(details.codec + ".")) << details.codec;
      EXPECT_EQ(details.naturalSize, (CGSize{128, 96}));
      EXPECT_EQ(isFetched(request), fromCloud);
      EXPECT_EQ(request->fractions.empty() ? 0.0 : request->fractions.back(), fromCloud ? 1.0 : 0.0);
      if (!fromCloud) continue;
      EXPECT_EQ(readFile(fetched(name, false)), readFile(clipFile(name)));
      EXPECT_EQ(server.requests("/" + name), 1);
    }
  }
  EXPECT_EQ(fs::status(kept / "cache/videos").permissions(), fs::perms::owner_all);
}

TEST_F(CloudVideos, AreFetchedAnewWhenTheURLIsAnotherOrTheKeptFileIsDamaged) {
  addToCloud("film.mp4", {.raw = chunkedReply(film_)});
  const fs::path first = fetched("film.mp4");
  writeFile(folder / "film.mp4.cloud", "\xef\xbb\xbf \t" + server.url("/film.mp4?2") + " \r\nmore\n");
  const fs::path second = fetched("film.mp4");
  EXPECT_NE(first, second);
  EXPECT_EQ(server.requests("/film.mp4"), 2);
  for (const bool folderInstead : {false, true}) {
    fs::remove(second);
    if (folderInstead) fs::create_directory(second);
    writeFile(second, film_.substr(0, 999));
    EXPECT_EQ(fetched("film.mp4"), second);
    EXPECT_EQ(readFile(second), film_);
  }
  EXPECT_EQ(server.requests("/film.mp4"), 4);
  EXPECT_EQ(kept.files(), 2);
}

// Two libraries with the same cache, and a video of the same name and URL in both.
TEST_F(CloudVideos, OfTwoLibrariesAreKeptApart) {
  const TemporaryFolder other;
  addToCloud("film.mp4", {.body = film_});
  fs::copy_file(folder / "film.mp4.cloud", other / "film.mp4.cloud");
  const fs::path first = fetched("film.mp4");
  manager = DirectoryImageManager::make(other.path(), {.cacheFolder = kept / "cache/videos"});
  EXPECT_NE(fetched("film.mp4"), first);
  EXPECT_EQ(server.requests("/film.mp4"), 2);
}

// A session that says more has come than was to come, and less than nothing: the contract's checks see to it.
TEST_F(CloudVideos, FractionsStayWithinBoundsWhateverTheSessionSays) {
  const auto network = FakeNetwork::make();
  network->add("http://host/film", {.body = film_, .progress = {-5, 100, 5'000}, .expected = 1'000});
  writeFile(folder / "film.mp4.cloud", "http://host/film");
  manager = DirectoryImageManager::make(folder.path(),
                                        {.cacheFolder = kept.path(), .makeSession = network->maker()});
  fetched("film.mp4");
}

TEST_F(CloudVideos, GoOnFromWhereAFetchHasFailed) {
  constexpr std::size_t kCut = 280'000;
  const std::string film = film_ + std::string("\0\5\0\0free", 8) + std::string((5 << 16) - 8, '\0');
  const std::string tag = "ETag: \"a\"\r\n";
  ASSERT_GT(film.size(), kCut);
  addToCloud("film.mp4", {.headers = tag, .body = film, .then = Then::close, .after = kCut});
  const VideoRequested failed(manager, "film.mp4");
  EXPECT_TRUE(failed.wait() && !failed->asset);
  EXPECT_EQ(kept.files(), 2);
  server.serve("/film.mp4", {.respond = [&](const std::string& request) {
                 EXPECT_NE(request.find("Range: bytes=280000-\r\n"), std::string::npos);
                 const std::string size = std::to_string(film.size());
                 const std::string last = std::to_string(film.size() - 1);
                 return Reply{.status = 206,
                              .headers = tag + "Content-Range: bytes 280000-" + last + '/' + size + "\r\n",
                              .body = film.substr(kCut)};
               }});
  EXPECT_EQ(readFile(fetched("film.mp4")), film);
  EXPECT_EQ(kept.files(), 1);
}

TEST_F(CloudVideos, AskedForTwiceAtOnceBothCome) {
  addToCloud("film.mp4", {.body = film_, .pause = 1ms, .pauseEvery = 4'000});
  for (int round = 0; round < 10; ++round) {
    std::vector<VideoRequested> requests;
    for (int i = 0; i < 4; ++i) requests.emplace_back(manager, "film.mp4");
    for (const VideoRequested& request : requests) EXPECT_TRUE(request.wait() && request->asset);
    EXPECT_EQ(kept.files(), 1);
    writeFile(fetched("film.mp4"), "damaged");  // for the next round
  }
}

TEST_F(CloudVideos, AFetchLeavesTheSpaceFreeThatIsAskedFor) {
  addToCloud("film.mp4", {.body = film_});
  manager = DirectoryImageManager::make(
      folder.path(), {.cacheFolder = kept / "cache/videos", .minimumFreeBytes = std::uint64_t{1} << 60});
  const VideoRequested request(manager, "film.mp4");
  request.expectRefusal(NSFileWriteOutOfSpaceError, "");
  EXPECT_EQ(kept.files(), 0);
}

TEST_F(CloudVideos, WhatGoesWrongOnTheWayOrMayNotBeFetchedIsToldAndNothingIsKept) {
  constexpr auto kCorrupt = NSFileReadCorruptFileError;
  constexpr auto kLost = NSURLErrorNetworkConnectionLost;
  const std::tuple<std::string, Reply, std::int64_t, const char*> replies[] = {
      {"page.mp4", {.body = "<html></html>"}, kCorrupt, " is not playable: it is damaged"},
      {"empty.mp4", {.status = 204}, kCorrupt, " is not playable: the file is empty"},
      {"gone.mp4", {.status = 404, .body = film_}, NSURLErrorBadServerResponse, ": the server answered 404"},
      {"part.mp4",
       {.status = 206, .body = film_},
       NSURLErrorBadServerResponse,
       ": its response is a part that was not asked for"},
      {"away.mp4", {.status = 302, .body = film_}, NSURLErrorBadServerResponse, ": the server answered 302"},
      {"cut.mp4",
       {.raw = chunkedReply(film_.substr(0, film_.size() - 1))},
       kCorrupt,
       " is not playable: it is shorter"},
      {"short.mp4", {.body = film_, .then = Then::close, .after = film_.size() - 1}, kLost, ""}};
  for (const auto& [name, reply, code, words] : replies) {
    addToCloud(name, reply);
    writeFile(folder / (name + ".cloud"), server.url("/" + name + "?key=secret"));
    const VideoRequested request(manager, name);
    request.expectRefusal(code, name + words);
    const std::string sentence = request->info.error->localizedDescription();
    EXPECT_TRUE(code == kLost || sentence.find("secret") == std::string::npos) << sentence;
    if (code == NSURLErrorBadServerResponse) {
      EXPECT_EQ(request->fractions.back(), 0) << "a refusal's body is no part of the video";
    }
  }
  for (const auto& [text, words] :
       {std::pair(" \t\r\n" + server.url("/page.mp4"), "first line is empty"),
        {"file:///etc/passwd", "URL is neither http nor https"},
        {"no URL here", "first line is no URL"},
        {server.url("/") + std::string(1 << 20, 'x'), "first line is too long"}}) {
    writeFile(folder / "film.mp4.cloud", text);
    const VideoRequested request(manager, "film.mp4");
    request.expectRefusal(kCorrupt, "film.mp4.cloud names no original: its "s + words);
  }
  addToCloud("film.mp4", {.body = film_});
  writeFile(folder / "film.mp4", film_);  // no more than a stand-in
  const VideoRequested far(manager, "film.mp4", false);
  far.expectRefusal(NSURLErrorResourceUnavailable, "film.mp4");
  EXPECT_TRUE(far->info.isInCloud);
  EXPECT_EQ(server.requests("/film.mp4"), 0);
  EXPECT_EQ(kept.files(), 0);
}

}  // namespace
}  // namespace tq::tests
