#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>

#include "TQFoundation/MediaLoading/TQFileDownloader.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/MainQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using namespace platform;

// Notes what it hears in words: "progress", "file", "end" or the error's code.
class Recorder final : public TQFileDownloaderDelegate {
 public:
  void fileDownloadingProgress(double fraction) override {
    EXPECT_TRUE(DispatchQueue::main()->isCurrent());
    fractions.push_back(fraction);
  }
  void didFinishFileDownloadingAtURL(const URL& url) override {
    events.push_back("file " + url.absoluteString());
  }
  void didFinishFileDownloadingWithError(const std::optional<NSError>& ended) override {
    events.push_back(ended ? std::to_string(ended->code) : "end");
    if (ended) error = ended;
    if (released != nullptr) released->reset();
  }
  std::vector<double> fractions;
  std::vector<std::string> events;
  std::optional<NSError> error;
  std::shared_ptr<TQFileDownloader>* released = nullptr;
};

class FileDownloader : public testing::Test {
 protected:
  void download(const std::string& url, const std::filesystem::path& file) {
    downloader_->setDownloadDelegate(recorder_);
    downloader_->downloadFileAtRemoteLocation(*URL::parse(url), URL::fileURLWithPath(file));
  }
  bool waitForEvents(std::size_t count) {
    return runMainQueueUntil([&] { return recorder_->events.size() >= count; });
  }

  TemporaryFolder folder_;
  EnvironmentVariable temporary_{"TMPDIR", folder_.path().string()};
  LoopbackServer server_;
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::shared_ptr<TQFileDownloader> downloader_ = TQFileDownloader::make();
};

TEST_F(FileDownloader, ASuccessTellsTheFileAndThenAnEndWithoutError) {
  server_.serve("/clip", {.body = "film"});
  const auto file = folder_ / "my clip.mov";
  download(server_.url("/clip?sig=1"), file);
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(recorder_->events,
            (std::vector<std::string>{"file " + URL::fileURLWithPath(file).absoluteString(), "end"}));
  EXPECT_EQ(recorder_->fractions.back(), 1.0);
  EXPECT_EQ(readFile(file), "film");
  EXPECT_EQ(folder_.files(), 1);
}

TEST_F(FileDownloader, WhatIsInTheWayStaysAndTheMovesErrorComesFirst) {
  server_.serve("/clip", {.body = "film"});
  writeFile(folder_ / "old", "old");
  download(server_.url("/clip"), folder_ / "old");
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(recorder_->events, (std::vector<std::string>{"516", "end"}));
  EXPECT_EQ(readFile(folder_ / "old"), "old");
  download(server_.url("/clip"), folder_ / "no/such");
  ASSERT_TRUE(waitForEvents(4));
  EXPECT_EQ(recorder_->events[2], "4");
  downloader_->downloadFileAtRemoteLocation(*URL::parse(server_.url("/clip")), *URL::parse("http://a/b"));
  ASSERT_TRUE(waitForEvents(6));
  EXPECT_EQ(recorder_->events[4], "518");
  EXPECT_EQ(folder_.files(), 1);
}

TEST_F(FileDownloader, TheBodyOfAnErrorPageIsAFileLikeAnyOther) {
  download(server_.url("/unknown"), folder_ / "page");
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_EQ(recorder_->events.back(), "end");
  EXPECT_FALSE(readFile(folder_ / "page").empty());
  EXPECT_EQ(downloader_->downloadTask()->response()->statusCode, 404);
}

TEST_F(FileDownloader, CancelTellsItsErrorOnceAndLeavesNothing) {
  downloader_->cancelFileDownload();  // before any download: nothing
  server_.serve("/clip",
                {.body = std::string(9'000, 'x'), .fault = Reply::Fault::stallInBody, .faultAfter = 99});
  download(server_.url("/clip"), folder_ / "clip");
  ASSERT_TRUE(runMainQueueUntil([&] { return !recorder_->fractions.empty(); }));
  downloader_->cancelFileDownload();
  ASSERT_TRUE(waitForEvents(1));
  EXPECT_TRUE(staysQuiet([&] { return recorder_->events.size() > 1; }, std::chrono::milliseconds(100)));
  EXPECT_EQ(recorder_->events, (std::vector<std::string>{"-999"}));
  EXPECT_EQ(folder_.files(), 0);
}

TEST_F(FileDownloader, ADiskThatFillsUpEndsInItsError) {
  const TemporaryFolder small;
  if (::geteuid() != 0 || std::system(("mount -t tmpfs -o size=1m x " + small.path().string()).c_str()) != 0)
    GTEST_SKIP() << "needs the right to mount a small tmpfs";
  server_.serve("/clip", {.generatedBytes = 4'000'000});
  download(server_.url("/clip"), small / "clip");
  EXPECT_TRUE(waitForEvents(1));
  EXPECT_EQ(small.files(), 0);
  EXPECT_EQ(std::system(("umount " + small.path().string()).c_str()), 0);
  ASSERT_TRUE(recorder_->error);
  EXPECT_EQ(recorder_->error->domain, NSCocoaErrorDomain);
  EXPECT_EQ(recorder_->error->code, NSFileWriteOutOfSpaceError);
}

TEST_F(FileDownloader, MayBeReleasedInItsCallbackAndGoesOnWithoutAnOwner) {
  server_.serve("/clip", {.body = "film"});
  recorder_->released = &downloader_;
  const std::weak_ptr<TQFileDownloader> weak = downloader_;
  download(server_.url("/clip"), folder_ / "a");
  ASSERT_TRUE(waitForEvents(2));
  EXPECT_TRUE(runMainQueueUntil([&] { return weak.expired(); }, std::chrono::seconds(5)) || weak.expired());

  downloader_ = TQFileDownloader::make();
  download(server_.url("/clip"), folder_ / "b");
  downloader_.reset();
  ASSERT_TRUE(waitForEvents(4));
  EXPECT_EQ(readFile(folder_ / "b"), "film");
}

TEST(FileDownloaderProgress, IsTheQuotientWhateverTheServerSays) {
  const auto queue = std::make_shared<doubles::ManualQueue>();
  const auto network = doubles::FakeNetwork::make(queue);
  struct Fractions final : TQFileDownloaderDelegate {
    void fileDownloadingProgress(double fraction) override { all.push_back(fraction); }
    void didFinishFileDownloadingAtURL(const URL&) override {}
    void didFinishFileDownloadingWithError(const std::optional<NSError>&) override {}
    std::vector<double> all;
  };
  const auto delegate = std::make_shared<Fractions>();
  const auto downloader = TQFileDownloader::make({.makeSession = network->maker(), .mainQueue = queue});
  downloader->setDownloadDelegate(delegate);
  for (const std::int64_t expected : {2048, -1, 0}) {
    network->add("http://a/", {.progress = {512}, .expected = expected, .stalls = true});
    downloader->downloadFileAtRemoteLocation(*URL::parse("http://a/"), URL::fileURLWithPath("/tmp/none"));
    queue->run();
    downloader->cancelFileDownload();
    queue->run();
  }
  ASSERT_EQ(delegate->all.size(), 3U);
  EXPECT_EQ(delegate->all[0], 0.25);
  EXPECT_EQ(delegate->all[1], -512);
  EXPECT_TRUE(std::isinf(delegate->all[2]));
}

}  // namespace
}  // namespace tq::tests
