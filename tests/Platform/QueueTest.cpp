#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <latch>

#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

using namespace std::chrono_literals;
using Numbers = std::vector<int>;

// What every queue that keeps an order promises, however its tasks get a thread.
class OrderedQueue : public testing::TestWithParam<std::string> {
 protected:
  OrderedQueue() {
    if (GetParam() == "Main") queue_ = DispatchQueue::main();
    if (GetParam() == "Serial") queue_ = DispatchQueue::serial();
  }
  // Gives the queue its turns until `ran_` says so.
  bool haveRun(int count) {
    return runMainQueueUntil([&] {
      manual_->advance(1ms);
      return ran_ == count;
    });
  }
  void note(int number) {
    order_.push_back(number);
    ++ran_;
  }
  const std::shared_ptr<ManualQueue> manual_ = std::make_shared<ManualQueue>();
  std::shared_ptr<DispatchQueue> queue_ = manual_;
  Numbers order_;
  std::atomic<int> ran_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Kinds, OrderedQueue, testing::Values("Main", "Serial", "Manual"),
                         [](const auto& kind) { return kind.param; });

TEST_P(OrderedQueue, RunsTasksOfSeveralThreadsOneAtATimeAndEachThreadsInOrderAndSyncWaits) {
  constexpr int kTasks = 5'000;
  Numbers last(4, -1);
  std::atomic<int> inside = 0, faults = 0;
  std::vector<std::thread> threads;
  for (int& mine : last) {
    threads.emplace_back([&] {
      for (int i = 0; i < kTasks; ++i) {
        const auto task = [&, i] {
          if (inside.fetch_add(1) != 0 || mine != i - 1) ++faults;
          queue_->sync([&] { mine = i; });  // at once, from inside
          if (inside.fetch_sub(1) != 1 || mine != i) ++faults;
          ++ran_;
        };
        const bool waits = i % 100 == 0;
        waits ? queue_->sync(task) : queue_->async(task);
        if (waits && mine != i) ++faults;
      }
    });
  }
  EXPECT_TRUE(haveRun(4 * kTasks));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
}

TEST_P(OrderedQueue, ATaskNeverRunsInsideAsyncAndIsReleasedBeforeTheNextOne) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  queue_->async([&] {
    queue_->async([held = std::move(held)] {});
    queue_->async([&] { note(weak.expired() ? 2 : -2); });
    note(1);
  });
  EXPECT_TRUE(haveRun(2));
  EXPECT_EQ(order_, (Numbers{1, 2}));
}

TEST_P(OrderedQueue, AfterKeepsTheOrderOfTheMoments) {
  queue_->after(std::chrono::milliseconds::max(), [this] { note(4); });  // never, and not at once
  for (const auto& [delay, value] : {std::pair{60ms, 3}, {30ms, 2}, {-3'600'000ms, 1}})
    queue_->after(delay, [this, value = value] { note(value); });
  EXPECT_TRUE(haveRun(3));
  EXPECT_EQ(order_, (Numbers{1, 2, 3}));
}

// A loop of this thread's own, whose tasks note numbers.
class Loop : public testing::Test {
 protected:
  void add(int number) {
    loop_->async([this, number] { order_.push_back(number); });
  }
  void addStop() {
    loop_->async([this] { loop_->stop(); });
  }
  static bool readable(int descriptor, std::chrono::milliseconds limit = 0ms) {
    pollfd polled{.fd = descriptor, .events = POLLIN, .revents = 0};
    return ::poll(&polled, 1, static_cast<int>(limit.count())) == 1;
  }
  const std::shared_ptr<LoopQueue> loop_ = LoopQueue::make();
  Numbers order_;
};

TEST_F(Loop, StopEndsTheRunAtItsTaskAndLeavesTheRestWaitingInOrder) {
  add(1);
  loop_->async([&] { loop_->stop(), add(3); });
  add(2);
  loop_->run();
  EXPECT_EQ(order_, (Numbers{1}));
  loop_->drain();
  EXPECT_EQ(order_, (Numbers{1, 2, 3}));
  loop_->stop();  // nobody runs: the next run returns at once
  loop_->run();
}

TEST_F(Loop, ARunInsideATaskGoesOnWithTheTasksBehindIt) {
  loop_->async([&] { loop_->run(), order_.push_back(2); });
  add(1);
  addStop();
  add(3);
  addStop();
  loop_->run();
  EXPECT_EQ(order_, (Numbers{1, 2, 3}));
}

TEST_F(Loop, ItsDescriptorIsReadableExactlyWhileTasksWait) {
  add(1);
  EXPECT_TRUE(readable(loop_->descriptor()));  // also when the task came before the descriptor
  loop_->async([&] { add(2); });
  loop_->drain();
  EXPECT_EQ(order_, (Numbers{1}));  // never what it adds itself: the host's loop has its turn
  EXPECT_TRUE(readable(loop_->descriptor()));
  loop_->drain();
  EXPECT_FALSE(readable(loop_->descriptor()));
  addStop();
  add(3);
  loop_->run();
  EXPECT_TRUE(readable(loop_->descriptor()));  // what a stopped run has left
}

TEST_F(Loop, TheHostIsWokenForTasksFromBeforeAndForThoseThatADrainLeavesBehind) {
  add(1);
  int wakeUps = 0;
  loop_->setWakeUp([&] { ++wakeUps; });
  EXPECT_EQ(wakeUps, 1);
  loop_->drain();
  loop_->async([&] {
    EXPECT_EQ(wakeUps, 3);  // by the task, and by what is behind it, for a nested loop
    add(3);
  });
  add(2);
  loop_->drain();
  EXPECT_EQ(order_, (Numbers{1, 2}));
  EXPECT_EQ(wakeUps, 3);  // the host has not come back since: it drains again
  loop_->drain();
  EXPECT_EQ(order_, (Numbers{1, 2, 3}));
}

