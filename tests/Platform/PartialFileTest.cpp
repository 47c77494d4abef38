#include "TQFoundation/Platform/Files/PartialFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "TQFoundation/Platform/Base/Sha256.h"
#include "TQFoundation/Platform/Files/Leftovers.h"
#include "TQFoundation/Platform/Files/SystemCalls.h"
#include "TQFoundation/Platform/Files/TemporaryFile.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::internal {
namespace {

namespace fs = std::filesystem;
using tests::readFile;
using tests::TemporaryFolder;
using tests::writeFile;
using enum PartialFile::IfMissing;

TEST(Sha256, IsTheStandardsAtTheEdgesOfItsBlocks) {
  EXPECT_EQ(sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

constexpr std::int64_t kTotal = 100'000;

PartialContent contentOf(char letter) {
  return {.validator = {.entityTag = '"' + std::string(100, letter) + '"'}, .total = kTotal, .source = "s"};
}

class PartialFiles : public testing::Test {
 protected:
  std::shared_ptr<PartialFile> claim(PartialFile::IfMissing ifMissing = absent) const {
    return PartialFile::claim(folder_.path(), "key", ifMissing);
  }
  void leave(std::size_t bytes) const {
    const auto partial = claim(created);
    ASSERT_TRUE(partial);
    ASSERT_EQ(partial->restart(contentOf('a')), 0);
    ASSERT_EQ(partial->write(std::string(bytes, 'a').data(), bytes), 0);
    partial->checkpoint();
  }
  // In a process of its own, which `work` may end otherwise.
  static pid_t start(const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) work(), ::_exit(0);
    return child;
  }
  static void wait(pid_t child) { ::waitpid(child, nullptr, 0); }

  TemporaryFolder folder_;
  const fs::path file_ = folder_ / (".tq-" + sha256("key") + ".part");
  const fs::path journal_ = folder_ / (".tq-" + sha256("key") + ".journal");
};

TEST_F(PartialFiles, ContinueWithWhatTheJournalVouchesForAndNothingElse) {
  const PartialJournal good{
      .key = sha256("key"), .content = contentOf('a'), .boot = bootIdentifier(), .checkpointed = 300};
  auto otherBoot = good, otherKey = good, noBoot = good, longer = good, huge = good;
  otherBoot.boot = "another";
  noBoot.boot = "";
  otherKey.key = sha256("other");
  longer.content.total = 400;
  otherBoot.checkpointed = noBoot.checkpointed = 200;
  huge.boot = "another";
  huge.checkpointed = kTotal;
  std::string otherVersion = *encode(good), zeroed(kJournalBytes, '\0');
  otherVersion.replace(otherVersion.find('1'), 1, "2");
  const std::tuple<const char*, std::string, std::int64_t> cases[] = {
      {"the same boot", *encode(good), 500},
      {"another boot", *encode(otherBoot), 200},
      {"boots look alike", *encode(noBoot), 200},
      {"more than there is", *encode(huge), 500},
      {"more than the total", *encode(longer), 0},
      {"another key", *encode(otherKey), 0},
      {"another version", otherVersion, 0},
      {"zeroed", zeroed, 0},
      {"empty", "", 0},
      {"a byte too many", *encode(good) + '\n', 0}};
  for (const auto& [what, bytes, usable] : cases) {
    SCOPED_TRACE(what);
    leave(500);
    writeFile(journal_, bytes);
    const auto partial = claim();
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->usableBytes(), usable);
    if (usable == 0) continue;
    EXPECT_EQ(partial->content(), good.content);
    EXPECT_EQ(partial->continueAt(partial->usableBytes()) + partial->write("b", 1), 0);
    EXPECT_EQ(readFile(file_), std::string(static_cast<std::size_t>(usable), 'a') + 'b');
  }
  const std::string whole = *encode(good);
  EXPECT_EQ(decode(whole), good);
  for (std::size_t i = 0; i < whole.size(); ++i) {
    EXPECT_FALSE(decode(whole.substr(0, i))) << i;
    for (const int bit : {1, 64}) {
      std::string damaged = whole;
      damaged[i] = static_cast<char>(damaged[i] ^ bit);
      EXPECT_FALSE(decode(damaged)) << i;
    }
  }
}

TEST_F(PartialFiles, AreLeftAloneUnlessTheyAreThisUsersOwn) {
  const TemporaryFolder elsewhere;
  const fs::path other = elsewhere / "precious";
  const std::pair<const char*, std::function<void(const fs::path&)>> cases[] = {
      {"a link", [&](const fs::path& at) { fs::create_symlink(other, at); }},
      {"a second name", [&](const fs::path& at) { fs::create_hard_link(other, at); }},
      {"a pipe", [](const fs::path& at) { ::mkfifo(at.c_str(), 0600); }},
      {"a folder", [](const fs::path& at) { fs::create_directory(at); }},
      {"another user's", [](const fs::path& at) {
         writeFile(at, "");
         ::chmod(at.c_str(), 0600);
         if (::chown(at.c_str(), 12345, 12345) != 0) fs::permissions(at, fs::perms(04600));
       }}};
  for (const auto& [what, plant] : cases) {
    for (const fs::path& at : {journal_, file_}) {
      SCOPED_TRACE(what);
      writeFile(other, "precious");
      plant(at);
      EXPECT_FALSE(claim(created));
      EXPECT_EQ(readFile(other), "precious");
      fs::remove_all(journal_), fs::remove_all(file_);
    }
  }
  leave(10);
  struct stat info {};
  EXPECT_TRUE(::stat(journal_.c_str(), &info) == 0 && (info.st_mode & 07777) == 0600);
  fs::permissions(journal_, fs::perms(0660));
  EXPECT_FALSE(claim());
}

TEST_F(PartialFiles, HaveOneOwnerUntilItsEndHoweverThatComes) {
  EXPECT_FALSE(claim());
  EXPECT_EQ(folder_.files(), 0);
  int toChild[2], toParent[2];
  ASSERT_TRUE(::pipe(toChild) == 0 && ::pipe(toParent) == 0);
  char byte = 0;
  const pid_t owner = start([&] {
    const auto partial = claim(created);
    static_cast<void>(partial->restart(contentOf('a')) + partial->write("aaaa", 4));
    static_cast<void>(!::write(toParent[1], "x", 1) + !::read(toChild[0], &byte, 1));
  });
  ASSERT_EQ(::read(toParent[0], &byte, 1), 1);
  EXPECT_FALSE(claim());
  EXPECT_FALSE(claim(created));
  ::kill(owner, SIGKILL);
  wait(owner);
  {
    const auto partial = claim();
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->usableBytes(), 4);
    EXPECT_FALSE(claim(created));  // in one process as well
    partial->discard();
    // An owner of the name's next files is not disturbed by one that has given them up.
    const auto next = claim(created);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->usableBytes(), 0);
    partial->checkpoint();
  }
  EXPECT_TRUE(claim());
  for (const int end : {toChild[0], toChild[1], toParent[0], toParent[1]}) ::close(end);
}

