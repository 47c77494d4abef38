#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <thread>

#include "TQFoundation/Platform/Ports/PHImageManager.h"

namespace tq::tests {

/// One request, and what its handlers have been told so far. Every call by the library is checked against
/// what the port promises.
class VideoRequested {
 public:
  using OnProgress = std::function<void(bool& stop)>;

  /// Starts it, and holds the library no longer than that takes.
  VideoRequested(std::shared_ptr<platform::PHImageManager> manager, const std::string& identifier,
                 bool network = true, OnProgress onProgress = {})
      : heard_(std::make_shared<Heard>()) {
    heard_->onProgress = std::move(onProgress);
    insideCall_ = true;
    id = manager->requestAVAssetForVideo(
        std::make_shared<const platform::PHAsset>(identifier),
        {.networkAccessAllowed = network,
         .progressHandler = [heard = heard_](double fraction, auto& error, bool& stop,
                                             auto&) { heard->progress(fraction, error, stop); }},
        [heard = heard_](auto asset, auto& info) { heard->result(std::move(asset), info); });
    insideCall_ = false;
    EXPECT_NE(id, 0);
  }

  [[nodiscard]] bool waitForProgress() {
    return waitUntil([&] { return !fractions().empty(); });
  }

  /// Waits for the result, and for the library to let go of the handlers. What follows may be asked then.
  [[nodiscard]] bool wait() {
    return waitUntil([&] { return heard_->results > 0; }) &&
           waitUntil([&] { return heard_.use_count() == 1; });
  }
  [[nodiscard]] const std::shared_ptr<platform::AVAsset>& asset() const { return heard_->asset; }
  [[nodiscard]] const platform::PHImageInfo& info() const { return heard_->info; }
  [[nodiscard]] const std::vector<double>& fractions() const { return heard_->fractions; }
  [[nodiscard]] const std::optional<platform::NSError>& errorTold() const { return heard_->errorTold; }

  platform::PHImageRequestID id = 0;

 private:
  struct Heard {
    void progress(double fraction, const std::optional<platform::NSError>& error, bool& stop) {
      EXPECT_TRUE(!insideCall_ && fraction >= 0 && fraction <= 1) << fraction;
      {
        const std::scoped_lock lock(mutex);
        EXPECT_EQ(results, 0) << "progress after the result";
        fractions.push_back(fraction);
        if (error) errorTold = error;
      }
      if (onProgress) onProgress(stop);
    }
    void result(std::shared_ptr<platform::AVAsset> video, const platform::PHImageInfo& remarks) {
      EXPECT_TRUE(!insideCall_ && (video == nullptr) == (remarks.error || remarks.cancelled));
      const std::scoped_lock lock(mutex);
      EXPECT_EQ(++results, 1);
      asset = std::move(video);
      info = remarks;
    }
    std::mutex mutex;
    OnProgress onProgress;
    int results = 0;
    std::vector<double> fractions;
    std::shared_ptr<platform::AVAsset> asset;
    platform::PHImageInfo info;
    std::optional<platform::NSError> errorTold;
  };

  template <class Done>
  bool waitUntil(Done done) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (;; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
      const std::scoped_lock lock(heard_->mutex);
      if (done() || std::chrono::steady_clock::now() > end) return done();
    }
  }

  static inline thread_local bool insideCall_ = false;
  std::shared_ptr<Heard> heard_;
};

/// A photo library on which the contract is tried, in which "playable.webm" gives an asset, "failing.mp4"
/// fails, and "endless.mp4" tells some progress and then goes on until it is cancelled.
struct ImageManagerWorld {
  std::shared_ptr<platform::PHImageManager> manager;
};

/// What every `PHImageManager` promises. Instantiated with `ImageManagerWorld`s as types.
template <class World>
class ImageManagerContract : public testing::Test {
 protected:
  VideoRequested request(const std::string& identifier, VideoRequested::OnProgress onProgress = {}) {
    return {world_.manager, identifier, true, std::move(onProgress)};
  }
  static void expectCancelled(VideoRequested& request) {
    EXPECT_TRUE(request.wait() && request.info().cancelled && !request.errorTold());
  }

  World world_;
};

TYPED_TEST_SUITE_P(ImageManagerContract);

TYPED_TEST_P(ImageManagerContract, GivesAnAssetOrAReasonOnce) {
  VideoRequested good = this->request("playable.webm");
  VideoRequested bad = this->request("failing.mp4");
  ASSERT_TRUE(good.wait() && bad.wait());
  EXPECT_TRUE(good.asset() && !good.errorTold());
  EXPECT_TRUE(bad.info().error && !bad.info().error->localizedDescription().empty());
  EXPECT_FALSE(bad.info().cancelled);
  this->world_.manager->cancelImageRequest(good.id);  // too late to matter
}

TYPED_TEST_P(ImageManagerContract, CancelEndsARunningRequestSoonAndNoOther) {
  VideoRequested request = this->request("endless.mp4");
  VideoRequested other = this->request("endless.mp4");
  ASSERT_TRUE(request.waitForProgress());
  const auto begin = std::chrono::steady_clock::now();
  for (const int id : {0, -1, 1'000'000, request.id, request.id})
    this->world_.manager->cancelImageRequest(id);
  this->expectCancelled(request);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(100));
  ASSERT_TRUE(other.waitForProgress());
  this->world_.manager->cancelImageRequest(other.id);
  this->expectCancelled(other);
}

TYPED_TEST_P(ImageManagerContract, StopSetByTheProgressHandlerCancels) {
  VideoRequested request = this->request("endless.mp4", [](bool& stop) { stop = true; });
  this->expectCancelled(request);
  EXPECT_EQ(request.fractions().size(), 1U);
}

TYPED_TEST_P(ImageManagerContract, AHandlerMayCallBackInAndLetGoOfTheLibrary) {
  std::optional<VideoRequested> inner;
  VideoRequested outer = this->request("endless.mp4", [&](bool& stop) {
    inner.emplace(this->request("playable.webm"));
    this->world_.manager->cancelImageRequest(inner->id);
    this->world_.manager.reset();
    stop = true;
  });
  this->expectCancelled(outer);
  EXPECT_TRUE(inner && inner->wait());
}

TYPED_TEST_P(ImageManagerContract, SurvivesRequestsAndCancelsOfManyThreads) {
  std::mutex mutex;
  std::set<platform::PHImageRequestID> ids;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 15; ++round) {
        const bool endless = round % 2 != 0;
        VideoRequested kept = this->request("playable.webm");
        VideoRequested dropped = this->request(endless ? "endless.mp4" : "playable.webm");
        std::this_thread::sleep_for(std::chrono::microseconds(300 * i * round));
        this->world_.manager->cancelImageRequest(dropped.id);
        EXPECT_TRUE(kept.wait() && kept.asset());
        EXPECT_TRUE(dropped.wait() && (!endless || dropped.info().cancelled));
        const std::scoped_lock lock(mutex);
        EXPECT_TRUE(ids.insert(kept.id).second && ids.insert(dropped.id).second);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

REGISTER_TYPED_TEST_SUITE_P(ImageManagerContract, GivesAnAssetOrAReasonOnce,
                            CancelEndsARunningRequestSoonAndNoOther, StopSetByTheProgressHandlerCancels,
                            AHandlerMayCallBackInAndLetGoOfTheLibrary,
                            SurvivesRequestsAndCancelsOfManyThreads);

}  // namespace tq::tests
