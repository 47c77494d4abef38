#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "TQFoundation/Platform/Notifications/NSNotificationCenter.h"

namespace tq::tests {
namespace {

using Name = NSNotification::Name;

constexpr Name kAdded("Added");
constexpr Name kMoved("Moved");

class NotificationCenter : public testing::Test {
 protected:
  NSNotificationCenter::Handler says(std::string text) {
    return [this, text](const NSNotification&) { heard_ += text; };
  }
  std::string post(const Name& name, NSNotification::Object object = nullptr) {
    heard_.clear();
    center_->postNotificationName(name, std::move(object));
    return heard_;
  }

  const char observers_[4] = {};
  std::string heard_;
  std::shared_ptr<NSNotificationCenter> center_ = std::make_shared<NSNotificationCenter>();
};

TEST_F(NotificationCenter, TellsWhoAskedForThisNameAndObjectInTheOrderTheyWereAdded) {
  const auto clip = std::make_shared<int>();
  const auto other = std::make_shared<int>();
  center_->addObserver(this, says("a"));
  center_->addObserver(this, says("b"), Name(std::string(kAdded.rawValue())));
  center_->addObserver(this, says("c"), std::nullopt, clip);
  center_->addObserver(this, says("d"), kAdded, clip);
  center_->addObserver(this, says("e"), kMoved);
  center_->addObserver(this, says("f"), kAdded, other);
  center_->addObserver(&observers_, says("g"), kAdded);
  center_->addObserver(this, says("h"));
  EXPECT_EQ(post(kAdded, clip), "abcdgh");
  EXPECT_EQ(post(kAdded, other), "abfgh");
  EXPECT_EQ(post(kMoved), "aeh");
  EXPECT_EQ(post(Name("Unknown"), clip), "ach");

  center_->removeObserver(this, kAdded, other);
  EXPECT_EQ(post(kAdded, other), "abgh");
  center_->removeObserver(this, kAdded);
  EXPECT_EQ(post(kAdded, clip), "acgh");
  center_->removeObserver(this, std::nullopt, clip);
  EXPECT_EQ(post(kAdded, clip), "agh");
  center_->removeObserver(this);
  EXPECT_EQ(post(kMoved, clip) + post(kAdded, clip), "g");
}

TEST_F(NotificationCenter, NeverCallsWhoWasRemovedNorInTheSamePostWhoWasAdded) {
  bool nested = false;
  center_->addObserver(&observers_[0], [&](const NSNotification& n) {
    heard_ += "1";
    if (std::exchange(nested, true)) return;
    std::thread([&] { center_->removeObserver(&observers_[2]); }).join();
    center_->addObserver(this, says("5"));
    center_->post(n);
    heard_ += "/";
  });
  auto owned = std::shared_ptr<void>(nullptr, [this](void*) { center_->postNotificationName(kMoved); });
  center_->addObserver(&observers_[1], [this, owned](const NSNotification&) {
    center_->removeObserver(&observers_[1]);
    heard_ += owned.use_count() > 0 ? "2" : "";
  });
  owned.reset();
  center_->addObserver(&observers_[2], says("3"), kAdded);
  center_->addObserver(&observers_[3], says("4"), kAdded);
  EXPECT_EQ(post(kAdded), "11245/415");  // "15": told when the second handler is destroyed, after the posts
  EXPECT_EQ(post(kAdded), "145");
}

TEST_F(NotificationCenter, MayBeReleasedByAHandlerAndAskedWhileItDies) {
  center_->addObserver(this, [this](const NSNotification&) { center_.reset(); });
  center_->addObserver(this, says("2"), kAdded);
  EXPECT_EQ(post(kAdded), "");

  NSNotificationCenter dying;
  const auto leave = [&](void*) { dying.removeObserver(this); };
  dying.addObserver(this, [owned = std::shared_ptr<void>(nullptr, leave)](const NSNotification&) {});
}

TEST_F(NotificationCenter, KeepsAnObjectForThePostAndTakesNoOtherForIt) {
  int place = 7;
  const auto make = [&] { return std::shared_ptr<int>(&place, [](int* value) { *value = 0; }); };
  auto object = make();
  center_->addObserver(this, says("former"), std::nullopt, object);
  center_->addObserver(this, [&](const NSNotification& n) { heard_ += std::to_string(*n.object<int>()); });
  EXPECT_EQ(post(kAdded, std::move(object)), "former7");
  EXPECT_EQ(place, 0);
  EXPECT_EQ(post(kAdded, make()), "0");
}

TEST_F(NotificationCenter, KeepsItsPromisesWhileThreadsAddRemoveAndPost) {
  constexpr int kRounds = 5'000;
  std::atomic<int> posts = 0;
  const auto captured = std::make_shared<int>();
  center_->addObserver(
      this, [&](const NSNotification&) { ++posts; }, kAdded);
  const auto work = [&] {
    const auto me = std::this_thread::get_id();
    for (int round = 0; round < kRounds; ++round) {
      int heard = 0;
      const auto hear = [&heard, captured, me](const NSNotification&) {
        if (std::this_thread::get_id() == me) ++heard;
      };
      center_->addObserver(&heard, hear, round % 2 == 0 ? std::optional(kAdded) : std::nullopt);
      center_->postNotificationName(kAdded, captured);
      center_->removeObserver(&heard);
      center_->postNotificationName(kAdded, captured);
      ASSERT_EQ(heard, 1);
    }
  };
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) threads.emplace_back(work);
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(posts, 4 * 2 * kRounds);
  EXPECT_EQ(captured.use_count(), 1);
}

}  // namespace
}  // namespace tq::tests
