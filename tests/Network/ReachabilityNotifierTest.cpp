#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TQFoundation/Extensions/TQNotificationNames.h"
#include "TQFoundation/Network/TQNetworkObserver.h"
#include "TQFoundation/Network/TQReachability.h"
#include "TQFoundation/Platform/Log/Log.h"
#include "TQFoundationTesting/FakeReachability.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/contract/ReachabilityContract.h"

namespace tq::tests {
namespace {

// A delegate that is a temporary would never be called.
template <class Delegate>
concept CanObserve = requires(Delegate&& delegate) {
  TQNetworkObserver::initWithDelegate(std::forward<Delegate>(delegate));
};
using ObserverDelegate = std::shared_ptr<TQNetworkObserverDelegate>;
static_assert(CanObserve<ObserverDelegate&> && !CanObserve<ObserverDelegate>);

using Reports = std::vector<std::string>;

constexpr auto kWiFi = kSCNetworkReachabilityFlagsReachable;
constexpr auto kDirectWiFi = kWiFi | kSCNetworkReachabilityFlagsIsDirect;
constexpr auto kCellular = kWiFi | kSCNetworkReachabilityFlagsIsWWAN;

// A reachability on a fake network whose reports are written down in the order they come.
class ReachabilityNotifier : public testing::Test {
 protected:
  ReachabilityNotifier() { watch(TQReachability::make(ports())); }
  ~ReachabilityNotifier() override { Log::setSink({}); }

  [[nodiscard]] TQReachabilityPorts ports() const { return {.network = network, .mainQueue = mainQueue}; }

  void watch(std::shared_ptr<TQReachability> made) {
    center->removeObserver(this);
    reachability = std::move(made);
    reachability->setNotificationCenter(center);
    reachability->setWhenReachable(
        [this](TQReachability& now) { reports.push_back("reachable " + now.description().substr(0, 2)); });
    reachability->setWhenUnreachable([this](TQReachability&) { reports.push_back("unreachable"); });
    center->addObserver(
        this, [this](const NSNotification&) { reports.push_back("posted"); },
        tq::NotificationName::reachabilityChanged, reachability);
  }

  // What has been reported since the last call, once all that is on its way has arrived.
  Reports arrived() {
    network->waitForCallbacks();
    mainQueue->run();
    return std::exchange(reports, {});
  }

  const std::shared_ptr<FakeReachability> network = std::make_shared<FakeReachability>(kWiFi);
  const std::shared_ptr<ManualQueue> mainQueue = std::make_shared<ManualQueue>();
  const std::shared_ptr<NSNotificationCenter> center = std::make_shared<NSNotificationCenter>();
  std::shared_ptr<TQReachability> reachability;
  Reports reports;
};

TEST_F(ReachabilityNotifier, ReportsTheFirstStartAndThenEachChangeOfAnyFlag) {
  EXPECT_EQ(arrived(), Reports());
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));

  network->callBackAnyway();
  EXPECT_EQ(arrived(), Reports());
  network->set(kDirectWiFi);
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));
  network->set(kCellular);
  EXPECT_EQ(arrived(), (Reports{"reachable WR", "posted"}));
  reachability->setAllowsCellularConnection(false);
  network->set(kCellular | kSCNetworkReachabilityFlagsIsDirect);
  EXPECT_EQ(arrived(), (Reports{"unreachable", "posted"}));
  network->set(std::nullopt);
  EXPECT_EQ(arrived(), (Reports{"unreachable", "posted"}));

  reachability->setWhenReachable({});
  network->set(kWiFi);
  EXPECT_EQ(arrived(), Reports{"posted"});
  reachability->setNotificationCenter(nullptr);
  network->set(0);
  EXPECT_EQ(arrived(), Reports{"unreachable"});
}

TEST_F(ReachabilityNotifier, ChoosesTheHandlerWhenItSeesTheChangeAndTheCenterWhenItReports) {
  EXPECT_FALSE(reachability->startNotifier());
  network->waitForCallbacks();
  network->set(0);
  network->waitForCallbacks();  // two reports wait for the main queue
  reachability->setWhenReachable({});
  reachability->setNotificationCenter(std::make_shared<NSNotificationCenter>());
  EXPECT_EQ(arrived(), (Reports{"reachable --", "unreachable"}));
}

