// The videos that lie in the folder: what is listed and what is refused.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

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
  writeFile(folder_ / "file", "");
  fs::create_directory(folder_ / "locked");
  fs::permissions(folder_ / "locked", fs::perms::none);
  const OrdinaryUser user;
  const auto locked = DirectoryImageManager::make(folder_ / "locked")->fetchAssets();
  ASSERT_TRUE(locked.error && locked.error->code == NSFileReadNoPermissionError);
  for (const std::string name : {"missing", "file"}) {
    const auto listing = DirectoryImageManager::make(folder_ / name)->fetchAssets();
    ASSERT_TRUE(listing.error && listing.videos.empty()) << name;
    EXPECT_EQ(listing.error->code, NSFileReadNoSuchFileError);
    EXPECT_NE(listing.error->localizedDescription().find("/" + name + ": "), std::string::npos);
  }
}

// An unreadable subfolder, one with a path too long to open, and links that lead nowhere or round in circles.
TEST_F(LocalVideos, WhatCannotBeLookedAtIsSkippedAndNamed) {
  fs::create_directory(folder_ / "locked");
  fs::permissions(folder_ / "locked", fs::perms::none);
  fs::create_symlink("nowhere", folder_ / "notes");  // no video whatever it leads to
  const std::string part(250, 'd');
  int folder = ::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY);
  for (std::size_t length = 0; length < 4096; length += part.size() + 1) {
    ASSERT_EQ(::mkdirat(folder, part.c_str(), 0755), 0);
    const int next = ::openat(folder, part.c_str(), O_RDONLY | O_DIRECTORY);
    ::close(std::exchange(folder, next));
  }
  ::close(folder);
  writeFile(folder_ / part / "deep.mp4", "");
  const OrdinaryUser user;
  const auto listing = DirectoryImageManager::make(folder_.path())->fetchAssets();
  EXPECT_FALSE(listing.error);
  ASSERT_EQ(listing.videos.size(), 1U);
  EXPECT_EQ(listing.videos.front()->localIdentifier(), part + "/deep.mp4");
  std::multiset<std::string> skipped;
  for (const NSError& error : listing.skipped) {
    const std::string path = error.userInfo.at(std::string(NSFilePathErrorKey));
    EXPECT_NE(error.localizedDescription().find(path), std::string::npos);
    skipped.insert(fs::path(path).filename());
  }
  EXPECT_EQ(skipped, (std::multiset<std::string>{"dangling.mp4", part, "locked", "loop.mp4"}));
}

// Damaged in a way that has a reader search all of it: from the film's header on it is one large hole.
TEST_F(LocalVideos, ALookIntoADamagedFileIsBoundedAndEndsWithACancel) {
  const std::string film = readFile(clipFile("mjpeg.avi"));
  writeFile(folder_ / "hole.avi", film.substr(0, 32));
  fs::resize_file(folder_ / "hole.avi", std::uintmax_t{4} << 30);
  const auto photos = DirectoryImageManager::make(folder_.path());
  const auto timeOf = [&](bool cancelled) {
    const auto begin = std::chrono::steady_clock::now();
    const VideoRequested request(photos, "hole.avi");
    if (cancelled) {
      photos->cancelImageRequest(request.id);
      EXPECT_TRUE(request.wait() && request->info.cancelled);
    } else {
      request.expectRefusal(NSFileReadUnknownError, "hole.avi is not playable: looking for its video takes");
    }
    return std::chrono::steady_clock::now() - begin;
  };
  const auto whole = timeOf(false);
  EXPECT_LT(timeOf(true), whole / 2);
}

TEST_F(LocalVideos, WhatIsNotPlayableIsRefusedWithAReason) {
  const auto photos = DirectoryImageManager::make(folder_.path());
  const std::string indexed = readFile(clipFile("h264.mov"));
  const std::string early = indexed.substr(0, indexed.find("mdat") + 100);
  const std::string bare = indexed.substr(0, indexed.find("mdat") - 4) + "\0\0\0\bmdat"s;
  const std::string list = "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nfilm.mp4\n#EXT-X-ENDLIST\n";
  const std::string damaged = "it is damaged, or no video container";
  const std::string shorter = "it is shorter than its container says";
  const std::tuple<std::string, std::string, std::string> files[] = {
      {"empty.mp4", "", "the file is empty"},
      {"early.mp4", early, shorter},
      {"bare.mp4", bare, "its video has no packet that can be read"},
      {"cover.mp4", readFile(clipFile("cover.mp4")), "it has no video stream"},
      {"text.mp4", "no film at all\n", damaged},
      {"cut.mp4", film_.substr(0, film_.size() / 2), shorter},
      {"sound.mp4", readFile(clipFile("sound.mp4")), "it has no video stream"},
      {"cinepak.mov", readFile(clipFile("cinepak.mov")), "there is no decoder for cinepak"},
      {"hls.mp4", list, damaged},
      {"concat.mp4", "ffconcat version 1.0\nfile film.mp4\n", damaged}};
  for (const char* const name : {"film.mp4", ".film.mp4", "notes.txt", "locked.mp4"})
    writeFile(folder_ / name, film_);
  const auto refused = [&](const std::string& name, const std::string& content, const std::string& words) {
    writeFile(folder_ / name, content);
    VideoRequested(photos, name)
        .expectRefusal(NSFileReadCorruptFileError, name + " is not playable: " + words);
  };
  testing::internal::CaptureStderr();
  for (const auto& [name, content, words] : files) refused(name, content, words);
  // The last byte is missing, and nothing but the container knows.
  for (const std::string name :
       {"h264.MP4", "h264.mov", "hevc.mp4", "mjpeg.avi", "mpeg4.3gp", "h264.mkv", "vp8.webm", "mjpeg.qt"}) {
    const std::string whole = readFile(clipFile(name));
    refused(name, whole.substr(0, whole.size() - 1), shorter);
    writeFile(folder_ / name, whole + "trailing bytes");
    const VideoRequested request(photos, name);
    EXPECT_TRUE(request.wait() && request->asset) << name;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "libav wrote to the host's standard error";
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
  static const TemporaryFolder folder("/tmp");  // the default is made once, also if this test is repeated
  const EnvironmentVariable home("HOME", folder.path());
  const EnvironmentVariable configuration("XDG_CONFIG_HOME", folder.path());
  fs::create_directory(folder / "Videos");
  writeFile(folder / "Videos/mine.mp4", film_);
  VideoRequested request(PHImageManager::defaultManager(), "mine.mp4");
  EXPECT_TRUE(request.wait() && request->asset);
}

TEST(RequestTable, IdsStartAnewAfterTheHighestAndPassOverThoseInUse) {
  constexpr auto kHighest = std::numeric_limits<PHImageRequestID>::max();
  internal::RequestTable<int> table(kHighest - 1);
  EXPECT_EQ(table.add(nullptr), kHighest);
  EXPECT_EQ(table.add(nullptr), 1);
  internal::RequestTable<int> crowded(kHighest);
  for (int id = 1; id <= 3; ++id) EXPECT_EQ(crowded.add(nullptr), id);
}

}  // namespace
}  // namespace tq::tests
