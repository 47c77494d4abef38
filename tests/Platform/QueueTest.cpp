#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <semaphore>
#include <thread>

#include "TQFoundation/Platform/Core/LoopQueue.h"
#include "TQFoundationTesting/ManualQueue.h"

namespace tq::tests {
namespace {

using platform::DispatchQueue;
using platform::LoopQueue;
using platform::RunLoop;
using namespace std::chrono_literals;
using Numbers = std::vector<int>;

// What every queue that keeps an order promises, however its tasks get a thread.
class OrderedQueue : public testing::TestWithParam<std::string> {
 protected:
  OrderedQueue() {
    if (GetParam() == "Main") queue_ = DispatchQueue::main();
    if (GetParam() == "Serial") queue_ = DispatchQueue::serial();
  }
  bool runUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 20'000 && !done(); ++i) {
      if (GetParam() == "Main") DispatchQueue::main()->drain();
      manual_->advance(1ms);
      std::this_thread::sleep_for(1ms);
    }
    return done();
  }
  const std::shared_ptr<doubles::ManualQueue> manual_ = std::make_shared<doubles::ManualQueue>();
  std::shared_ptr<DispatchQueue> queue_ = manual_;
};

INSTANTIATE_TEST_SUITE_P(Kinds, OrderedQueue, testing::Values("Main", "Serial", "Manual"),
                         [](const auto& kind) { return kind.param; });

TEST_P(OrderedQueue, RunsTasksOfSeveralThreadsOneAtATimeAndEachThreadsInOrder) {
  constexpr int kTasks = 5'000;
  Numbers last(4, -1);
  std::atomic<int> count = 0, inside = 0, faults = 0;
  std::vector<std::thread> threads;
  for (int& mine : last) {
    threads.emplace_back([&] {
      for (int i = 0; i < kTasks; ++i) {
        const auto task = [&, i] {
          if (inside.fetch_add(1) != 0 || std::exchange(mine, i) != i - 1) ++faults;
          inside.fetch_sub(1);
          ++count;
        };
        i % 100 == 0 ? queue_->sync(task) : queue_->async(task);
      }
    });
  }
  EXPECT_TRUE(runUntil([&] { return count == 4 * kTasks; }));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);
}

TEST_P(OrderedQueue, ATaskNeverRunsInsideAsyncAndIsReleasedBeforeTheNextOne) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  Numbers order;
  std::atomic<bool> done = false;
  queue_->async([&] {
    queue_->async([held = std::move(held)] {});
    queue_->async([&] {
      order.push_back(weak.expired() ? 2 : -2);
      done = true;
    });
    order.push_back(1);
  });
  EXPECT_TRUE(runUntil([&] { return done.load(); }));
  EXPECT_EQ(order, (Numbers{1, 2}));
}

TEST_P(OrderedQueue, SyncWaitsFromOutsideAndRunsAtOnceFromInside) {
  std::atomic<bool> done = false;
  std::thread outside([&] {
    int inner = 0, seen = 0;
    queue_->sync([&] {
      queue_->sync([&] { inner = 7; });
      seen = inner;
    });
    EXPECT_EQ(seen, 7);
    done = true;
  });
  EXPECT_TRUE(runUntil([&] { return done.load(); }));
  outside.join();
}

TEST_P(OrderedQueue, AfterKeepsTheOrderOfTheMoments) {
  Numbers order;
  std::atomic<int> count = 0;
  for (const auto& [delay, value] : {std::pair{60ms, 3}, {30ms, 2}, {-3'600'000ms, 1}}) {
    queue_->after(delay, [&, value = value] {
      order.push_back(value);
      ++count;
    });
  }
  EXPECT_TRUE(runUntil([&] { return count == 3; }));
  EXPECT_EQ(order, (Numbers{1, 2, 3}));
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
  bool readable() {
    pollfd descriptor{.fd = loop_->descriptor(), .events = POLLIN, .revents = 0};
    return ::poll(&descriptor, 1, 0) == 1;
  }
  const std::shared_ptr<LoopQueue> loop_ = std::make_shared<LoopQueue>(std::this_thread::get_id());
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
  add(1);
  loop_->async([&] { loop_->run(), order_.push_back(3); });
  add(2);
  addStop();
  add(4);
  addStop();
  loop_->run();
  EXPECT_EQ(order_, (Numbers{1, 2, 3, 4}));
}

TEST_F(Loop, ItsDescriptorIsReadableExactlyWhileTasksWait) {
  int wakeUps = 0;
  loop_->setWakeUp([&] { ++wakeUps; });
  add(1);
  EXPECT_TRUE(readable());  // also when the task came before the descriptor
  loop_->async([&] { add(2); });
  EXPECT_EQ(wakeUps, 1);
  loop_->drain();
  EXPECT_EQ(order_, (Numbers{1}));  // never what it adds itself: the host's loop has its turn
  EXPECT_TRUE(readable());
  loop_->drain();
  EXPECT_FALSE(readable());
  addStop();
  add(3);
  loop_->run();
  EXPECT_TRUE(readable());  // what a stopped run has left
  EXPECT_EQ(wakeUps, 3);
}