TEST_F(ReachabilityNotifier, AStopKeepsWhatIsOnItsWayAndAStartReportsOnlyADifference) {
  EXPECT_FALSE(reachability->startNotifier());
  reachability->stopNotifier();
  EXPECT_EQ(network->registrations(), 0);
  while (reports.empty()) mainQueue->run();
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));

  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), Reports());
  reachability->stopNotifier();
  network->set(0);
  EXPECT_EQ(arrived(), Reports());
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), (Reports{"unreachable", "posted"}));
}

// A main queue whose next task is handed over only after the network has changed once more.
struct ChangingQueue final : DispatchQueue {
  void async(Task task) override {
    if (const auto change = std::exchange(next, nullptr)) change();
    inner->async(std::move(task));
  }
  [[nodiscard]] bool isCurrent() const override { return inner->isCurrent(); }

  const std::shared_ptr<ManualQueue> inner = std::make_shared<ManualQueue>();
  std::function<void()> next;
};

TEST_F(ReachabilityNotifier, AChangeInTheMiddleOfAReportIsReportedNext) {
  const auto queue = std::make_shared<ChangingQueue>();
  watch(TQReachability::make({.network = network, .mainQueue = queue}));
  const auto reported = [&] {
    network->waitForCallbacks();
    network->waitForCallbacks();
    queue->inner->run();
    return std::exchange(reports, {});
  };
  queue->next = [&] { network->set(0); };
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(reported(), (Reports{"reachable --", "posted", "unreachable", "posted"}));
  queue->next = [&] { network->set(0); };
  network->set(kWiFi);
  EXPECT_EQ(reported(), (Reports{"reachable --", "posted", "unreachable", "posted"}));
  queue->next = [&] { network->set(kWiFi); };
  network->set(kCellular);
  EXPECT_EQ(reported(), (Reports{"reachable -R", "posted", "reachable -R", "posted"}));
}

TEST_F(ReachabilityNotifier, ARefusalLeavesNothingBehindAndCanBeTriedAgain) {
  network->refuse({.callbacks = true});
  EXPECT_EQ(reachability->startNotifier(), ReachabilityError{ReachabilityError::UnableToSetCallback{}});
  network->refuse({.queues = true});
  EXPECT_EQ(reachability->startNotifier(), ReachabilityError{ReachabilityError::UnableToSetDispatchQueue{}});
  EXPECT_EQ(network->registrations(), 0);
  EXPECT_EQ(arrived(), Reports());

  network->refuse({});
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));

  network->refuse({.references = true});
  EXPECT_EQ(TQReachability::make(ports()), nullptr);
  EXPECT_EQ(TQReachability::make("example.com", ports()), nullptr);
}

TEST_F(ReachabilityNotifier, LogsALineForEachReportOfAHostBeforeItsHandler) {
  Log::setSink([this](const LogLine& line) { reports.emplace_back(line.message); });
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));

  watch(TQReachability::make("example.com", ports()));
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), (Reports{"USING HOSTNAME ABOUT TO CALL BLOCK", "reachable -R", "posted"}));
  reachability->setWhenUnreachable({});
  network->set(0);
  EXPECT_EQ(arrived(), (Reports{"USING HOSTNAME ABOUT TO CALL BLOCK", "posted"}));
}

TEST_F(ReachabilityNotifier, IsReleasedByItsHandlerAndWithAReportOnItsWay) {
  reachability->setWhenReachable([this](TQReachability&) { reachability.reset(); });
  std::weak_ptr<TQReachability> watched = reachability;
  EXPECT_FALSE(reachability->startNotifier());
  EXPECT_EQ(arrived(), Reports{"posted"});
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(network->registrations(), 0);

  watch(TQReachability::make(ports()));
  watched = reachability;
  EXPECT_FALSE(reachability->startNotifier());
  network->waitForCallbacks();
  reachability.reset();
  EXPECT_EQ(arrived(), (Reports{"reachable -R", "posted"}));
  EXPECT_TRUE(watched.expired());
}

class Screen final : public TQNetworkObserverDelegate {
 public:
  void networkStatusUpdatedWithStatus(bool status) override { heard.push_back(status); }
  std::vector<bool> heard;
};

