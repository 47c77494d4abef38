#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/MainQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

// Notes what it hears in words: a fraction, "file" with its URL, an error's domain and code, or "end".
struct Recorder final : TQFileDownloaderDelegate {
  void fileDownloadingProgress(double fraction) override { words.push_back(std::to_string(fraction)); }
  void didFinishFileDownloadingAtURL(const URL& url) override {
    words.push_back("file " + url.absoluteString());
  }
  void didFinishFileDownloadingWithError(const std::optional<NSError>& error) override {
    words.push_back(error ? error->domain + std::to_string(error->code) : "end");
    if (released != nullptr) released->reset();
  }
  Words words;
  std::shared_ptr<TQFileDownloader>* released = nullptr;
};

class FileDownloader : public testing::Test {
 protected:
  FileDownloader() {
    network_->add("http://host/clip", {.body = "film", .progress = {1, 4}});
    downloader_->setDownloadDelegate(recorder_);
  }
  void begin(const URL& local) {
    downloader_->downloadFileAtRemoteLocation(*URL::parse("http://host/clip"), local);
  }
  // What is heard, and on the main queue only, until nothing more happens.
  Words hear() {
    session_->run();
    EXPECT_TRUE(recorder_->words.empty());
    main_->run();
    return std::exchange(recorder_->words, {});
  }
  Words download(const URL& local) {
    begin(local);
    return hear();
  }
  URL file(const std::string& name) { return URL::fileURLWithPath(folder_ / name); }

  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  std::shared_ptr<ManualQueue> session_ = std::make_shared<ManualQueue>();
  std::shared_ptr<ManualQueue> main_ = std::make_shared<ManualQueue>();
  std::shared_ptr<FakeNetwork> network_ = FakeNetwork::make(session_);
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::shared_ptr<TQFileDownloader> downloader_ =
      TQFileDownloader::make({.makeSession = network_->maker(), .mainQueue = main_});
};

TEST_F(FileDownloader, TellsTheFileOrTheErrorOfItsMoveAndThenAnEndWithoutError) {
  writeFile(folder_ / "old", "old");
  const URL clip = file("my clip.mov");
  const std::string cocoa = "NSCocoaErrorDomain";
  for (const auto& [local, told] : {std::pair(clip, "file " + clip.absoluteString()),
                                    {file("old"), cocoa + "516"},
                                    {file("no/such"), cocoa + "4"},
                                    {*URL::parse("http://a/b"), cocoa + "518"}})
    EXPECT_EQ(download(local), (Words{"0.250000", "1.000000", told, "end"}));
  EXPECT_EQ(readFile(folder_ / "my clip.mov"), "film");
  EXPECT_EQ(readFile(folder_ / "old"), "old");
  EXPECT_EQ(folder_.files(), 2);
}

TEST_F(FileDownloader, TellsTheQuotientWhateverTheServerSaysAndACancelOnce) {
  downloader_->cancelFileDownload();  // before any download: nothing
  for (const auto& [expected, fraction] : {std::pair{2048, "0.250000"}, {-1, "-512.000000"}, {0, "inf"}}) {
    network_->add("http://host/clip", {.progress = {512}, .expected = expected, .stalls = true});
    EXPECT_EQ(download(file("clip")), (Words{fraction}));
    downloader_->cancelFileDownload();
    EXPECT_EQ(hear(), (Words{"NSURLErrorDomain-999"}));
  }
  EXPECT_EQ(folder_.files(), 0);
}

TEST_F(FileDownloader, MayBeReleasedInItsCallbackAndGoesOnWithoutAnOwner) {
  for (const bool early : {false, true}) {
    downloader_ = TQFileDownloader::make({.makeSession = network_->maker(), .mainQueue = main_});
    downloader_->setDownloadDelegate(recorder_);
    const std::weak_ptr<TQFileDownloader> weak = downloader_;
    recorder_->released = &downloader_;
    begin(file(early ? "a" : "b"));
    if (early) downloader_.reset();
    EXPECT_EQ(hear().back(), "end");
    EXPECT_TRUE(weak.expired());
  }
  EXPECT_EQ(folder_.files(), 2);
}

TEST(FileDownloaderOnAFullDisk, EndsInItsErrorAndLeavesNothing) {
  const TemporaryFolder small;
  if (::geteuid() != 0 || std::system(("mount -t tmpfs -o size=1m x " + small.path().string()).c_str()) != 0)
    GTEST_SKIP() << "needs the right to mount a small tmpfs";
  LoopbackServer server;
  server.serve("/clip", {.generatedBytes = 4'000'000});
  const auto recorder = std::make_shared<Recorder>();
  const auto downloader = TQFileDownloader::make();
  downloader->setDownloadDelegate(recorder);
  downloader->downloadFileAtRemoteLocation(*URL::parse(server.url("/clip")),
                                           URL::fileURLWithPath(small / "clip"));
  const std::string full = "NSCocoaErrorDomain" + std::to_string(NSFileWriteOutOfSpaceError);
  EXPECT_TRUE(runMainQueueUntil([&] { return !recorder->words.empty() && recorder->words.back() == full; }));
  EXPECT_EQ(std::ranges::count(recorder->words, "1.000000"), 0);  // nor was it gathered on another disk
  EXPECT_EQ(small.files(), 0);
  EXPECT_EQ(std::system(("umount " + small.path().string()).c_str()), 0);
}

}  // namespace
}  // namespace tq::tests
