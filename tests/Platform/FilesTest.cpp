#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <thread>

#include "TQFoundation/Platform/Core/Directories.h"
#include "TQFoundation/Platform/Core/NSFileManager.h"
#include "TQFoundation/Platform/Support/URL.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using namespace platform;

// Within a file system and across two.
class MoveItem : public testing::TestWithParam<const char*> {
 protected:
  TemporaryFolder source_;
  TemporaryFolder target_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Volumes, MoveItem, testing::Values("/tmp", "/dev/shm"),
                         [](const auto& where) { return where.param[1] == 't' ? "Same" : "Other"; });

TEST_P(MoveItem, MovesTheBytesAndLeavesWhateverIsInTheWayAsItIs) {
  fs::create_directory(target_ / "folder");
  fs::create_symlink(target_ / "nowhere", target_ / "dangling");
  writeFile(target_ / "file", "old");
  const std::string bytes(3'000'000, 'm');
  writeFile(source_ / "a", bytes);
  for (const auto& [name, code] : {std::pair("folder", NSFileWriteFileExistsError),
                                   {"dangling", NSFileWriteFileExistsError},
                                   {"file", NSFileWriteFileExistsError},
                                   {"no/b", NSFileNoSuchFileError}}) {
    const auto error = NSFileManager::moveItem(source_ / "a", target_ / name);
    ASSERT_TRUE(error) << name;
    EXPECT_EQ(error->code, code) << name;
  }
  EXPECT_EQ(readFile(target_ / "file"), "old");
  EXPECT_FALSE(fs::exists(target_ / "nowhere"));
  EXPECT_EQ(NSFileManager::moveItem(source_ / "a", target_ / "b"), std::nullopt);
  EXPECT_EQ(readFile(target_ / "b"), bytes);
  EXPECT_EQ(target_.files(), 3);
  EXPECT_EQ(source_.files(), 0);
}

TEST_P(MoveItem, OfManyRacersExactlyOneWins) {
  constexpr int kRacers = 8;
  constexpr int kRounds = 100;
  std::atomic<int> wins = 0;
  std::barrier start(kRacers);
  std::vector<std::thread> racers;
  for (int racer = 0; racer < kRacers; ++racer) {
    racers.emplace_back([&, own = source_ / std::to_string(racer)] {
      for (int round = 0; round < kRounds; ++round) {
        writeFile(own, "mine");
        start.arrive_and_wait();
        if (!NSFileManager::moveItem(own, target_ / std::to_string(round))) ++wins;
      }
    });
  }
  for (auto& racer : racers) racer.join();
  EXPECT_EQ(wins, kRounds);
  EXPECT_EQ(target_.files(), kRounds);
}

TEST(MoveItemOnAFullDisk, FailsAndLeavesTheFileWhereItWas) {
  const TemporaryFolder source;
  const TemporaryFolder target;
  if (::geteuid() != 0 || std::system(("mount -t tmpfs -o size=1m x " + target.path().string()).c_str()) != 0)
    GTEST_SKIP() << "needs the right to mount a small tmpfs";
  writeFile(source / "a", std::string(2'000'000, 'f'));
  const auto error = NSFileManager::moveItem(source / "a", target / "a");
  EXPECT_EQ(target.files(), 0);
  EXPECT_EQ(std::system(("umount " + target.path().string()).c_str()), 0);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, NSFileWriteOutOfSpaceError);
  EXPECT_EQ(fs::file_size(source / "a"), 2'000'000U);
}

TEST(CreateDirectory, MakesAllOfThemForThisUserAloneAndTellsWhatIsInTheWay) {
  const TemporaryFolder folder;
  for (const char* const name : {"a/b", "a/b/"})
    EXPECT_EQ(NSFileManager::createDirectory(folder / name), std::nullopt);
  EXPECT_EQ(fs::status(folder / "a/b").permissions(), fs::perms::owner_all);
  writeFile(folder / "file", "");
  for (const char* const name : {"file", "file/below"}) {
    const auto error = NSFileManager::createDirectory(folder / name);
    ASSERT_TRUE(error) << name;
    EXPECT_NE(error->localizedDescription().find((folder / "file").string()), std::string::npos);
  }
}

