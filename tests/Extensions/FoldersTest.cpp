#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <optional>
#include <set>
#include <thread>
#include <vector>

#include "TQFoundation/Extensions/TQFileManagerExtensions.h"
#include "TQFoundation/Platform/Folders/Directories.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "TQFoundation/Platform/Resources/Bundle.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using Path = const fs::path&;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

const std::string kName = "com.example.folders";  // in Resources/Info.strings beside this program
constexpr uid_t kStranger = 54'321;               // whom no list of users knows
constexpr int kNotAllowed = 77;
const std::string kFallback = "**** Unable to create new directory. Returning Temporary Directory";

/// A user's folders and what lies outside of them, all in one fresh folder, and what is logged.
struct World {
  World() {
    fs::create_directories(root / "tmp");
    fs::create_directories(outside / "CloudMedias");
    writeFile(outside / "CloudMedias/film", "film");
    Log::setSink([this](const LogLine& line) { lines.emplace_back(line.message); });
  }
  ~World() {
    Log::setSink({});
    EXPECT_EQ(readFile(outside / "CloudMedias/film"), "film");
  }

  [[nodiscard]] std::set<std::string> listing() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(root.path()))
      names.insert(entry.path().string() + (entry.is_regular_file() ? ": " + readFile(entry) : "/"));
    return names;
  }

  const TemporaryFolder root{"/dev/shm"};  // disks take their time
  const fs::path temporary = root / "tmp" / (kName + '-' + std::to_string(::geteuid()));
  const fs::path support = root / "data" / kName;
  const fs::path outside = root / "outside";
  const EnvironmentVariable tmpdir{"TMPDIR", root / "tmp"};
  const EnvironmentVariable home{"HOME", root / "home"};
  const EnvironmentVariable data{"XDG_DATA_HOME", root / "data"};
  Lines lines;
};

// Runs `body` in a process and with mounts of its own.
[[nodiscard]] pid_t startChild(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child != 0) return child;
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    ::_exit(kNotAllowed);
  body();
  std::fflush(nullptr);
  ::_exit(testing::Test::HasFailure() ? 1 : 0);
}

void finish(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kNotAllowed) GTEST_SKIP() << "needs the right to mount";
  EXPECT_EQ(status, 0);
}

void sh(const std::string& command) {
  ASSERT_EQ(std::system(command.c_str()), 0) << command;  // NOLINT(concurrency-mt-unsafe): one thread
}

std::optional<fs::path> imageFolder() {
  const auto image = inAppMessageBackgroundImagePath();
  return image ? std::optional(image->filePath()->parent_path()) : std::nullopt;
}

struct Getter {
  std::string folder;
  const fs::path World::*above;
  std::function<std::optional<fs::path>()> read;
};
const Getter kGetters[] = {{"CloudMedias", &World::temporary, cloudMediaDirectoryPath},
                           {"EditingMedias", &World::temporary, editingMediaContainerDirectoryPath},
                           {"RecommendedVideos", &World::support, recommendedVideoDirectoryPath},
                           {"InAppMessageContent", &World::support, imageFolder}};

struct Situation {
  std::string prepare;  // in a shell, where $it is the folder
  std::string code{};   // of the failure: 513 where nothing is tried; none where the folder can be had
  std::string error{};
};
const Situation kSituations[] = {
    {"rm -rf data"},
    {"mkdir $it"},
    {"printf mine >$it", "file"},
    {"ln -s $PWD/outside $it"},
    {"chown 54321 outside && ln -s $PWD/outside $it", "513", "Operation not permitted"},
    {"mkdir $it && chown 54321 $it", "513", "Operation not permitted"},
    {"ln -s nowhere $it", "516", "File exists"},
    {"mount -t tmpfs -o ro,mode=700 none ${it%/*}", "642", "Read-only file system"},
    {"mount -t tmpfs -o nr_inodes=1,mode=700 none ${it%/*}", "640", "No space left on device"}};

Lines linesOf(const std::string& getter, const Situation& situation, const std::string& path) {
  const auto& [prepare, code, error] = situation;
  const bool isImage = getter == "InAppMessageContent";
  if (code.empty() || (isImage && code == "file")) return {};
  const char* const attempt = code == "513" ? "use what another user has made of " : "create the folder ";
  const std::string sentence = "cannot " + (attempt + path) + ": " + error;
  if (isImage)
    return {"====== Failed to create directory for image with Error: Domain=NSCocoaErrorDomain Code=" + code +
            " UserInfo={NSFilePath=" + path + ", NSLocalizedDescription=" + sentence + "}"};
  const std::string failed = "Failed to create Directory at Path: " + path;
  if (getter == "RecommendedVideos") return {failed};
  if (code == "file" || code == "513") return {kFallback};
  return {failed + " with error: " + sentence, kFallback};
}

