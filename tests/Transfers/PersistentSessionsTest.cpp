#include "TQFoundation/Transfers/PersistentSessions.h"

#include <random>

#include "TQFoundation/Transfers/Recovery.h"
#include "TQFoundationTesting/FakeReachability.h"
#include "TQFoundationTesting/FakeURLSession.h"
#include "TQFoundationTesting/FixedVolumeInfo.h"
#include "TQFoundationTesting/ManualClock.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/contract/URLSessionContract.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using Waiting = TransferStatus::Waiting;

constexpr const char* kURL = "https://example.com/a.mov";
constexpr SCNetworkReachabilityFlags kReachable = kSCNetworkReachabilityFlagsReachable;

struct PersistentWorld {
  PersistentWorld() {
    network->add(base + "/good", {.body = std::string(kSessionBody)});
    network->add(base + "/missing", {.body = "no", .status = 404});
    network->add(base + "/stalling", {.body = std::string(9'000, 'x'), .progress = {5}, .stalls = true});
  }
  std::shared_ptr<FakeNetwork> network = FakeNetwork::make();
  NSURLSessionMaker maker = persistentSessions(network->maker(), {.attemptsWithoutProgress = 1}, {},
                                               {.network = std::make_shared<FakeReachability>(kReachable)});
  std::string base = "https://fake", unreachable = "https://nowhere/";
};
INSTANTIATE_TYPED_TEST_SUITE_P(PersistentSessions, URLSessionContract, testing::Types<PersistentWorld>);

FakeReply failing(std::int64_t code, std::vector<std::int64_t> progress = {}) {
  return {.body = std::string(1000, 'x'),
          .progress = std::move(progress),
          .error = makeError(NSURLErrorDomain, code, "it failed")};
}

FakeReply status(int code, std::optional<std::chrono::seconds> retryAfter = {}) {
  return {.body = "an error page", .status = code, .retryAfter = retryAfter};
}

// A transfer whose every step, and whose clock, the test moves.
class PersistentTransfer : public testing::Test {
 protected:
  void start(const RetryPolicy& policy = {}) {
    const auto maker = persistentSessions(
        [inner = network_->maker(), this](const auto& configuration, auto delegate) {
          tries_.push_back(queue_->now());
          return inner(configuration, std::move(delegate));
        },
        policy, [this](const URL&, const TransferStatus& now) { statuses_.push_back(now); },
        {.network = reachability_,
         .volumes = volume_,
         .clock = std::make_shared<ManualClock>(Date()),
         .makeQueue = [this] { return queue_; },
         .random = [this] { return random_(); }});
    session_ = maker({}, recorder_);
    task_ = session_->downloadTaskWithRequest({.url = *URL::parse(kURL)});
    task_->resume();
    settle();
  }
  void settle() {
    queue_->run();
    reachability_->waitForCallbacks();
    queue_->run();
  }
  [[nodiscard]] Waiting waiting() const { return statuses_.back().waiting; }
  [[nodiscard]] int requests() const { return network_->requests(kURL); }

  std::shared_ptr<ManualQueue> queue_ = std::make_shared<ManualQueue>();
  std::shared_ptr<FakeNetwork> network_ = FakeNetwork::make(queue_);
  std::shared_ptr<FakeReachability> reachability_ = std::make_shared<FakeReachability>(kReachable);
  std::shared_ptr<FixedVolumeInfo> volume_ = std::make_shared<FixedVolumeInfo>(1'000'000);
  std::shared_ptr<SessionRecorder> recorder_ = std::make_shared<SessionRecorder>();
  std::function<double()> random_ = [] { return 0.5; };
  std::vector<std::chrono::nanoseconds> tries_;
  std::vector<TransferStatus> statuses_;
  std::shared_ptr<NSURLSession> session_;
  std::shared_ptr<NSURLSessionDownloadTask> task_;
};

TEST(Recovery, SaysWhatWouldHelp) {
  const struct {
    std::string_view domain;
    std::int64_t code;
    Recovery expected;
  } errors[] = {
      {NSURLErrorDomain, NSURLErrorNetworkConnectionLost, Recovery::now},
      {NSURLErrorDomain, NSURLErrorTimedOut, Recovery::later},
      {NSURLErrorDomain, NSURLErrorNotConnectedToInternet, Recovery::whenNetworkReturns},
      {NSURLErrorDomain, NSURLErrorServerCertificateUntrusted, Recovery::needsUser},
      {NSURLErrorDomain, NSURLErrorCancelled, Recovery::never},
      {NSURLErrorDomain, NSURLErrorBadURL, Recovery::never},
      {NSCocoaErrorDomain, NSFileWriteOutOfSpaceError, Recovery::whenSpaceReturns},
      {NSCocoaErrorDomain, NSFileWriteFileExistsError, Recovery::never},
      {"Disk Full", NSURLErrorTimedOut, Recovery::never},
  };
  for (const auto& [domain, code, expected] : errors)
    EXPECT_EQ(recoveryOf(makeError(domain, code, ""), NSHTTPURLResponse{500}), expected) << domain << code;
  for (const auto& [code, expected] : {std::pair(200, Recovery::never),
                                       {404, Recovery::never},
                                       {401, Recovery::needsUser},
                                       {429, Recovery::later},
                                       {500, Recovery::later},
                                       {599, Recovery::later}})
    EXPECT_EQ(recoveryOf({}, NSHTTPURLResponse{code}), expected) << code;
  EXPECT_EQ(recoveryOf({}, {}), Recovery::never);
}

TEST_F(PersistentTransfer, FollowsTheScheduleToTheLetterAndReportsTheLastFailure) {
  const struct {
    std::vector<FakeReply> replies;
    std::vector<std::chrono::nanoseconds> tries;
    int status;  // 0: an error
  } cases[] = {
      {{}, {0s, 500ms, 1500ms, 3500ms, 7500ms}, 0},  // 0.5 of 1, 2, 4 and 8 s, then given up
      {{failing(NSURLErrorNetworkConnectionLost), failing(NSURLErrorNetworkConnectionLost)},
       {0s, 0s, 1s, 3s, 7s},
       0},
      {{status(503, 120s), status(500)}, {0s, 120s, 121s, 123s, 127s}, 0},
      {{status(429, 24h), {.body = "whole"}}, {0s, 600s}, 200},
      {{status(500), status(500), status(500), status(500), status(502)},
       {0s, 500ms, 1500ms, 3500ms, 7500ms},
       502},
      {{failing(NSURLErrorTimedOut), status(404)}, {0s, 500ms}, 404},
      {{failing(NSURLErrorBadURL)}, {0s}, 0},
      // What brings new bytes starts the count over; the same bytes again do not.
      {{failing(NSURLErrorTimedOut, {10}),
        failing(NSURLErrorTimedOut, {10}),
        failing(NSURLErrorTimedOut, {20}),
        {.body = "twenty bytes and more"}},
       {0s, 500ms, 1500ms, 2s},
       200},
  };
  for (const auto& each : cases) {
    recorder_ = std::make_shared<SessionRecorder>();
    tries_.clear();
    const auto begin = queue_->now();
    network_->addNext(kURL, each.replies);
    network_->add(kURL, failing(NSURLErrorCannotConnectToHost));
    start();
    queue_->advance(1h);
    for (auto& moment : tries_) moment -= begin;
    EXPECT_EQ(tries_, each.tries);
    EXPECT_EQ(recorder_->ends, 1);
    EXPECT_EQ(recorder_->error.has_value(), each.status == 0);
    EXPECT_EQ(recorder_->status, each.status);
    EXPECT_EQ(recorder_->lastTotal, each.status == 0 ? 0 : std::ssize(recorder_->body));
  }
}

TEST_F(PersistentTransfer, WaitsForTheNetworkWithoutCostAndGoesOnSoonAfterItsReturn) {
  network_->add(kURL, failing(NSURLErrorNotConnectedToInternet));
  reachability_->set(0);
  start({.attemptsWithoutProgress = 2});
  for (int round = 1; round <= 20; ++round) {
    EXPECT_EQ(waiting(), Waiting::forNetwork);
    queue_->advance(24h);
    EXPECT_EQ(requests(), round) << "nothing is tried while there is no way";
    if (round == 20) network_->add(kURL, {.body = std::string(kSessionBody)});
    reachability_->set(kReachable);
    settle();
    reachability_->set(0);
    settle();
    queue_->advance(250ms);
    settle();
  }
  EXPECT_EQ(recorder_->body, kSessionBody);
  EXPECT_EQ(recorder_->ends, 1);
  EXPECT_EQ(reachability_->registrations(), 0) << "nothing is watched any more";
}

// What it waits for equals a model's, whatever comes in whichever order; no return of the network is lost.
TEST_F(PersistentTransfer, AgreesWithAModelWhileTheNetworkAndTheServerFlap) {
  std::mt19937 generator(20261123);
  random_ = [&] { return std::uniform_real_distribution<double>(0, 0.999)(generator); };
  network_->add(kURL, failing(NSURLErrorTimedOut));
  start({.attemptsWithoutProgress = 1'000'000});
  bool isUp = true;
  for (int step = 0; step < 2000; ++step) {
    if (generator() % 2 == 0) reachability_->set((isUp = !isUp) ? kReachable : 0);
    settle();
    const int before = requests();
    queue_->advance(61s);  // longer than any pause
    settle();
    if (isUp) {
      ASSERT_EQ(waiting(), Waiting::forRetry) << step;
      ASSERT_GT(requests(), before) << step;
    } else {
      ASSERT_EQ(waiting(), Waiting::forNetwork) << step;
    }
  }
  task_->cancel();
  settle();
  EXPECT_EQ(recorder_->error->code, NSURLErrorCancelled);
}

TEST_F(PersistentTransfer, EndsOnceWhereverACancelOrTheDeadlineFindsIt) {
  for (const bool cancels : {true, false}) {
    for (const Waiting where :
         {Waiting::forNothing, Waiting::forRetry, Waiting::forNetwork, Waiting::forSpace}) {
      recorder_ = std::make_shared<SessionRecorder>();
      reachability_->set(where == Waiting::forNetwork ? 0 : kReachable);
      network_->add(
          kURL, where == Waiting::forNothing ? FakeReply{.body = "xx", .progress = {1}, .stalls = true}
                : where == Waiting::forSpace
                    ? FakeReply{.error = makeError(NSCocoaErrorDomain, NSFileWriteOutOfSpaceError, "full")}
                    : failing(NSURLErrorTimedOut));
      volume_->set(0);
      start({.first = 40s, .deadline = 15s, .waitForSpace = true});
      EXPECT_EQ(waiting(), where);
      if (cancels) task_->cancel();
      settle();
      EXPECT_EQ(recorder_->ends, cancels ? 1 : 0);
      const int before = requests();
      queue_->advance(1h);
      settle();
      ASSERT_TRUE(recorder_->error);
      EXPECT_EQ(recorder_->error->code, cancels ? NSURLErrorCancelled : NSURLErrorTimedOut);
      EXPECT_EQ(recorder_->ends, 1);
      EXPECT_EQ(requests(), before);
      EXPECT_EQ(reachability_->registrations(), 0);
      EXPECT_EQ(recorder_.use_count(), 1) << "the delegate is let go of";
    }
  }
}

TEST_F(PersistentTransfer, GoesOnByItselfWhenSpaceReturnsWhereThatIsAskedFor) {
  const FakeReply full{.error = makeError(NSCocoaErrorDomain, NSFileWriteOutOfSpaceError, "full")};
  network_->addNext(kURL, {full, full, {.body = "whole"}});
  start();
  EXPECT_EQ(recorder_->error->code, NSFileWriteOutOfSpaceError);
  recorder_ = std::make_shared<SessionRecorder>();
  volume_->set(0);
  start({.waitForSpace = true});
  queue_->advance(10min);
  EXPECT_EQ(waiting(), Waiting::forSpace);
  EXPECT_EQ(requests(), 2);
  volume_->set(1000);
  queue_->advance(10s);
  EXPECT_EQ(recorder_->body, "whole");
}

TEST_F(PersistentTransfer, ManyClientsSpreadAfterAnOutage) {
  std::mt19937 generator(7);
  random_ = [&] { return std::uniform_real_distribution<double>(0, 0.999)(generator); };
  network_->add(kURL, status(503));
  std::vector<std::shared_ptr<NSURLSessionDownloadTask>> tasks;
  for (int client = 0; client < 1000; ++client) {
    recorder_ = std::make_shared<SessionRecorder>();
    start({.attemptsWithoutProgress = 100});
    tasks.push_back(task_);
  }
  queue_->advance(10min);
  const int before = requests();
  queue_->advance(1s);
  EXPECT_LT(requests() - before, 100) << "with pauses of up to a minute";
  for (const auto& task : tasks) task->cancel();
  settle();
}

}  // namespace
}  // namespace tq::tests
