// Queues under load: every case is counted, bounded, and would hang or lose a task where an invariant fails.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <latch>

#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using Priority = DispatchQueue::Priority;

struct Contention {
  int tasks;
  std::chrono::microseconds work;
};

class ContendedSync : public testing::TestWithParam<Contention> {};

INSTANTIATE_TEST_SUITE_P(Loads, ContendedSync,
                         testing::Values(Contention{64, 0us}, Contention{64, 1'000us}, Contention{200, 100us},
                                         Contention{1'000, 0us}, Contention{1'000, 10us},
                                         Contention{1'000, 100us}, Contention{1'000, 1'000us}),
                         [](const auto& load) {
                           return std::to_string(load.param.tasks) + "TasksOf" +
                                  std::to_string(load.param.work.count()) + "us";
                         });

// Each task hands over a step and then waits for another: its own two keep their order, and all run one at a
// time.
TEST_P(ContendedSync, RunsEachStepOnceInOrderAndOneAtATime) {
  struct State {
    const std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial();
    std::atomic<int> inside = 0, faults = 0, done = 0;
    std::vector<int> steps;  // on the queue only
  };
  const auto state = std::make_shared<State>();  // a failing run must not leave tasks with a dead stack
  const int tasks = GetParam().tasks;
  const std::chrono::microseconds work = GetParam().work;
  state->steps.resize(static_cast<std::size_t>(tasks));
  for (std::size_t i = 0; i < state->steps.size(); ++i) {
    DispatchQueue::global()->async([state, i, work] {
      const auto step = [&state = *state, i, work](int expected) {
        if (state.inside.fetch_add(1) != 0 || state.steps[i]++ != expected) ++state.faults;
        if (work > 0us) std::this_thread::sleep_for(work);
        --state.inside;
      };
      state->queue->async([state, step] { step(0); });
      state->queue->sync([&] { step(1); });
      ++state->done;
    });
  }
  EXPECT_TRUE(eventually([&] { return state->done == tasks; })) << state->done << " of " << tasks;
  EXPECT_EQ(state->faults, 0);
}

// More tasks than run side by side wait for a main queue that is not drained yet.
TEST(QueueLoad, TasksThatWaitForTheMainQueueStopNeitherSerialQueuesNorEachOther) {
  constexpr int kTasks = 200;
  const auto done = std::make_shared<std::atomic<int>>(0);
  for (int i = 0; i < kTasks; ++i) {
    DispatchQueue::global(Priority::high)->async([done] {
      DispatchQueue::main()->sync([] {});
      ++*done;
    });
  }
  const auto served = std::make_shared<std::atomic<bool>>(false);
  const auto queue = DispatchQueue::serial();
  queue->async([=] { *served = true; });
  EXPECT_TRUE(eventually([&] { return served->load(); }));
  queue->sync([] {});
  EXPECT_EQ(*done, 0);
  EXPECT_TRUE(runMainQueueUntil([&] { return *done == kTasks; })) << *done;
}

// The task on the queue waits for one that comes after all who wait for the queue.
TEST(QueueLoad, TasksThatWaitForASerialQueueDoNotStopTheOneItsTaskWaitsFor) {
  constexpr int kTasks = 100;
  struct State {
    const std::shared_ptr<DispatchQueue> queue = DispatchQueue::serial();
    std::atomic<int> entered = 0, done = 0;
    std::latch open{1};
  };
  const auto state = std::make_shared<State>();
  state->queue->async([state] { state->open.wait(); });
  for (int i = 0; i < kTasks; ++i) {
    DispatchQueue::global()->async([state] {
      state->queue->sync([] {});
      ++state->done;
    });
  }
  DispatchQueue::global()->async([state] { state->open.count_down(); });
  EXPECT_TRUE(eventually([&] { return state->done == kTasks; })) << state->done;
}

TEST(QueueLoad, SerialQueuesAndLoopsMayBeReleasedInsideSyncAndInTheirTasks) {
  for (int i = 0; i < 300; ++i) {
    auto serial = DispatchQueue::serial();
    const std::weak_ptr<DispatchQueue> weak = serial;
    auto held = std::make_shared<int>(i);
    const std::weak_ptr<int> weakHeld = held;
    serial->async([held = std::move(held)] {});
    serial->sync([&] {
      EXPECT_TRUE(weakHeld.expired());
      serial.reset();
    });
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));

    auto loop = LoopQueue::make();
    std::latch running(1);
    std::thread runner([&, raw = loop.get()] {
      raw->async([&] { running.count_down(); });
      raw->run();
    });
    running.wait();
    loop->sync([&] {
      loop->stop();
      loop.reset();
    });
    runner.join();
    EXPECT_EQ(loop, nullptr);
  }
}

TEST(QueueLoad, NestedRunsAndStopsFromOtherThreadsEndEachRunOnce) {
  constexpr int kDepth = 20;
  for (int round = 0; round < 50; ++round) {
    const auto loop = LoopQueue::make();
    std::atomic<int> depth = 0, ended = 0;
    std::function<void()> nest = [&] {
      if (++depth < kDepth) loop->async(nest);
      loop->run();
      ++ended;
    };
    loop->async(nest);
    std::thread stopper([&] {
      EXPECT_TRUE(eventually([&] { return depth == kDepth; }));
      loop->sync([] {});  // the innermost run has begun
      for (int i = 0; i < kDepth; ++i) loop->stop();
    });
    loop->drain();
    stopper.join();
    EXPECT_EQ(ended, kDepth);
  }
}

// A user that may start no thread: root is not bound by that limit.
[[noreturn]] void submitWithoutAThread() {
  constexpr uid_t kNobody = 65'534;
  const rlimit one{.rlim_cur = 1, .rlim_max = 1};
  ::setrlimit(RLIMIT_NPROC, &one);
  if (::getuid() == 0 && ::setuid(kNobody) != 0) std::exit(2);
  DispatchQueue::serial()->async([] { std::exit(3); });
  std::this_thread::sleep_for(20s);
  std::exit(4);  // the task waits without an end
}

TEST(QueueLoadDeathTest, AProcessThatMayStartNoThreadEndsWithASentence) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, whose pool has no threads yet
  EXPECT_DEATH(submitWithoutAThread(),
               "TQFoundation: no thread for background queues: Resource temporarily unavailable");
}

}  // namespace
}  // namespace tq::tests