TEST_F(ReachabilityNotifier, AnObserverTellsItsDelegateAsLongAsThatExists) {
  auto screen = std::make_shared<Screen>();
  const auto observer = TQNetworkObserver::initWithDelegate(screen, ports());
  const auto heard = [&] {
    static_cast<void>(arrived());
    return std::exchange(screen->heard, {});
  };
  EXPECT_EQ(heard(), std::vector<bool>{true});
  network->set(kCellular);
  EXPECT_EQ(heard(), std::vector<bool>{true});
  network->set(kWiFi | kSCNetworkReachabilityFlagsConnectionRequired);
  EXPECT_EQ(heard(), std::vector<bool>{false});
  EXPECT_FALSE(observer->isReachable());
  EXPECT_FALSE(observer->isNetworkReachable());

  network->set(kWiFi);
  network->waitForCallbacks();
  network->set(0);  // gone before the good news arrives, which is then kept back
  EXPECT_EQ(heard(), std::vector<bool>{false});

  network->set(kWiFi);
  EXPECT_EQ(heard(), std::vector<bool>{true});
  EXPECT_TRUE(observer->isNetworkReachable());
  const std::weak_ptr<Screen> gone = std::exchange(screen, nullptr);
  EXPECT_TRUE(gone.expired());
  network->set(0);
  static_cast<void>(arrived());
}

TEST_F(ReachabilityNotifier, AnObserverOfASubclassIsStarted) {
  struct CautiousObserver final : TQNetworkObserver {
    using TQNetworkObserver::TQNetworkObserver;
    [[nodiscard]] bool isReachable() const override { return false; }
  };
  const auto screen = std::make_shared<Screen>();
  const auto observer = TQNetworkObserver::initWithDelegate<CautiousObserver>(screen, ports());
  static_cast<void>(arrived());
  EXPECT_EQ(screen->heard, std::vector<bool>{true});
  EXPECT_FALSE(observer->isNetworkReachable());
}

TEST_F(ReachabilityNotifier, AnObserverWithoutAReferenceAnswersNoAndStaysSilent) {
  network->refuse({.references = true});
  const auto screen = std::make_shared<Screen>();
  const auto observer = TQNetworkObserver::initWithDelegate(screen, ports());
  EXPECT_FALSE(observer->isReachable());
  network->set(kCellular);
  static_cast<void>(arrived());
  EXPECT_TRUE(screen->heard.empty());
}

// Counts what comes in. The handlers of each object hold it, so it tells when the last object is gone.
struct Storm : std::enable_shared_from_this<Storm> {
  std::shared_ptr<FakeReachability> network = std::make_shared<FakeReachability>(kWiFi);
  std::shared_ptr<DispatchQueue> mainQueue = DispatchQueue::serial();
  std::atomic<int> reports = 0;

  TQReachability::Handler counting() {
    return [self = shared_from_this()](TQReachability&) { ++self->reports; };
  }

  std::shared_ptr<TQReachability> make() {
    auto made = TQReachability::make({.network = network, .mainQueue = mainQueue});
    made->setNotificationCenter(nullptr);
    made->setWhenReachable(counting());
    made->setWhenUnreachable(counting());
    return made;
  }
};

// One thread changes the network all the while; the others start, stop and let go of objects, each its own
// and one that they share. 100,000 times altogether.
TEST(ReachabilityStorm, StartsStopsAndReleasesFromSeveralThreads) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 25'000;
  const auto storm = std::make_shared<Storm>();
  Guarded<std::shared_ptr<TQReachability>> shared(storm->make());
  std::atomic<int> running = kThreads;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
        const auto object = round % 2 == 0 ? storm->make() : shared.get();
        EXPECT_FALSE(object->startNotifier());
        object->setWhenUnreachable(storm->counting());
        if (round % 3 != 0) object->stopNotifier();
        if (round % 64 == thread) shared.set(storm->make());
      }
      --running;
    });
  }
  unsigned turns = 0;
  while (running > 0) storm->network->set(++turns % 2 == 0 ? kWiFi : kDirectWiFi);
  for (auto& thread : threads) thread.join();
  shared.set(nullptr);
  storm->network->waitForCallbacks();
  storm->mainQueue->sync([] {});
  // Reports that were on their way when their object was stopped keep it until they have run.
  EXPECT_TRUE(eventually([&] { return storm.use_count() == 1; }));
  EXPECT_EQ(storm->network->registrations(), 0);
  EXPECT_GE(storm->reports, kThreads * kRounds / 2);  // each new object's first start reports
}

struct FakeWorld final : ReachabilityWorld {
  std::shared_ptr<SCNetworkReachabilityProvider> provider() override { return network; }
  void makeReachable() override { network->set(kWiFi); }
  void makeUnreachable() override { network->set(0); }

  const std::shared_ptr<FakeReachability> network = std::make_shared<FakeReachability>();
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ReachabilityContract, FakeWorld);

}  // namespace
}  // namespace tq::tests