class TemporaryDirectory : public testing::Test {
 protected:
  const TemporaryFolder base_;
  const EnvironmentVariable variable_{"TMPDIR", base_.path().string()};
  const fs::path usual_ = base_ / (programName() + "-" + std::to_string(::geteuid()));
};

TEST_F(TemporaryDirectory, IsOnePrivateFolderOfThisUserAndProgram) {
  EXPECT_EQ(NSTemporaryDirectory(), usual_);
  fs::permissions(usual_, fs::perms::all);
  EXPECT_EQ(NSTemporaryDirectory(), usual_);  // one's own that others could write is closed to them
  EXPECT_EQ(fs::status(usual_).permissions(), fs::perms::owner_all);
}

TEST_F(TemporaryDirectory, IsAFreshFolderWhereSomethingElseHasTheName) {
  const TemporaryFolder elsewhere;
  fs::create_directory_symlink(elsewhere.path(), usual_);
  const auto fresh = NSTemporaryDirectory();
  EXPECT_NE(fresh, usual_);
  EXPECT_EQ(fresh.parent_path(), base_.path());
  EXPECT_EQ(fs::symlink_status(fresh).type(), fs::file_type::directory);
  EXPECT_EQ(fs::status(fresh).permissions(), fs::perms::owner_all);
  if (::geteuid() != 0) return;
  fs::remove(usual_);
  fs::create_directory(usual_);
  ASSERT_EQ(::chown(usual_.c_str(), 12'345, 12'345), 0);
  EXPECT_EQ(NSTemporaryDirectory(), fresh);  // another user's
}

TEST(UserFolders, FollowTheUsersConfiguration) {
  const TemporaryFolder home;
  const EnvironmentVariable homeVariable("HOME", home.path().string());
  const EnvironmentVariable config("XDG_CONFIG_HOME", home.path().string());
  EXPECT_EQ(userFolder(UserFolder::documents), home / "Documents");
  writeFile(home / "user-dirs.dirs",
            "# comment\nXDG_VIDEOS_DIR=\"$HOME/My \\\"Films\\\"\"\nXDG_DOCUMENTS_DIR=\"/data/doc\"\n");
  EXPECT_EQ(userFolder(UserFolder::videos), home / "My \"Films\"");
  EXPECT_EQ(userFolder(UserFolder::documents), "/data/doc");
  writeFile(home / "user-dirs.dirs",
            "XDG_VIDEOS_DIR=relative\nXDG_VIDEOS_DIR=\"relative\"\nXDG_VIDEOS_DIR=\"");
  EXPECT_EQ(userFolder(UserFolder::videos), home / "Videos");
}

TEST(URLText, OfFilesGoesThereAndBackWhateverTheirName) {
  for (const std::string name : {"/a b", "/ä%2F#?&=", "/a\\b", "/new\nline", "/%", "/-._~:@!$'()*+,;="}) {
    const auto url = URL::fileURLWithPath(name);
    EXPECT_EQ(url.filePath(), fs::path(name)) << url.absoluteString();
    EXPECT_TRUE(URL::parse(url.absoluteString())) << url.absoluteString();
  }
  EXPECT_EQ(URL::fileURLWithPath("a").filePath(), fs::absolute("a"));
}

TEST(URLText, IsRefusedWhenItIsNoneAndNamesNoFileElsewhere) {
  for (const char* const text : {"", "http://a b", "http://a/%4", "http://a:port/", "http://[::1", "a\nb"})
    EXPECT_FALSE(URL::parse(text)) << text;
  for (const char* const text : {"http://host/f", "file://other/f", "f", "file:///a%00b", "file://"}) {
    const auto url = URL::parse(text);
    ASSERT_TRUE(url) << text;
    EXPECT_FALSE(url->filePath()) << text;
  }
  EXPECT_TRUE(URL::parse("HTTPS://Host/%7e")->isHTTP());
}

}  // namespace
}  // namespace tq::tests
