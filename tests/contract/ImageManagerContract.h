#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <set>

#include "TQFoundation/Platform/Ports/PHImageManager.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {

/// One request, and what its handlers have received so far. Every call by the library is checked against what
/// the port promises.
class VideoRequested {
 public:
  using OnProgress = std::function<void(bool& stop)>;
  struct Heard {
    void progress(double fraction, const std::optional<NSError>& error, bool& stop) {
      EXPECT_TRUE(!insideCall_ && fraction >= 0 && fraction <= 1) << fraction;
      {
        const std::scoped_lock lock(mutex);
        EXPECT_EQ(results, 0) << "progress after the result";
        fractions.push_back(fraction);
        if (error) errorTold = error;
      }
      if (onProgress) onProgress(stop);
    }
    void result(std::shared_ptr<AVAsset> video, const PHImageInfo& remarks) {
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
    std::shared_ptr<AVAsset> asset;
    PHImageInfo info;
    std::optional<NSError> errorTold;
  };

  /// Starts it, and holds the library no longer than that takes.
  VideoRequested(std::shared_ptr<PHImageManager> manager, const std::string& identifier, bool network = true,
                 OnProgress onProgress = {}) {
    heard_->onProgress = std::move(onProgress);
    insideCall_ = true;
    auto video = std::make_shared<const PHAsset>(identifier);
    video_ = video;
    id = manager->requestAVAssetForVideo(
        std::move(video),
        {.networkAccessAllowed = network,
         .progressHandler = [heard = heard_](double fraction, auto& error, bool& stop,
                                             auto&) { heard->progress(fraction, error, stop); }},
        [heard = heard_](auto asset, auto& info) { heard->result(std::move(asset), info); });
    insideCall_ = false;
    EXPECT_NE(id, 0);
  }

  [[nodiscard]] bool waitForProgress() const {
    return waitUntil([&] { return !heard_->fractions.empty(); });
  }
  /// Waits for the result, and for the library to let go of the handlers and of the request. What was
  /// reported may be read then.
  [[nodiscard]] bool wait() const {
    return waitUntil([&] { return heard_->results > 0 && heard_.use_count() == 1 && video_.expired(); });
  }
  const Heard* operator->() const { return heard_.get(); }

  /// Waits for a refusal: an error of this code that is told twice, with these words in its sentence.
  void expectRefusal(std::int64_t code, const std::string& words) const {
    ASSERT_TRUE(wait() && heard_->info.error) << words;
    EXPECT_EQ(heard_->info.error, heard_->errorTold);
    EXPECT_EQ(heard_->info.error->code, code) << words;
    const std::string sentence = heard_->info.error->localizedDescription();
    EXPECT_NE(sentence.find(words), std::string::npos) << words << " in " << sentence;
  }

  PHImageRequestID id = 0;

 private:
  template <class Done>
  bool waitUntil(Done done) const {
    return eventually([&] {
      const std::scoped_lock lock(heard_->mutex);
      return done();
    });
  }

  static inline thread_local bool insideCall_ = false;
  std::weak_ptr<const PHAsset> video_;
  std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
};

/// What every `PHImageManager` promises. Instantiated with photo libraries as types: their `manager` has
/// "playable.webm", which gives an asset, "failing.mp4", which fails, and "endless.mp4", which tells some
/// progress and then goes on until it is cancelled.
template <class World>
class ImageManagerContract : public testing::Test {
 protected:
  VideoRequested request(const std::string& identifier, VideoRequested::OnProgress onProgress = {}) {
    return {world_.manager, identifier, true, std::move(onProgress)};
  }
  static void expectCancelled(const VideoRequested& request) {
    EXPECT_TRUE(request.wait() && request->info.cancelled && !request->errorTold);
  }

  World world_;
};

TYPED_TEST_SUITE_P(ImageManagerContract);

TYPED_TEST_P(ImageManagerContract, GivesAnAssetOrAReasonOnce) {
  const VideoRequested good = this->request("playable.webm");
  const VideoRequested bad = this->request("failing.mp4");
  ASSERT_TRUE(good.wait() && bad.wait());
  EXPECT_TRUE(good->asset && !good->errorTold && !bad->info.cancelled);
  EXPECT_TRUE(bad->info.error && !bad->info.error->localizedDescription().empty());
  this->world_.manager->cancelImageRequest(good.id);  // too late to matter
}

TYPED_TEST_P(ImageManagerContract, CancelEndsARunningRequestSoonAndNoOther) {
  const VideoRequested request = this->request("endless.mp4");
  const VideoRequested other = this->request("endless.mp4");
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

TYPED_TEST_P(ImageManagerContract, AProgressHandlerMayCallBackInLetGoOfTheLibraryAndStop) {
  std::optional<VideoRequested> inner;
  const VideoRequested outer = this->request("endless.mp4", [&](bool& stop) {
    inner.emplace(this->request("playable.webm"));
    this->world_.manager->cancelImageRequest(inner->id);
    this->world_.manager.reset();
    stop = true;
  });
  this->expectCancelled(outer);
  EXPECT_EQ(outer->fractions.size(), 1U);
  EXPECT_TRUE(inner && inner->wait());
}

TYPED_TEST_P(ImageManagerContract, SurvivesRequestsAndCancelsOfManyThreads) {
  std::mutex mutex;
  std::set<PHImageRequestID> ids;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 15; ++round) {
        const bool endless = round % 2 != 0;
        const VideoRequested kept = this->request("playable.webm");
        const VideoRequested dropped = this->request(endless ? "endless.mp4" : "playable.webm");
        std::this_thread::sleep_for(std::chrono::microseconds(300 * i * round));
        this->world_.manager->cancelImageRequest(dropped.id);
        EXPECT_TRUE(kept.wait() && kept->asset);
        EXPECT_TRUE(dropped.wait() && (!endless || dropped->info.cancelled));
        const std::scoped_lock lock(mutex);
        EXPECT_TRUE(ids.insert(kept.id).second && ids.insert(dropped.id).second);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

REGISTER_TYPED_TEST_SUITE_P(ImageManagerContract, GivesAnAssetOrAReasonOnce,
                            CancelEndsARunningRequestSoonAndNoOther,
                            AProgressHandlerMayCallBackInLetGoOfTheLibraryAndStop,
                            SurvivesRequestsAndCancelsOfManyThreads);

}  // namespace tq::tests