// Each version is made of its own letter, and the journal's tag names it.
TEST_F(PartialFiles, HoldOneVersionWheneverTheirOwnerIsKilled) {
  std::int64_t kept = 0;
  for (int i = 0; i < 150; ++i) {
    const pid_t owner = start([&] {
      const auto partial = claim(created);
      if (partial->usableBytes() > 0 && i % 2 != 0)
        static_cast<void>(partial->continueAt(partial->usableBytes()));
      for (char letter = 'a';; letter = static_cast<char>(letter == 'z' ? 'a' : letter + 1)) {
        const std::string piece(7'000, letter);
        static_cast<void>(partial->restart(contentOf(letter)));
        for (int j = 0; j < 14; ++j) static_cast<void>(partial->write(piece.data(), piece.size()));
        if (letter % 8 == 0) partial->checkpoint();
      }
    });
    ::usleep(static_cast<useconds_t>(1'000 + i * 37 % 4'000));
    ::kill(owner, SIGKILL);
    wait(owner);
    const auto partial = claim();
    if (!partial || partial->usableBytes() == 0) continue;
    kept += partial->usableBytes();
    const char letter = partial->content().validator.entityTag[1];
    const std::string bytes = readFile(file_);
    EXPECT_EQ(bytes.find_first_not_of(letter), std::string::npos) << i;
  }
  EXPECT_GT(kept, 0);
}

TEST_F(PartialFiles, ReportAFullDiskAtEachWriteAndKeepWhatWasWritten) {
  for (rlim_t limit = 0; limit < 4'096; limit += 256) {
    const pid_t owner = start([&] {
      ::signal(SIGXFSZ, SIG_IGN);
      const rlimit small{limit, limit};
      ::setrlimit(RLIMIT_FSIZE, &small);
      const auto partial = claim(created);
      const std::string bytes(4'096, 'a');
      if (!partial) ::_exit(1);
      if (partial->restart(contentOf('a')) == 0 && partial->write(bytes.data(), bytes.size()) == 0)
        ::_exit(2);
    });
    int status = 0;
    ::waitpid(owner, &status, 0);
    EXPECT_EQ(status, 0) << limit;
    const auto partial = claim();
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->usableBytes(), limit < kJournalBytes ? 0 : static_cast<std::int64_t>(limit));
    partial->discard();
  }
  EXPECT_FALSE(PartialFile::claim("/proc/none", "key", created));
}

TEST(ReservedSpace, IsTakenAtOnceOrRefusedAndGivenBack) {
  const TemporaryFolder folder("/dev/shm");
  const auto partial = PartialFile::claim(folder.path(), "key", created);
  ASSERT_TRUE(partial);
  auto content = contentOf('a');
  content.total = std::int64_t{1} << 50;
  ASSERT_EQ(partial->restart(content), 0);
  if (const int error = partial->reserve(); error != ENOSPC) GTEST_SKIP() << "not on this volume: " << error;
  content.total = 8 << 20;
  ASSERT_EQ(partial->restart(content) + partial->reserve() + partial->write("a", 1), 0);
  struct stat info {};
  EXPECT_TRUE(::stat(partial->path().c_str(), &info) == 0 && info.st_blocks * 512 == content.total);
  EXPECT_EQ(info.st_size, 1);
  partial->trim();
  EXPECT_TRUE(::stat(partial->path().c_str(), &info) == 0 && info.st_blocks * 512 <= 65'536);
  EXPECT_EQ(info.st_size, 1);
}

TEST(Leftovers, AreRemovedWhenTheyAreOldAndNobodyHasThem) {
  const TemporaryFolder folder;
  const auto make = [&](const std::string& name, int daysOld) {
    writeFile(folder / name, "12345");
    const timespec time{.tv_sec = ::time(nullptr) - daysOld * 86'400L - 60, .tv_nsec = 0};
    const timespec times[] = {time, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder / name).c_str(), times, 0), 0);
    ::chmod((folder / name).c_str(), 0600);
  };
  const auto partial = [](const char* key, const char* ending) { return ".tq-" + sha256(key) + ending; };
  const std::string kept[] = {".download-0123456789abcde0",
                              ".download-0123456789abcdeg",
                              "mine.part",
                              ".tq-" + std::string(63, 'a') + ".part",
                              partial("young", ".part"),
                              partial("owned", ".journal"),
                              ".download-0123456789abcde1"};
  const std::string gone[] = {".download-0123456789abcdef", partial("old", ".part"),
                              partial("old", ".journal"), partial("torn", ".part")};
  for (const std::string& name : kept) make(name, 9);
  for (const std::string& name : gone) make(name, 9);
  make(kept[0], 0);
  make(partial("young", ".part"), 6);
  make(".download-0123456789abcde1", -30);  // the clock was set back
  const auto owner = PartialFile::claim(folder.path(), "owned", absent);
  make(partial("owned", ".part"), 9);
  EXPECT_GT(removeLeftovers(folder.path()), 0);
  for (const std::string& name : kept) EXPECT_TRUE(fs::exists(folder / name)) << name;
  for (const std::string& name : gone) EXPECT_FALSE(fs::exists(folder / name)) << name;
  EXPECT_EQ(folder.files(), std::ssize(kept) + 1);
}

}  // namespace
}  // namespace tq::internal
