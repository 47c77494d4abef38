// The videos that lie in the folder: what is listed and what is refused.

#include <sys/stat.h>
#include <unistd.h>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/DirectoryImageManager.h"
#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RequestTable.h"
#include "tests/Platform/Adapters/DirectoryPhotoLibrary/Clips.h"
#include "tests/contract/ImageManagerContract.h"

namespace tq::tests {
namespace {

using namespace std::string_literals;
namespace fs = std::filesystem;

// Root may read everything, so it steps aside for a while.
struct OrdinaryUser {
  OrdinaryUser() { EXPECT_EQ(root ? ::seteuid(65534) : 0, 0); }
  ~OrdinaryUser() { EXPECT_EQ(root ? ::seteuid(0) : 0, 0); }
  const bool root = ::geteuid() == 0;
};

class LocalVideos : public testing::Test {
 protected:
  LocalVideos() {
    fs::permissions(folder_.path(), fs::perms(0755));
    writeFile(outside_ / "film.mp4", film_);
    fs::create_directory_symlink(outside_.path(), folder_ / "linked");
    fs::create_symlink("loop.mp4", folder_ / "loop.mp4");
    fs::create_symlink("gone.mp4", folder_ / "dangling.mp4");
  }
  const std::string film_ = readFile(clipFile("h264.MP4"));
  const TemporaryFolder outside_;
  const TemporaryFolder folder_;
};

TEST_F(LocalVideos, AreListedByNameOnceAndSorted) {
  fs::create_directories(folder_ / "b/c.mp4/d");
  fs::create_symlink(outside_ / "film.mp4", folder_ / "b/z.mov");
  fs::create_directory(folder_ / ".hidden");
  for (const char* name :
       {"b/c.mp4/d/e.MkV", "a.webm", "b.mp4", "b.mp4.cloud", "b/x.flv.cloud", "notes.txt", ".a.mp4",
        ".hidden/a.mp4", ".cloud", "mp4", "odd\nname.avi", "c.cloud", "a.mp4.bak"})
    writeFile(folder_ / name, "");
  const auto listing = DirectoryImageManager::make(folder_.path())->fetchAssets();
  EXPECT_FALSE(listing.error);
  std::vector<std::string> names;
  for (const auto& video : listing.videos) names.push_back(video->localIdentifier());
  EXPECT_EQ(names, (std::vector<std::string>{"a.webm", "b.mp4", "b/c.mp4/d/e.MkV", "b/x.flv", "b/z.mov", "c",
                                             "odd\nname.avi"}));
}

TEST_F(LocalVideos, AFolderThatCannotBeListedIsNamed) {
  EXPECT_FALSE(DirectoryImageManager::make(folder_.path())->fetchAssets().error);  // no videos are no error
  writeFile(folder_ / "file", "");
  fs::create_directory(folder_ / "locked");
  fs::permissions(folder_ / "locked", fs::perms::none);
  const OrdinaryUser user;
  for (const std::string name : {"missing", "file", "locked", ""}) {
    const auto [videos, error] = DirectoryImageManager::make(folder_ / name)->fetchAssets();
    ASSERT_TRUE(error && videos.empty()) << name;
    const bool locked = name == "locked" || name.empty();
    EXPECT_EQ(error->code, locked ? NSFileReadNoPermissionError : NSFileReadNoSuchFileError);
    const std::string named = "/" + (locked ? "locked" : name) + ": ";
    EXPECT_NE(error->localizedDescription().find(named), std::string::npos);
  }
}

TEST_F(LocalVideos, WhatIsNotPlayableIsRefusedWithAReason) {
  const auto photos = DirectoryImageManager::make(folder_.path());
  const std::string indexed = readFile(clipFile("h264.mov"));
  const std::string early = indexed.substr(0, indexed.find("mdat") + 100);
  const std::string list = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nfilm.mp4\n#EXT-X-ENDLIST\n";
  const std::string damaged = "it is damaged, or no video container";
  const std::tuple<std::string, std::string, std::string> files[] = {
      {"empty.mp4", "", "the file is empty"},
      {"early.mp4", early, "its video has no packet that can be read"},
      {"cover.mp4", readFile(clipFile("cover.mp4")), "it has no video stream"},
      {"text.mp4", "no film at all\n", damaged},
      {"cut.mp4", film_.substr(0, film_.size() / 2), damaged},
      {"hls.mp4", list, damaged},
      {"concat.mp4", "ffconcat version 1.0\nfile film.mp4\n", damaged}};
  for (const char* const name : {"film.mp4", ".film.mp4", "notes.txt", "locked.mp4"})
    writeFile(folder_ / name, film_);
  for (const auto& [name, content, words] : files) {
    writeFile(folder_ / name, content);
    VideoRequested(photos, name)
        .expectRefusal(NSFileReadCorruptFileError, name + " is not playable: " + words);
  }
  fs::create_directory(folder_ / "folder.mp4");
  ASSERT_EQ(::mkfifo((folder_ / "pipe.mp4").c_str(), 0644), 0);
  for (const std::string name : {"folder.mp4", "pipe.mp4"})
    VideoRequested(photos, name).expectRefusal(NSFileReadCorruptFileError, name + ": it is no regular file");
  const auto climb = "../" + outside_.path().filename().string() + "/film.mp4";
  for (const auto& unknown :
       {""s, climb, (outside_ / "film.mp4").string(), "linked/film.mp4"s, "./film.mp4"s, "/film.mp4"s,
        ".film.mp4"s, "loop.mp4"s, "gone.mp4"s, "notes.txt"s, "film.mp4\0.mp4"s})
    VideoRequested(photos, unknown).expectRefusal(NSFileReadNoSuchFileError, "no such video");
  fs::permissions(folder_ / "locked.mp4", fs::perms::none);
  const OrdinaryUser user;
  const VideoRequested locked(photos, "locked.mp4");
  locked.expectRefusal(NSFileReadNoPermissionError, "locked.mp4: Permission denied");
}

TEST_F(LocalVideos, OfTheUsersOwnFolderAreTheDefault) {
  const EnvironmentVariable home("HOME", folder_.path());
  const EnvironmentVariable configuration("XDG_CONFIG_HOME", folder_.path());
  fs::create_directory(folder_ / "Videos");
  writeFile(folder_ / "Videos/mine.mp4", film_);
  VideoRequested request(PHImageManager::defaultManager(), "mine.mp4");
  EXPECT_TRUE(request.wait() && request->asset);
}

TEST(RequestTable, IdsStartAnewAfterTheHighestAndPassOverThoseInUse) {
  constexpr auto kHighest = std::numeric_limits<PHImageRequestID>::max();
  RequestTable<int> table(kHighest - 1);
  EXPECT_EQ(table.add(nullptr), kHighest);
  EXPECT_EQ(table.add(nullptr), 1);
  RequestTable<int> crowded(kHighest);
  for (int id = 1; id <= 3; ++id) EXPECT_EQ(crowded.add(nullptr), id);
}

}  // namespace
}  // namespace tq::tests
