// Runs the real program in its working folders.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tq/RunTq.h"

namespace tq::tests {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class TqFolders : public testing::Test {
 protected:
  TqFolders() {
    fs::create_directories(cloud_ / "sub");
    fs::permissions(temporary_, fs::perms::owner_all);
    writeFile(cloud_ / "a.mov", std::string(1'500'000, 'a'));
    writeFile(cloud_ / "sub/b.mov", std::string(40'000, 'b'));
    writeFile(sandbox_.root / "film", std::string(9'000'000, 'f'));
    fs::create_symlink(sandbox_.root / "film", cloud_ / "link");
  }

  Finished run(const std::vector<std::string>& arguments, const std::string& locale = "C") {
    return runTq(sandbox_, arguments, {data_, "LC_ALL=" + locale});
  }

  Sandbox sandbox_;
  const std::string data_ = "XDG_DATA_HOME=" + (sandbox_.home / "data").string();
  const fs::path temporary_ = sandbox_.temporary / ("tq-" + std::to_string(::geteuid()));
  const fs::path cloud_ = temporary_ / "CloudMedias";
  const fs::path content_ = sandbox_.home / "data/tq/InAppMessageContent";
};

TEST_F(TqFolders, ShowsWhatEachHoldsInTheUsersLocale) {
  writeFile(temporary_ / "EditingMedias", "");
  const auto text = [this](const std::string& size) {
    return "temporary      4 files, " + size + "  " + temporary_.string() + "\ncloud media    3 files, " +
           size + "  " + cloud_.string() +
           "\nediting media  none             cannot be had\nvideos         empty            " +
           (sandbox_.home / "data/tq/RecommendedVideos").string() + "\nmessage image  none             " +
           (content_ / "inAppMessageBackgroundImage.png").string() + "\n";
  };
  for (const auto& [locale, size] :
       {std::pair("en_US.UTF-8", "1.5 MB"), std::pair("de_DE.UTF-8", "1,5 MB")}) {
    const auto tq = run({"folders"}, locale);
    EXPECT_EQ(tq.out, text(size));
    EXPECT_EQ(tq.error, "tq: Unable to create new directory. Returning Temporary Directory\n");
  }
}

TEST_F(TqFolders, CleansOnlyWhatItIsToldTo) {
  const auto refused = run({"clean"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.error, HasSubstr("--yes"));
  EXPECT_TRUE(fs::exists(cloud_ / "sub/b.mov"));

  fs::create_directories(content_);
  writeFile(content_ / "inAppMessageBackgroundImage.png", "image");
  const auto cleaned = run({"clean", "--yes"});
  EXPECT_EQ(cleaned.exitCode, 0);
  EXPECT_EQ(cleaned.out, "Removed:\ncloud media    3 files, 1.5 MB  " + cloud_.string() + "\n");
  EXPECT_EQ(cleaned.error, "");
  EXPECT_EQ(fs::file_size(sandbox_.root / "film"), 9'000'000U);
  EXPECT_THAT(run({"clean", "--yes", "--image"}).out, HasSubstr("message image  1 file, 5 bytes  "));
  EXPECT_TRUE(fs::is_empty(content_));
  EXPECT_EQ(run({"clean"}).out, "There is nothing to remove.\n");
}

TEST_F(TqFolders, AsksOnATerminal) {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (terminal < 0) GTEST_SKIP() << "needs a pseudo terminal (/dev/pts)";
  ::close(terminal);
  const std::tuple<std::string, int, bool> answers[] = {
      {"\n", 1, true}, {"\x04", 130, true}, {"\x03", 130, true}, {"y\n", 0, false}};
  for (const auto& [answer, exitCode, stays] : answers) {
    RunningTq tq(sandbox_, {"clean"}, {data_}, 80);
    tq.typeAfter("[y/N] ", answer);
    const auto ended = tq.finish();
    EXPECT_EQ(ended.exitCode, exitCode) << ended.error;
    EXPECT_EQ(fs::exists(cloud_), stays);
  }
}

}  // namespace
}  // namespace tq::tests
