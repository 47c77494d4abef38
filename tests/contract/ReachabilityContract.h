#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"
#include "TQFoundation/Platform/Queues/DispatchQueue.h"
#include "tests/support/Eventually.h"

namespace tq::tests {

/// Notes what a target tells, and lets a test wait for it. At its end nothing is told any more.
class ReachabilityRecorder {
 public:
  using Flags = SCNetworkReachabilityFlags;

  ReachabilityRecorder() = default;
  ReachabilityRecorder(const ReachabilityRecorder&) = delete;
  ReachabilityRecorder& operator=(const ReachabilityRecorder&) = delete;
  ~ReachabilityRecorder() {
    if (!target_) return;
    EXPECT_TRUE(target_->setCallback(nullptr, nullptr));
    queue_->sync([] {});
  }

  /// Has `target` tell this recorder on `queue`.
  void watch(const SCNetworkReachabilityRef& target, const std::shared_ptr<DispatchQueue>& queue) {
    target_ = target;
    queue_ = queue;
    const SCNetworkReachabilityContext context{.info = info_};
    ASSERT_TRUE(target->setCallback(&ReachabilityRecorder::hear, &context));
    ASSERT_TRUE(target->setDispatchQueue(queue));
  }

  template <class Satisfied>
  bool waitUntil(Satisfied satisfied) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return satisfied(heard_); });
  }
  bool waitForCount(std::size_t count) {
    return waitUntil([count](const auto& heard) { return heard.size() >= count; });
  }
  std::vector<Flags> heard() const {
    const std::scoped_lock lock(mutex_);
    return heard_;
  }

 private:
  static void hear(const SCNetworkReachabilityRef& target, Flags flags, void* info) {
    auto& self = *static_cast<ReachabilityRecorder*>(info);
    EXPECT_NE(target, nullptr);
    EXPECT_TRUE(self.queue_->isCurrent());
    const std::scoped_lock lock(self.mutex_);
    self.heard_.push_back(flags);
    self.changed_.notify_all();
  }

  const std::shared_ptr<void> info_{std::make_shared<int>(), this};
  SCNetworkReachabilityRef target_;
  std::shared_ptr<DispatchQueue> queue_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Flags> heard_;
};

/// A network on which the contract is tried, unreachable at first. Each operation may be repeated.
struct ReachabilityWorld {
  virtual ~ReachabilityWorld() = default;
  /// Why this world cannot be had here, or nothing.
  virtual std::string whyNot() { return {}; }
  virtual std::shared_ptr<SCNetworkReachabilityProvider> provider() = 0;
  virtual void makeReachable() = 0;
  virtual void makeUnreachable() = 0;
};

/// What every `SCNetworkReachabilityProvider` promises. Instantiated with `ReachabilityWorld`s as types.
template <class World>
class ReachabilityContract : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = world_.whyNot(); !reason.empty()) GTEST_SKIP() << reason;
  }

  SCNetworkReachabilityRef make() { return world_.provider()->createWithAddress({}); }

  // Once another target has heard of the next change, this one would have as well.
  void expectSilenceAtTheNextChange(const ReachabilityRecorder& silent) {
    const auto before = silent.heard().size();
    world_.makeUnreachable();
    ReachabilityRecorder other;
    const auto target = make();
    other.watch(target, queue_);
    world_.makeReachable();
    EXPECT_TRUE(other.waitForCount(1));
    queue_->sync([] {});
    EXPECT_EQ(silent.heard().size(), before);
  }

  World world_;
  std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::serial();
  ReachabilityRecorder recorder_;
};

TYPED_TEST_SUITE_P(ReachabilityContract);

TYPED_TEST_P(ReachabilityContract, EachChangeFromTheQueueOnIsToldOnceAndInOrder) {
  const auto target = this->make();
  this->world_.makeReachable();
  this->world_.makeUnreachable();
  this->recorder_.watch(target, this->queue_);
  std::vector<SCNetworkReachabilityFlags> expected;
  for (int i = 0; i < 3; ++i) {
    this->world_.makeReachable();
    this->world_.makeReachable();
    expected.push_back(target->getFlags().value_or(0));
    EXPECT_TRUE(expected.back() & kSCNetworkReachabilityFlagsReachable);
    ASSERT_TRUE(this->recorder_.waitForCount(expected.size()));
    this->world_.makeUnreachable();
    EXPECT_EQ(target->getFlags(), 0U);
    expected.push_back(0);
    ASSERT_TRUE(this->recorder_.waitForCount(expected.size()));
  }
  this->queue_->sync([] {});
  EXPECT_EQ(this->recorder_.heard(), expected);
}

