// How changes are noticed: at once, in order, once, whatever else goes on. On links of this program's own.

#include <linux/rtnetlink.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <semaphore>
#include <utility>
#include <vector>

#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "tests/Network/NetlinkFixture.h"

namespace tq::tests {
namespace {

// A read right after a change is never behind it, and however fast they come the last one is told.
TEST_F(ReachabilityNamespace, AThousandFlapsAreSeenAtOnceAndToldInTurn) {
  const auto target = whole();
  ReachabilityRecorder recorder;
  recorder.watch(target, queue_);
  std::atomic<bool> over = false;
  std::thread reader([&] {
    while (!over) EXPECT_TRUE(target->getFlags());
  });
  int late = 0;
  for (int i = 0; i < 1'000; ++i) {
    EXPECT_EQ(routes_.add({}, 0, {10, 9, 0, 2}), 0);
    if (target->getFlags() != kReachable) ++late;
    EXPECT_EQ(routes_.remove({}, 0), 0);
    if (target->getFlags() != kNone) ++late;
  }
  over = true;
  reader.join();
  EXPECT_EQ(late, 0);
  ReachabilityRecorder next;
  next.watch(whole(), queue_);
  ASSERT_EQ(routes_.add({}, 0, {10, 9, 0, 2}), 0);
  EXPECT_TRUE(next.waitForCount(1));  // what there was to tell before has been told
  EXPECT_TRUE(recorder.waitUntil([](const auto& heard) { return heard.back() == kReachable; }));
  const auto heard = recorder.heard();
  EXPECT_LE(heard.size(), 2'001u);
  for (std::size_t i = 0; i < heard.size(); ++i) EXPECT_EQ(heard[i], i % 2 == 0 ? kReachable : kNone) << i;
}

// How often the races below are tried; TQ_REACHABILITY_ROUNDS says otherwise.
int rounds() {
  const char* const text =
      std::getenv("TQ_REACHABILITY_ROUNDS");  // NOLINT(concurrency-mt-unsafe): nobody sets it
  return text == nullptr ? 200 : std::atoi(text);
}

// What has been reported last of a target, with its notifier running.
class LastReport {
 public:
  explicit LastReport(const std::shared_ptr<TQReachability>& reachability) : reachability_(reachability) {
    reachability->setNotificationCenter(nullptr);
    reachability->setWhenReachable([last = last_](TQReachability&) { *last = 1; });
    reachability->setWhenUnreachable([last = last_](TQReachability&) { *last = 0; });
    EXPECT_FALSE(reachability->startNotifier());
  }
  ~LastReport() { reachability_->stopNotifier(); }
  LastReport(const LastReport&) = delete;
  LastReport& operator=(const LastReport&) = delete;

  [[nodiscard]] bool becomes(bool reachable) const {
    return eventually([&] { return *last_ == (reachable ? 1 : 0); });
  }

 private:
  const std::shared_ptr<std::atomic<int>> last_ = std::make_shared<std::atomic<int>>(-1);
  const std::shared_ptr<TQReachability> reachability_;
};

TEST_F(ReachabilityNamespace, TheLastReportIsTrueHoweverCloseTheChangesAre) {
  const LastReport report(TQReachability::make({.mainQueue = queue_}));
  for (int i = 0; i < rounds(); ++i) {
    ASSERT_EQ(routes_.add({}, 0, {10, 9, 0, 2}), 0);
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(i * 37 % 151);
    while (std::chrono::steady_clock::now() < end) {
    }
    ASSERT_EQ(routes_.remove({}, 0), 0);
    std::this_thread::sleep_for(300us);  // what is to be reported has been, mostly
    ASSERT_TRUE(report.becomes(false)) << "pair " << i;
  }
}

TEST_F(ReachabilityNamespace, TheLastReportOfANewTargetIsTrue) {
  { std::ofstream("/etc/hosts") << "127.0.0.1 localhost\n"; }
  Log::setSink([](const LogLine&) {});
  for (int i = 0; i < rounds(); ++i) {
    const LastReport report(TQReachability::make("localhost", {.mainQueue = queue_}));
    ASSERT_TRUE(report.becomes(true)) << "start " << i;
  }
  Log::setSink({});
}

// A host's queue that blocks the thread which hands it a task, once.
struct BlockingQueue final : DispatchQueue {
  void async(Task) override {
    if (blocked.exchange(true)) return;
    entered.release();
    goOn.acquire();
  }
  [[nodiscard]] bool isCurrent() const override { return false; }

  std::binary_semaphore entered{0}, goOn{0};
  std::atomic<bool> blocked = false;
};

TEST_F(ReachabilityNamespace, AFloodThatOverrunsTheSocketLeadsToAFreshQuery) {
  const auto blocking = std::make_shared<BlockingQueue>();
  const auto target = whole(), holder = whole();
  ReachabilityRecorder recorder;
  recorder.watch(target, queue_);
  ASSERT_TRUE(holder->setDispatchQueue(blocking));
  const std::unique_ptr<mnl_socket, int (*)(mnl_socket*)> unread(mnl_socket_open(NETLINK_ROUTE),
                                                                 &mnl_socket_close);
  ASSERT_EQ(mnl_socket_bind(unread.get(), RTMGRP_IPV4_ROUTE, MNL_SOCKET_AUTOPID), 0);
  ASSERT_EQ(routes_.add({}, 0, {10, 9, 0, 2}), 0);
  blocking->entered.acquire();  // the monitor takes no messages
  for (std::uint8_t i = 0; i < 5'000 / 250; ++i)
    for (std::uint8_t j = 0; j < 250; ++j) ASSERT_EQ(routes_.add({10, 7, i, j}, 32, {10, 9, 0, 2}), 0);
  ASSERT_TRUE(shell("ip route replace default dev v0"));
  char byte = 0;
  EXPECT_EQ(::recv(mnl_socket_get_fd(unread.get()), &byte, 1, MSG_DONTWAIT), -1);
  EXPECT_EQ(errno, ENOBUFS);
  EXPECT_EQ(target->getFlags(), kDirect);
  blocking->goOn.release();
  EXPECT_TRUE(
      recorder.waitUntil([](const auto& heard) { return !heard.empty() && heard.back() == kDirect; }));
}

TEST(Reachability, WithoutASocketThereIsNoTarget) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizers of this build take descriptors of their own to look at memory";
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // in a fresh process, which has not asked for a target yet
  const auto refused = [] {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    const auto& provider = SCNetworkReachabilityProvider::shared();
    const bool right = !provider->createWithAddress({}) && !provider->createWithName("localhost");
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return right && provider->createWithAddress({});
  };
  EXPECT_EXIT(::_exit(refused() ? 0 : 1), testing::ExitedWithCode(0), "");
}

struct NetlinkWorld final : ReachabilityWorld {
  NetlinkWorld() {
    if (whyNot().empty()) cable.emplace();
  }
  std::string whyNot() override { return networkRefusal; }
  std::shared_ptr<SCNetworkReachabilityProvider> provider() override {
    return SCNetworkReachabilityProvider::shared();
  }
  void makeReachable() override { routes.add({}, 0, {10, 9, 0, 2}); }
  void makeUnreachable() override { routes.remove({}, 0); }

  KernelRoutes routes;
  std::optional<Cable> cable;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Netlink, ReachabilityContract, NetlinkWorld);

}  // namespace
}  // namespace tq::tests

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  tq::tests::networkRefusal = tq::tests::enterOwnNetwork();
  return RUN_ALL_TESTS();
}