TEST_F(Loop, EachStopEndsOneOfTheNestedRuns) {
  loop_->async([&] {
    loop_->async([&] {
      loop_->stop();
      loop_->stop();
      add(2);
    });
    loop_->run();
    add(1);
  });
  loop_->run();
  EXPECT_EQ(order_, Numbers{});
  loop_->stop();
  loop_->stop();  // while no thread runs the queue they count as one
  loop_->run();
  addStop();
  loop_->run();
  EXPECT_EQ(order_, (Numbers{2, 1}));
}

TEST_F(Loop, ItsThreadIsNeverMistakenForALaterOneAndIsKnownFromItsAdoption) {
  for (int i = 0; i < 20; ++i) {
    std::thread([&] {
      loop_->adopt();
      loop_->sync([&] { order_.push_back(i); });  // at once, although nothing has been drained
    }).join();
    std::thread([&] { EXPECT_FALSE(loop_->isCurrent()); }).join();
  }
  EXPECT_EQ(order_.size(), 20U);
}

// Takes every descriptor from the process while it lives.
class NoDescriptorLeft {
 public:
  NoDescriptorLeft() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    rlimit none = before_;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptorLeft() { ::setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST_F(Loop, WithoutADescriptorLeftThereIsAnErrorOrAnEndWithASentence) {
  std::optional<NSError> error;
  {
    const NoDescriptorLeft none;
    EXPECT_EQ(loop_->descriptor(&error), -1);
  }
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, EMFILE);
  EXPECT_EQ(error->localizedDescription(), "no descriptor for a queue: Too many open files");
  add(1);
  EXPECT_TRUE(readable(loop_->descriptor()));
  const auto askWithout = [] {
    const NoDescriptorLeft none;
    static_cast<void>(LoopQueue::make()->descriptor());
  };
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process instead of a fork among threads
  EXPECT_DEATH(askWithout(), "TQFoundation: no descriptor for a queue: Too many open files");
}

TEST(RunLoop, ATimerFiresOnItsThreadWithoutWhatItMissedUntilInvalidatedAndThenLetsGoOfItsTask) {
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> weak = held;
  std::thread([held = std::move(held)]() mutable {
    const auto loop = LoopQueue::current();
    const auto thread = std::this_thread::get_id();
    const auto begin = std::chrono::steady_clock::now();
    std::shared_ptr<Timer> timer;
    timer = RunLoop::current()->schedule(5ms, RunLoop::Repeats::yes, [&, held = std::move(held)] {
      EXPECT_EQ(std::this_thread::get_id(), thread);
      if (++*held == 1) std::this_thread::sleep_for(50ms);
      EXPECT_GE(std::chrono::steady_clock::now() - begin, *held == 1 ? 5ms : 60ms);
      if (*held != 5) return;
      timer->invalidate();
      loop->after(10ms, [&] { loop->stop(); });
    });
    loop->run();
    EXPECT_FALSE(timer->isValid());
  }).join();
  EXPECT_TRUE(weak.expired());
}

TEST(RunLoop, TimersSurviveInvalidationFromOtherThreadsAtAnyMoment) {
  const auto loop = LoopQueue::make();
  std::atomic<int> fired = 0;
  std::thread runner([&] { loop->run(); });
  for (int i = 0; i < 500; ++i) {
    auto repeating = loop->schedule(100us, RunLoop::Repeats::yes, [&] { ++fired; });
    auto once = loop->schedule(100us, RunLoop::Repeats::no, [&] { ++fired; });
    std::this_thread::sleep_for(std::chrono::microseconds(i % 7 * 50));
    repeating->invalidate();
    once->invalidate();
  }
  loop->sync([] {});
  const int settled = fired;
  loop->sync([] {});
  EXPECT_EQ(fired, settled);
  loop->stop();
  runner.join();
}

TEST(GlobalQueue, TasksThatBlockDoNotStarveTheOneTheyWaitFor) {
  std::atomic<int> waiting = 0, ended = 0;
  std::latch open(1);
  for (int i = 0; i < 40; ++i)
    DispatchQueue::global()->async([&] {
      ++waiting;
      open.wait();
      ++ended;
    });
  EXPECT_TRUE(eventually([&] { return waiting == 40; }));
  DispatchQueue::serial()->async([&] { open.count_down(); });
  EXPECT_TRUE(eventually([&] { return ended == 40; }));
}

TEST(SerialQueue, LivesUntilItsLastTaskHasRunWithoutAnOwner) {
  std::atomic<int> ran = 0;
  for (int i = 0; i < 200; ++i) {
    const auto queue = DispatchQueue::serial();
    queue->async([&ran, queue = queue.get()] { queue->async([&ran] { ++ran; }); });
  }
  EXPECT_TRUE(eventually([&] { return ran == 200; }));
}

TEST(SerialQueue, IsNotStarvedByTasksOfHighPriority) {
  // Tasks of high priority that hand over the next one for ever, on all threads of the pool.
  const auto over = std::make_shared<std::atomic<bool>>(false);
  struct Endless {
    std::shared_ptr<std::atomic<bool>> over;
    void operator()() const {
      if (!*over) DispatchQueue::global(DispatchQueue::Priority::high)->async(*this);
    }
  };
  for (int i = 0; i < 200; ++i) DispatchQueue::global(DispatchQueue::Priority::high)->async(Endless{over});
  std::atomic<bool> ran = false;
  const auto queue = DispatchQueue::serial();
  queue->async([&] { ran = true; });
  EXPECT_TRUE(eventually([&] { return ran.load(); }));
  *over = true;
  queue->sync([] {});
}

}  // namespace
}  // namespace tq::tests
