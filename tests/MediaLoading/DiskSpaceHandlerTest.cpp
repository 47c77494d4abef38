#include <gtest/gtest.h>

#include <thread>

#include "TQFoundation/MediaLoading/TQDiskSpaceHandler.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/TemporaryFolder.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;

struct Delegate final : TQDiskSpaceHandlerDelegate {
  bool didReachedMinimumDiskSpaceLimit() override {
    ++calls;
    owned = nullptr;
    return handles;
  }
  bool handles = true;
  int calls = 0;
  std::shared_ptr<TQDiskSpaceHandler> owned;
};

class DiskSpaceHandler : public testing::Test {
 protected:
  std::shared_ptr<FixedVolumeInfo> volume_ = std::make_shared<FixedVolumeInfo>(kMinDiskspace);
  std::shared_ptr<ManualQueue> loop_ = std::make_shared<ManualQueue>();
  std::shared_ptr<TQDiskSpaceHandler> handler_ =
      TQDiskSpaceHandler::make({.volumes = volume_, .runLoop = loop_});
  std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
};

TEST_F(DiskSpaceHandler, ExactlyTheMinimumIsNotEnoughForTheQuestionsAndNegativeSizesAreHuge) {
  EXPECT_EQ(handler_->minFreeDiskSpaceLimit(), 300 * 1024 * 1024);
  EXPECT_FALSE(handler_->hasAvailableFreeSpace() || handler_->hasSpaceForCopyingVideo());
  volume_->set(kMinDiskspace + 1);
  EXPECT_TRUE(handler_->hasAvailableFreeSpace() && handler_->hasSpaceForCopyingVideo());
  EXPECT_FALSE(handler_->isAvailableSpaceMoreThanSize(-1));
  handler_->setMinFreeDiskSpaceLimit(-1);
  EXPECT_FALSE(handler_->hasAvailableFreeSpace());
  EXPECT_TRUE(handler_->hasSpaceForCopyingVideo());
  volume_->set(std::nullopt);
  EXPECT_FALSE(handler_->isAvailableSpaceMoreThanSize(0));
}

TEST_F(DiskSpaceHandler, TellsItsDelegateOncePerStartAndOnlyBelowTheMinimum) {
  handler_->setDelegate(delegate_);
  handler_->startMonitoringDiskSpace();
  loop_->advance(10s);
  EXPECT_EQ(delegate_->calls, 0);  // enough is enough
  volume_->set(kMinDiskspace - 1);
  for (const int calls : {1, 2}) {
    loop_->advance(1h);
    EXPECT_EQ(delegate_->calls, calls);
    EXPECT_EQ(handler_->diskCheckTimer(), nullptr);
    handler_->startMonitoringDiskSpace();
  }
  handler_->stopMonitoringDiskSpace();  // it would keep itself
}

TEST_F(DiskSpaceHandler, GoesOnLookingWithoutAnOwnerUntilSomebodyHandlesItAndIsReleased) {
  volume_->set(0);
  const std::weak_ptr<TQDiskSpaceHandler> weak = handler_;
  handler_->startMonitoringDiskSpace();
  loop_->advance(20s);
  handler_->setDelegate(delegate_);
  delegate_->owned = std::move(handler_);
  delegate_->handles = false;
  loop_->advance(20s);
  EXPECT_EQ(delegate_->calls, 2);
  delegate_->handles = true;
  loop_->advance(20s);
  EXPECT_EQ(delegate_->calls, 3);
  EXPECT_TRUE(weak.expired());
}

TEST_F(DiskSpaceHandler, AnotherStartBeginsTheIntervalAnewWithOneTimer) {
  for (int start = 0; start < 2; ++start) {
    handler_->startMonitoringDiskSpace();
    loop_->advance(9'999ms);
    EXPECT_EQ(volume_->queries(), 0);
  }
  loop_->advance(1ms);
  EXPECT_EQ(volume_->queries(), 1);
  handler_->stopMonitoringDiskSpace();
  handler_->stopMonitoringDiskSpace();
  loop_->advance(1h);
  EXPECT_EQ(volume_->queries(), 1);
}

TEST(DiskSpaceHandlerThreads, WithoutARunLoopAreRefusedAloud) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto start = [](bool hasLoop) {
    std::thread([hasLoop] {
      const auto loop = hasLoop ? RunLoop::current() : nullptr;
      const auto handler = TQDiskSpaceHandler::make();
      handler->startMonitoringDiskSpace();
      handler->stopMonitoringDiskSpace();
    }).join();
  };
  EXPECT_DEATH(start(false), "TQFoundation: no run loop on the thread");
  start(true);
}

TEST(FreeSpace, IsAskedOfTheNearestFolderThatExists) {
  const TemporaryFolder home;
  const EnvironmentVariable homeVariable("HOME", (home / "not/there").string());
  const EnvironmentVariable config("XDG_CONFIG_HOME", (home / "config").string());
  struct Length final : VolumeInfo {
    std::optional<std::uint64_t> freeBytes(const std::filesystem::path& path) const override {
      return std::filesystem::exists(path) ? std::optional(path.string().size()) : std::nullopt;
    }
  };
  EXPECT_EQ(getTotalDiskSpaceInBytes(Length()), home.path().string().size());
  EXPECT_GT(getTotalDiskSpaceInBytes(), 0U);  // the machine's own answer
}

}  // namespace
}  // namespace tq::tests