TEST(FolderGetters, AnswerTheirFolderOrFallBackAndTouchNothingElse) {
  const auto check = [](const Getter& getter, const Situation& situation) {
    World world;
    const fs::path folder = world.*getter.above / getter.folder;
    static_cast<void>(NSFileManager::createDirectory(folder.parent_path()));
    sh("cd " + world.root.path().string() + " && it=" + folder.string() + " && " + situation.prepare);
    const auto before = world.listing();
    const auto lines = linesOf(getter.folder, situation, folder);
    std::optional<fs::path> answer = lines.empty() ? folder : world.temporary;
    if (!lines.empty() && getter.folder == "InAppMessageContent") answer = std::nullopt;
    for (int read = 0; read < 3; ++read) {
      world.lines.clear();
      EXPECT_EQ(getter.read(), answer);
      EXPECT_EQ(world.lines, lines);
    }
    std::set<std::string> made = world.listing();
    for (const auto& name : before) EXPECT_EQ(made.erase(name), 1U) << name;
    for (const auto& name : made) {
      EXPECT_TRUE((folder / "").string().starts_with(name) || name == world.temporary / "") << name;
      EXPECT_EQ(fs::status(name).permissions(), fs::perms::owner_all) << name;
    }
  };
  for (const Getter& getter : kGetters) {
    for (const Situation& situation : kSituations) {
      SCOPED_TRACE(getter.folder + ": " + situation.prepare);
      finish(startChild([&] { check(getter, situation); }));
    }
  }
}

class Folders : public testing::Test {
 protected:
  World world_;
};

TEST_F(Folders, AreFoundAnewWhenTheirPlaceChangesAndNeverThroughANeighboursLink) {
  for (int read = 0; read < 2; ++read) EXPECT_EQ(cloudMediaDirectoryPath(), world_.temporary / "CloudMedias");
  const TemporaryFolder elsewhere;
  {
    const EnvironmentVariable tmpdir("TMPDIR", elsewhere.path());
    EXPECT_EQ(cloudMediaDirectoryPath().parent_path().parent_path(), elsewhere.path());
  }
  fs::rename(world_.temporary, world_.root / "aside");
  fs::create_directory_symlink(world_.outside, world_.temporary);
  const fs::path other = cloudMediaDirectoryPath();
  EXPECT_EQ(other, temporaryDirectoryPath() / "CloudMedias");
  EXPECT_NE(other.parent_path(), world_.temporary);
  cleanTemporaryFiles();
}