TYPED_TEST_P(ReachabilityContract, NothingIsToldWithoutACallbackOrAQueue) {
  const auto withoutCallback = this->make(), withoutQueue = this->make();
  ReachabilityRecorder second;
  this->recorder_.watch(withoutCallback, this->queue_);
  second.watch(withoutQueue, this->queue_);
  EXPECT_TRUE(withoutCallback->setCallback(nullptr, nullptr));
  EXPECT_TRUE(withoutQueue->setDispatchQueue(nullptr));
  this->expectSilenceAtTheNextChange(this->recorder_);
  this->expectSilenceAtTheNextChange(second);
}

// What the network does while a callback runs comes with the next one, and does not show before.
TYPED_TEST_P(ReachabilityContract, OnTheQueueTheFlagsAreThoseOfTheCallbackUntilTheNext) {
  struct Seen {
    explicit Seen(TypeParam* in) : world(in) {}
    TypeParam* world;
    std::vector<SCNetworkReachabilityFlags> during{}, passed{};
    std::atomic<int> calls = 0;
  };
  const auto seen = std::make_shared<Seen>(&this->world_);
  const auto callback = [](const SCNetworkReachabilityRef& target, auto flags, void* info) {
    auto& mine = *static_cast<Seen*>(info);
    mine.passed.push_back(flags);
    if (flags != 0) mine.world->makeUnreachable();
    mine.during.push_back(target->getFlags().value_or(0));
    ++mine.calls;
  };
  const auto target = this->make();
  const SCNetworkReachabilityContext context{.info = seen};
  ASSERT_TRUE(target->setCallback(callback, &context));
  ASSERT_TRUE(target->setDispatchQueue(this->queue_));
  std::optional<SCNetworkReachabilityFlags> first, again, elsewhere;
  this->queue_->sync([&] {
    first = target->getFlags();
    this->world_.makeReachable();
    again = target->getFlags();
    std::thread([&] { elsewhere = target->getFlags(); }).join();
  });
  EXPECT_EQ(first, 0U);
  EXPECT_EQ(again, first);
  EXPECT_TRUE(eventually([&] { return seen->calls == 2; }));
  EXPECT_EQ(seen->passed, (std::vector{elsewhere.value_or(0), 0U}));
  EXPECT_EQ(seen->during, seen->passed);
}

TYPED_TEST_P(ReachabilityContract, ACallbackMayEndItAllAndReleaseTheTargetAndItself) {
  struct Held {
    explicit Held(SCNetworkReachabilityRef watched) : target(std::move(watched)) {}
    SCNetworkReachabilityRef target;
    std::shared_ptr<Held> self{};
    std::promise<void> done{};
  };
  auto held = std::make_shared<Held>(this->make());
  const std::weak_ptr<SCNetworkReachability> weakTarget = held->target;
  const std::weak_ptr<Held> weak = held->self = held;
  auto done = held->done.get_future();
  const auto callback = [](const SCNetworkReachabilityRef& target, auto, void* info) {
    auto& mine = *static_cast<Held*>(info);
    mine.target.reset();
    mine.self.reset();
    EXPECT_TRUE(target->getFlags());
    EXPECT_TRUE(target->setDispatchQueue(nullptr));
    EXPECT_TRUE(target->setCallback(nullptr, nullptr));
    mine.done.set_value();
  };
  {
    const SCNetworkReachabilityContext context{.info = held};  // it keeps a copy
    ASSERT_TRUE(held->target->setCallback(callback, &context));
    ASSERT_TRUE(held->target->setDispatchQueue(this->queue_));
  }
  held.reset();
  this->world_.makeReachable();
  ASSERT_EQ(done.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  EXPECT_TRUE(eventually([&] { return weak.expired() && weakTarget.expired(); }));
}

TYPED_TEST_P(ReachabilityContract, ACallbackWhoseInfoIsGoneGetsNone) {
  static std::atomic<int> calls;
  calls = 0;
  const auto callback = [](const SCNetworkReachabilityRef&, auto, void* info) {
    if (info == nullptr) ++calls;
  };
  const auto target = this->make();
  auto info = std::make_shared<int>();
  const SCNetworkReachabilityContext context{.info = info};
  ASSERT_TRUE(target->setCallback(callback, &context));
  ASSERT_TRUE(target->setDispatchQueue(this->queue_));
  info.reset();
  this->world_.makeReachable();
  EXPECT_TRUE(eventually([] { return calls == 1; }));
}

REGISTER_TYPED_TEST_SUITE_P(ReachabilityContract, EachChangeFromTheQueueOnIsToldOnceAndInOrder,
                            NothingIsToldWithoutACallbackOrAQueue,
                            OnTheQueueTheFlagsAreThoseOfTheCallbackUntilTheNext,
                            ACallbackMayEndItAllAndReleaseTheTargetAndItself,
                            ACallbackWhoseInfoIsGoneGetsNone);

}  // namespace tq::tests