TEST(LoopQueue, WhileItsThreadSleepsElsewhereTasksAndStopsStillArrive) {
  LoopQueue loop(std::this_thread::get_id());
  Numbers ran;
  std::thread other;
  int sleeps = 0;
  loop.setSleep([&](int descriptor) {
    if (++sleeps == 1) return loop.async([&] { ran.push_back(1); });  // found there, on this very thread
    if (sleeps == 2)
      other = std::thread([&] {
        loop.async([&] { ran.push_back(2); });
        std::this_thread::sleep_for(5ms);  // the loop sleeps again
        loop.stop();
      });
    pollfd readable{.fd = descriptor, .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&readable, 1, 20'000), 1);
  });
  loop.run();
  other.join();
  EXPECT_EQ(ran, (Numbers{1, 2}));
  pollfd readable{.fd = loop.descriptor(), .events = POLLIN, .revents = 0};
  EXPECT_EQ(::poll(&readable, 1, 0), 0);
}

TEST(RunLoop, ATimerFiresOnItsThreadUntilInvalidatedAndThenLetsGoOfItsTask) {
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> weak = held;
  std::thread([held = std::move(held)]() mutable {
    const auto loop = LoopQueue::current();
    const auto thread = std::this_thread::get_id();
    std::shared_ptr<platform::Timer> timer;
    timer = RunLoop::current()->schedule(2ms, RunLoop::Repeats::yes, [&, held = std::move(held)] {
      EXPECT_EQ(std::this_thread::get_id(), thread);
      if (++*held != 5) return;
      timer->invalidate();
      loop->after(10ms, [&] { loop->stop(); });
    });
    loop->run();
    EXPECT_FALSE(timer->isValid());
  }).join();
  EXPECT_TRUE(weak.expired());
}

TEST_F(Loop, ABusyOneDropsTheFiringsItMissed) {
  int fired = 0;
  const auto begin = std::chrono::steady_clock::now();
  const auto timer = loop_->schedule(5ms, RunLoop::Repeats::yes, [&] {
    if (++fired == 1) std::this_thread::sleep_for(50ms);
    if (fired == 2) loop_->stop();
  });
  loop_->run();
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 60ms);
  timer->invalidate();
}

TEST(RunLoop, TimersSurviveInvalidationFromOtherThreadsAtAnyMoment) {
  const auto loop = std::make_shared<LoopQueue>(std::thread::id());
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
  std::counting_semaphore<> waiting(0), open(0), ended(0);
  const auto comes40Times = [](std::counting_semaphore<>& event) {
    int count = 0;
    while (count < 40 && event.try_acquire_for(20s)) ++count;
    return count == 40;
  };
  for (int i = 0; i < 40; ++i)
    DispatchQueue::global()->async([&] {
      waiting.release();
      open.acquire();
      ended.release();
    });
  EXPECT_TRUE(comes40Times(waiting));
  DispatchQueue::serial()->async([&] { open.release(40); });
  EXPECT_TRUE(comes40Times(ended));
}

TEST(SerialQueue, LivesUntilItsLastTaskHasRunWithoutAnOwner) {
  std::counting_semaphore<> ran(0);
  for (int i = 0; i < 200; ++i) {
    auto queue = DispatchQueue::serial();
    queue->async([&ran, queue = queue.get()] { queue->async([&ran] { ran.release(); }); });
  }
  for (int i = 0; i < 200; ++i) ASSERT_TRUE(ran.try_acquire_for(20s));
}

TEST(SerialQueue, BriefTasksRunHereWhereTheQueueIsIdleAndInTurnWhereItIsNot) {
  const auto brief = DispatchQueue::serial(DispatchQueue::Tasks::brief);
  const auto here = std::this_thread::get_id();
  Numbers ran;
  brief->asyncHereIfIdle([&] {
    EXPECT_EQ(std::this_thread::get_id(), here);
    EXPECT_TRUE(brief->isCurrent());
    brief->asyncHereIfIdle([&] { ran.push_back(2); });
    ran.push_back(1);
  });
  brief->sync([&] { ran.push_back(3); });
  EXPECT_EQ(ran, (Numbers{1, 2, 3}));
  const auto any = DispatchQueue::serial();
  any->asyncHereIfIdle([&] { EXPECT_NE(std::this_thread::get_id(), here); });
  std::binary_semaphore ended(0);
  any->async([&] {
    ran.push_back(4);
    ended.release();
  });
  EXPECT_TRUE(ended.try_acquire_for(20s));
}

}  // namespace
}  // namespace tq::tests