TEST_F(Folders, AreWhereEachReadSaysAlsoWhenTheirBaseHasBeenRenamed) {
  EXPECT_EQ(cloudMediaDirectoryPath(), world_.temporary / "CloudMedias");
  fs::rename(world_.root / "tmp", world_.root / "renamed");
  int missing = 0;
  for (int read = 0; read < 1'000; ++read) missing += fs::is_directory(cloudMediaDirectoryPath()) ? 0 : 1;
  EXPECT_EQ(missing, 0);
  removeCloudMediaDirectory();
}

TEST_F(Folders, AreAPathThatCannotExistRatherThanAStrangers) {
  finish(startChild([this] {
    sh("cd " + world_.root.path().string() + " && mount -t tmpfs none tmp && mkdir -m 777 " +
       world_.temporary.string() + " && chown 54321 tmp/* && mount -o remount,ro tmp");
    const fs::path impossible = "/dev/null" / world_.temporary.filename();
    EXPECT_EQ(temporaryDirectoryPath(), impossible);
    EXPECT_EQ(temporaryDirectoryError().value_or(NSError()).localizedDescription(),
              "cannot create the temporary folder " + world_.temporary.string() + ": Read-only file system");
    EXPECT_EQ(cloudMediaDirectoryPath(), impossible);
    EXPECT_EQ(world_.lines, (Lines{"Failed to create Directory at Path: " + impossible.string() +
                                       "/CloudMedias with error: cannot create the folder " +
                                       impossible.string() + "/CloudMedias: Not a directory",
                                   kFallback}));
  }));
}

TEST_F(Folders, OfAStrangerOrOfNoHomeAreTemporaryAndTheImageIsAbsent) {
  finish(startChild([this] {
    const fs::path folder = world_.support / "RecommendedVideos";
    fs::create_directories(folder);
    sh("cd " + world_.root.path().string() + " && chown 54321 data/* && chmod 777 . tmp");
    EXPECT_EQ(recommendedVideoDirectoryPath(), world_.temporary);
    EXPECT_EQ(std::exchange(world_.lines, {}),
              Lines{"Failed to create Directory at Path: " + folder.string()});
    const EnvironmentVariable home("HOME", "");
    const EnvironmentVariable data("XDG_DATA_HOME", "relative");
    ASSERT_EQ(::setresuid(kStranger, kStranger, kStranger), 0);
    EXPECT_EQ(recommendedVideoDirectoryPath(), world_.root / "tmp" / (kName + "-54321"));
    EXPECT_EQ(imageFolder(), std::nullopt);
    EXPECT_EQ(world_.lines, Lines());
  }));
}

TEST_F(Folders, BearTheBundlesIdentifierWhereItIsHarmless) {
  const EnvironmentVariable cache("XDG_CACHE_HOME", world_.root / "cache");
  EXPECT_EQ(userCacheFolder(), world_.root / "cache" / kName);
  const EnvironmentVariable data("XDG_DATA_HOME", "relative");
  EXPECT_EQ(applicationSupportDirectories().at(0), world_.root / "home/.local/share" / kName);
  const auto identifier = [this](const std::string& name) {
    writeFile(world_.root / "Info.strings", "CFBundleIdentifier = \"" + name + "\";");
    return Bundle(world_.root.path()).identifier();
  };
  const std::string longest(100, 'n');
  for (const std::string& name : {"com.example.Studio-2_x"s, longest}) EXPECT_EQ(identifier(name), name);
  for (const std::string& name : {".."s, "a/b"s, "a b"s, "\xC3\xA4"s, longest + 'n'})
    EXPECT_EQ(identifier(name), "") << name;
}

class Cleanup : public Folders {
 protected:
  Cleanup() {
    for (Path folder : {cloud_, editing_}) {
      fs::create_directories(folder / "sub/deeper");
      writeFile(folder / "sub/clip", "clip");
      fs::create_directory_symlink(world_.outside, folder / "sub/link");
      fs::create_symlink(world_.outside / "CloudMedias/film", folder / "film");
    }
    fs::permissions(world_.temporary, fs::perms::owner_all);
    writeFile(world_.temporary / "mine", "mine");
  }
  ~Cleanup() override { EXPECT_EQ(readFile(world_.temporary / "mine"), "mine"); }

  const fs::path cloud_ = world_.temporary / "CloudMedias";
  const fs::path editing_ = world_.temporary / "EditingMedias";
};

TEST_F(Cleanup, RemovesBothFoldersAndNoLinksTarget) {
  cleanTemporaryFiles();
  EXPECT_EQ(world_.lines, (Lines{"**** Directory at path: " + cloud_.string() + " removed successfully",
                                 "**** Directory at path: " + editing_.string() + " removed successfully"}));
  EXPECT_FALSE(fs::exists(cloud_) || fs::exists(editing_));
  fs::create_directory_symlink(world_.outside, cloud_);
  removeCloudMediaDirectory();
  EXPECT_FALSE(fs::is_symlink(cloud_));
  EXPECT_TRUE(fs::is_empty(cloudMediaDirectoryPath()));
}

TEST_F(Cleanup, LeavesTheTemporaryDirectoryWhereTheGettersFallBackToIt) {
  for (Path folder : {cloud_, editing_}) {
    fs::remove_all(folder);
    writeFile(folder, "mine");
  }
  cleanTemporaryFiles();
  EXPECT_EQ(world_.lines,
            (Lines{kFallback, kFallback, "**** No directory to remove at path: " + editing_.string()}));
  EXPECT_EQ(readFile(cloud_) + readFile(editing_), "minemine");
}

TEST_F(Cleanup, RemovesWhatItCanAndTellsWhatItCannot) {
  finish(startChild([this] {
    sh("cd " + cloud_.string() + "/sub && mount -t tmpfs none deeper && printf film >deeper/film");
    sh("cd " + editing_.string() + "/sub && mount --bind deeper deeper && printf film >deeper/film");
    cleanTemporaryFiles();
    EXPECT_EQ(world_.lines, (Lines{"**** Could not remove directory at path: " + cloud_.string(),
                                   "**** Could not remove directory at path: " + editing_.string() +
                                       ". Error : cannot remove " + editing_.string() +
                                       "/sub/deeper: Device or resource busy"}));
    EXPECT_EQ(readFile(cloud_ / "sub/deeper/film") + readFile(editing_ / "sub/deeper/film"), "filmfilm");
    EXPECT_FALSE(fs::exists(cloud_ / "sub/clip") || fs::is_symlink(cloud_ / "film"));
  }));
}

TEST_F(Cleanup, OfAnOrdinaryUserLeavesClosedFoldersWithWhatIsInThem) {
  finish(startChild([this] {
    sh("cd " + cloud_.string() + " && mkdir unreadable && chmod 000 unreadable && chmod 500 sub");
    sh("cd " + world_.root.path().string() + " && chown -hR 54321 * && chmod 777 .");
    ASSERT_EQ(::setresuid(kStranger, kStranger, kStranger), 0);
    const auto error = NSFileManager::removeItem(cloud_);
    EXPECT_EQ(error.value_or(NSError()).code, NSFileWriteNoPermissionError);
    EXPECT_EQ(readFile(cloud_ / "sub/clip"), "clip");
    EXPECT_FALSE(fs::is_symlink(cloud_ / "film") || fs::exists(cloud_ / "unreadable"));
  }));
}

TEST_F(Cleanup, RemovesTheMessagesImageInSilenceAndLeavesItsFolder) {
  const fs::path content = world_.support / "InAppMessageContent";
  removeInAppMessageBackgroundImage();
  fs::create_symlink(world_.outside / "CloudMedias/film", content / "inAppMessageBackgroundImage.png");
  removeInAppMessageBackgroundImage();
  EXPECT_TRUE(fs::is_empty(content));
  EXPECT_EQ(world_.lines, Lines());
}

TEST_F(Cleanup, TakesNeitherStackNorDescriptorsForDeepFolders) {
  finish(startChild([this] {
    int folder = ::open(cloud_.c_str(), O_PATH);
    for (int level = 0; level < 20'000; ++level) {
      ASSERT_EQ(::mkdirat(folder, "d", 0700), 0);
      ::close(std::exchange(folder, ::openat(folder, "d", O_PATH)));
    }
    ::close(folder);
    constexpr rlimit kFew{.rlim_cur = 64, .rlim_max = 64};
    ::setrlimit(RLIMIT_NOFILE, &kFew);
    std::thread([this] { EXPECT_EQ(NSFileManager::removeItem(cloud_), std::nullopt); }).join();
  }));
}

TEST_F(Cleanup, IsNotLedOutByLinksThatArePlantedMeanwhile) {
  const fs::path planted = world_.root / "planted";
  const fs::path victims[] = {cloud_, cloud_ / "sub"};
  std::atomic<bool> ended = false;
  std::atomic<int> swaps = 0;
  std::thread neighbour([&] {
    for (int turn = 0; !ended; ++turn) {
      const char* const victim = victims[turn % 2].c_str();
      if (::renameat2(AT_FDCWD, planted.c_str(), AT_FDCWD, victim, RENAME_EXCHANGE) == 0) ++swaps;
    }
  });
  for (int round = 0; round < 3'000 || (swaps < 1'000 && round < 300'000); ++round) {
    static_cast<void>(!::symlink(world_.outside.c_str(), planted.c_str()));
    for (Path folder : victims) ::mkdir(folder.c_str(), 0700);
    for (Path item : {cloud_, planted}) static_cast<void>(NSFileManager::removeItem(item));
  }
  ended = true;
  neighbour.join();
  EXPECT_GE(swaps, 1'000);
}

TEST_F(Cleanup, RacesWithGettersOfOtherProcessesAndLosesNothingOfTheirs) {
  const auto use = [this] {
    for (int round = 0; round < 10'000; ++round) {
      ASSERT_EQ(cloudMediaDirectoryPath(), cloud_);
      writeFile(cloud_ / std::to_string(::getpid()), "clip");
      removeCloudMediaDirectory();
    }
    for (const auto& line : world_.lines) ASSERT_NE(line.find("irectory at path: "), line.npos) << line;
  };
  const pid_t other = startChild(use);
  finish(startChild(use));
  finish(other);
}

}  // namespace
}  // namespace tq::tests
