// The videos that lie in the folder: what is listed and what is refused.

#include <sys/stat.h>
#include <unistd.h>

#include "TQFoundation/Platform/Default/DirectoryPhotoLibrary/DirectoryImageManager.h"
#include "TQFoundation/Platform/Default/DirectoryPhotoLibrary/RequestTable.h"
#include "tests/Platform/Default/DirectoryPhotoLibrary/Clips.h"
#include "tests/contract/ImageManagerContract.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using namespace platform;
using namespace std::string_literals;
namespace fs = std::filesystem;

// Root may read everything, so it steps aside for a while.
class OrdinaryUser {
 public:
  OrdinaryUser() { EXPECT_EQ(root_ ? ::seteuid(65534) : 0, 0); }
  ~OrdinaryUser() { EXPECT_EQ(root_ ? ::seteuid(0) : 0, 0); }

 private:
  const bool root_ = ::geteuid() == 0;
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
  const std::tuple<fs::path, std::string, std::int64_t> cases[] = {
      {folder_ / "missing", "missing", NSFileReadNoSuchFileError},
      {folder_ / "file", "file", NSFileReadNoSuchFileError},
      {folder_ / "locked", "locked", NSFileReadNoPermissionError},
      {folder_.path(), "locked", NSFileReadNoPermissionError}};
  for (const auto& [path, named, code] : cases) {
    const auto listing = DirectoryImageManager::make(path)->fetchAssets();
    ASSERT_TRUE(listing.error && listing.videos.empty()) << path;
    EXPECT_EQ(listing.error->code, code);
    EXPECT_NE(listing.error->localizedDescription().find("/" + named + ": "), std::string::npos);
  }
}

TEST_F(LocalVideos, WhatIsNotPlayableIsRefusedWithAReason) {
  for (const char* name : {"film.mp4", ".film.mp4", "notes.txt", "locked.mp4"})
    writeFile(folder_ / name, film_);
  fs::permissions(folder_ / "locked.mp4", fs::perms::none);
  fs::create_directory(folder_ / "folder.mp4");
  ASSERT_EQ(::mkfifo((folder_ / "pipe.mp4").c_str(), 0644), 0);
  fs::copy_file(clipFile("cover.mp4"), folder_ / "cover.mp4");
  writeFile(folder_ / "empty.mp4", "");
  writeFile(folder_ / "text.mp4", "no film at all\n");
  writeFile(folder_ / "cut.mp4", film_.substr(0, film_.size() / 2));
  const std::string indexed = readFile(clipFile("h264.mov"));
  writeFile(folder_ / "early.mp4", indexed.substr(0, indexed.find("mdat") + 100));
  writeFile(folder_ / "hls.mp4", "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nfilm.mp4\n#EXT-X-ENDLIST\n");
  writeFile(folder_ / "concat.mp4", "ffconcat version 1.0\nfile film.mp4\n");

  constexpr auto kCorrupt = NSFileReadCorruptFileError;
  std::vector<std::tuple<std::string, std::int64_t, std::string>> cases = {
      {"locked.mp4", NSFileReadNoPermissionError, ": Permission denied"},
      {"folder.mp4", kCorrupt, ": it is no regular file"},
      {"pipe.mp4", kCorrupt, ": it is no regular file"},
      {"empty.mp4", kCorrupt, " is not playable: the file is empty"},
      {"early.mp4", kCorrupt, " is not playable: its video has no packet that can be read"},
      {"cover.mp4", kCorrupt, " is not playable: it has no video stream"}};
  for (const char* const damaged : {"text.mp4", "cut.mp4", "hls.mp4", "concat.mp4"})
    cases.emplace_back(damaged, kCorrupt, " is not playable: it is damaged, or no video container");
  const auto climb = "../" + outside_.path().filename().string() + "/film.mp4";
  for (const auto& unknown :
       {""s, climb, (outside_ / "film.mp4").string(), "linked/film.mp4"s, "./film.mp4"s, "/film.mp4"s,
        ".film.mp4"s, "loop.mp4"s, "gone.mp4"s, "notes.txt"s, "film.mp4\0.mp4"s})
    cases.emplace_back(unknown, NSFileReadNoSuchFileError, "");
  const auto photos = DirectoryImageManager::make(folder_.path());
  const OrdinaryUser user;
  for (const auto& [identifier, code, words] : cases) {
    VideoRequested request(photos, identifier);
    ASSERT_TRUE(request.wait() && request.info().error) << identifier;
    EXPECT_EQ(request.info().error, request.errorTold());
    EXPECT_EQ(request.info().error->code, code) << identifier;
    const std::string sentence = request.info().error->localizedDescription();
    EXPECT_NE(sentence.find(words.empty() ? "no such video" : identifier + words), std::string::npos)
        << sentence;
  }
}

TEST_F(LocalVideos, OfTheUsersOwnFolderAreTheDefault) {
  const EnvironmentVariable home("HOME", folder_.path());
  const EnvironmentVariable configuration("XDG_CONFIG_HOME", folder_.path());
  fs::create_directory(folder_ / "Videos");
  writeFile(folder_ / "Videos/mine.mp4", film_);
  VideoRequested request(PHImageManager::defaultManager(), "mine.mp4");
  EXPECT_TRUE(request.wait() && request.asset());
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
