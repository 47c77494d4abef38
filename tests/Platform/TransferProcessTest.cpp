#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "tests/support/LoopbackServer.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

// Programs that fetch from the server, and the folder in which each file of theirs would show.
class TransferProcess : public testing::Test {
 protected:
  // Runs one to its end; returns its exit code, or -1 when a signal ended it. The search for leaks is off: it
  // needs the threads that a fork or a limit takes away.
  int run(const std::string& url, const std::string& how, int microseconds = 0,
          const std::string& before = {}) {
    const std::string command = before + " ASAN_OPTIONS=detect_leaks=0 TMPDIR=" + folder_.path().string() +
                                " " TQ_TRANSFER_PROGRAM " " + url + ' ' + how + ' ' +
                                std::to_string(microseconds) + " 2>&1";
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    output_.clear();
    for (int c; (c = std::fgetc(pipe)) != EOF;)
      if (output_.size() < 2'000) output_ += static_cast<char>(c);
    const int status = ::pclose(pipe);
    return WIFEXITED(status) && WEXITSTATUS(status) < 128 ? WEXITSTATUS(status) : -1;
  }

  LoopbackServer server_;
  TemporaryFolder folder_;
  std::string output_;
};

// The server speaks no https: the set-up, in which certificates are read, goes on until the program ends.
TEST_F(TransferProcess, EndsAtAnyMomentWithoutACrashOrAFile) {
  server_.serve("/slow",
                {.generatedBytes = 64 << 20, .pause = std::chrono::milliseconds(1), .pauseEvery = 4096});
  server_.serve("/files", {.body = std::string(9'000, 'f')});
  const std::string urls[] = {"https" + server_.url("/").substr(4), server_.url("/slow"),
                              server_.url("/files")};
  const char* const ways[] = {"return", "exit", "cancel", "fork"};
  for (int i = 0; i < 48; ++i) {
    const int moment = i * 7'919 % 61'000;
    EXPECT_EQ(run(urls[i % 3], ways[i / 3 % 4], moment), 0)
        << ways[i / 3 % 4] << ' ' << moment << ' ' << output_;
  }
  EXPECT_EQ(run(server_.url("/slow"), "inside", 10'000'000), 0) << output_;
  EXPECT_EQ(folder_.files(), 0);
}

TEST_F(TransferProcess, FetchesManyAtOnceWithFewDescriptors) {
  server_.serve("/", {.body = std::string(50'000, 'm')});
  EXPECT_EQ(run(server_.url("/"), "many", 0, "ulimit -n 64;"), 0) << output_;
  EXPECT_EQ(server_.requests("/"), 300);
  EXPECT_LE(server_.connections(), 6U);
}

TEST_F(TransferProcess, SaysAtOnceWhichMeansTheSystemRefuses) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP()
      << "the sanitizer looks at objects through a pipe, and calls them invalid without a descriptor";
#endif
  server_.serve("/", {.body = "x"});
  EXPECT_EQ(run(server_.url("/"), "descriptors", 0, "ulimit -n 64;"), 0) << output_;
  for (const char* const missing : {"no descriptor or memory is left", "no connection: Too many open files",
                                    "cannot create a temporary file in"})
    EXPECT_NE(output_.find(missing), std::string::npos) << output_;
  if (::geteuid() != 0) GTEST_SKIP() << "needs the right to become a user without processes";
  EXPECT_EQ(run(server_.url("/"), "threads"), 1);
  EXPECT_NE(output_.find("the system has no thread left"), std::string::npos) << output_;
}

}  // namespace
}  // namespace tq::tests
