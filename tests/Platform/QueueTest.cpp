#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "TQFoundation/Platform/Core/LoopQueue.h"
#include "TQFoundationTesting/ManualQueue.h"
#include "tests/support/MainQueue.h"

namespace tq::tests {
namespace {

using platform::DispatchQueue;
using platform::LoopQueue;
using platform::RunLoop;
using namespace std::chrono_literals;

// What every queue that keeps an order promises, however its tasks get a thread.
struct QueueKind {
  const char* name;
  std::shared_ptr<DispatchQueue> (*make)();
  void (*runUntil)(DispatchQueue&, const std::function<bool()>&);
};

void waitForBackground(DispatchQueue&, const std::function<bool()>& done) {
  for (int i = 0; i < 20'000 && !done(); ++i) std::this_thread::sleep_for(1ms);
}

class OrderedQueue : public testing::TestWithParam<QueueKind> {
 protected:
  void runUntil(const std::function<bool()>& done) { GetParam().runUntil(*queue_, done); }

  std::shared_ptr<DispatchQueue> queue_ = GetParam().make();
};

INSTANTIATE_TEST_SUITE_P(
    Kinds, OrderedQueue,
    testing::Values(
        QueueKind{"Main", [] { return std::shared_ptr<DispatchQueue>(DispatchQueue::main()); },
                  [](DispatchQueue&, const std::function<bool()>& done) { runMainQueueUntil(done); }},
        QueueKind{"Serial", [] { return DispatchQueue::serial(); }, waitForBackground},
        QueueKind{"Manual",
                  [] { return std::shared_ptr<DispatchQueue>(std::make_shared<doubles::ManualQueue>()); },
                  [](DispatchQueue& queue, const std::function<bool()>& done) {
                    auto& manual = dynamic_cast<doubles::ManualQueue&>(queue);
                    for (int i = 0; i < 20'000 && !done(); ++i) {
                      manual.advance(1ms);
                      std::this_thread::yield();
                    }
                  }}),
    [](const auto& kind) { return kind.param.name; });

TEST_P(OrderedQueue, RunsTasksOfSeveralThreadsOneAtATimeAndEachThreadsInOrder) {
  constexpr int kThreads = 4;
  constexpr int kTasks = 5'000;
  std::vector<int> last(kThreads, -1);
  std::atomic<int> count = 0;
  std::atomic<int> inside = 0;
  std::atomic<int> faults = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kTasks; ++i) {
        queue_->async([&, t, i] {
          if (inside.fetch_add(1) != 0 || std::exchange(last[static_cast<std::size_t>(t)], i) != i - 1)
            ++faults;
          inside.fetch_sub(1);
          ++count;
        });
      }
    });
  }
  runUntil([&] { return count == kThreads * kTasks; });
  for (auto& thread : threads) thread.join();
  runUntil([&] { return count == kThreads * kTasks; });
  EXPECT_EQ(count, kThreads * kTasks);
  EXPECT_EQ(faults, 0);
}

TEST_P(OrderedQueue, ATaskNeverRunsInsideAsyncAndMayHandOverMore) {
  std::vector<int> order;
  std::atomic<bool> done = false;
  queue_->async([&] {
    queue_->async([&] {
      order.push_back(2);
      done = true;
    });
    order.push_back(1);
  });
  runUntil([&] { return done.load(); });
  EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST_P(OrderedQueue, SyncWaitsFromOutsideAndRunsAtOnceFromInside) {
  std::atomic<bool> done = false;
  int inner = 0;
  std::thread outside([&] {
    int seen = 0;
    queue_->sync([&] {
      queue_->sync([&] { inner = 7; });
      seen = inner;
    });
    EXPECT_EQ(seen, 7);
    queue_->async([&] { done = true; });
  });
  runUntil([&] { return done.load(); });
  outside.join();
  EXPECT_TRUE(done);
}

TEST_P(OrderedQueue, ReleasesWhatATaskHoldsOnceItHasRun) {
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  std::atomic<bool> next = false;
  queue_->async([held = std::move(held)] {});
  queue_->async([&] { next = weak.expired(); });
  runUntil([&] { return next.load(); });
  EXPECT_TRUE(next);
}

TEST_P(OrderedQueue, AfterIsNeverEarlyAndKeepsTheOrderOfTheMoments) {
  std::mutex mutex;
  std::vector<int> order;
  std::atomic<bool> done = false;
  const auto add = [&](int value) {
    const std::scoped_lock lock(mutex);
    order.push_back(value);
    done = order.size() == 3;
  };
  queue_->after(60ms, [&] { add(3); });
  queue_->after(30ms, [&] { add(2); });
  queue_->after(-1h, [&] { add(1); });
  runUntil([&] { return done.load(); });
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
}

TEST(LoopQueue, StopEndsTheRunAtItsTaskAndLeavesTheRestWaitingInOrder) {
  const auto queue = std::make_shared<LoopQueue>(std::this_thread::get_id());
  std::vector<int> order;
  queue->async([&] { order.push_back(1); });
  queue->async([&] { queue->stop(); });
  queue->async([&] { order.push_back(2); });
  queue->run();
  EXPECT_EQ(order, (std::vector{1}));
  queue->async([&] { order.push_back(3); });
  queue->drain();
  EXPECT_EQ(order, (std::vector{1, 2, 3}));
  queue->stop();  // nobody runs: the next run returns at once
  queue->run();
}

TEST(LoopQueue, ARunInsideATaskGoesOnWithTheTasksBehindIt) {
  const auto queue = std::make_shared<LoopQueue>(std::this_thread::get_id());
  std::vector<int> order;
  queue->async([&] {
    order.push_back(1);
    queue->run();
    order.push_back(3);
  });
  queue->async([&] { order.push_back(2); });
  queue->async([&] { queue->stop(); });
  queue->async([&] { order.push_back(4); });
  queue->async([&] { queue->stop(); });
  queue->run();
  EXPECT_EQ(order, (std::vector{1, 2, 3, 4}));
}

TEST(LoopQueue, ItsDescriptorIsReadableExactlyWhileTasksWait) {
  const auto queue = std::make_shared<LoopQueue>(std::this_thread::get_id());
  int wakeUps = 0;
  queue->setWakeUp([&] { ++wakeUps; });
  const auto readable = [&] {
    pollfd descriptor{.fd = queue->descriptor(), .events = POLLIN, .revents = 0};
    return ::poll(&descriptor, 1, 0) == 1;
  };
  queue->async([] {});
  EXPECT_TRUE(readable());  // also when the task came before the descriptor
  queue->async([] {});
  EXPECT_EQ(wakeUps, 1);
  queue->drain();
  EXPECT_FALSE(readable());
  bool later = false;
  queue->async([&] { queue->async([&] { later = true; }); });
  queue->drain();
  EXPECT_FALSE(later);  // a drain never runs what it adds itself: the host's loop has its turn
  EXPECT_TRUE(readable());
  queue->drain();
  EXPECT_TRUE(later);
  EXPECT_FALSE(readable());
  queue->async([&] { queue->stop(); });
  queue->async([] {});
  queue->run();
  EXPECT_TRUE(readable());  // what a stopped run has left
  EXPECT_EQ(wakeUps, 4);
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
      if (++*held == 5) {
        timer->invalidate();
        loop->after(10ms, [&] { loop->stop(); });
      }
    });
    loop->run();
    EXPECT_FALSE(timer->isValid());
  }).join();
  EXPECT_TRUE(weak.expired());
}

TEST(RunLoop, ABusyLoopDropsTheFiringsItMissed) {
  const auto loop = std::make_shared<LoopQueue>(std::this_thread::get_id());
  int fired = 0;
  const auto timer = loop->schedule(5ms, RunLoop::Repeats::yes, [&] {
    if (++fired == 1) std::this_thread::sleep_for(50ms);
    if (fired == 2) loop->stop();
  });
  const auto begin = std::chrono::steady_clock::now();
  loop->run();
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 55ms);
  loop->drain();
  EXPECT_EQ(fired, 2);
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
  constexpr int kBlocked = 40;
  std::mutex mutex;
  std::condition_variable changed;
  int waiting = 0;
  bool open = false;
  for (int i = 0; i < kBlocked; ++i) {
    DispatchQueue::global()->async([&] {
      std::unique_lock lock(mutex);
      ++waiting;
      changed.notify_all();
      changed.wait(lock, [&] { return open; });
      --waiting;
      changed.notify_all();
    });
  }
  std::unique_lock lock(mutex);
  EXPECT_TRUE(changed.wait_for(lock, 20s, [&] { return waiting == kBlocked; }));
  const auto serial = DispatchQueue::serial();
  lock.unlock();
  bool ran = false;
  serial->sync([&] { ran = true; });
  EXPECT_TRUE(ran);
  lock.lock();
  open = true;
  changed.notify_all();
  EXPECT_TRUE(changed.wait_for(lock, 20s, [&] { return waiting == 0; }));
}

TEST(SerialQueue, LivesUntilItsLastTaskHasRunWithoutAnOwner) {
  std::atomic<int> ran = 0;
  for (int i = 0; i < 200; ++i) {
    auto queue = DispatchQueue::serial();
    queue->async([&ran, queue = queue.get()] { queue->async([&ran] { ++ran; }); });
  }
  waitForBackground(*DispatchQueue::global(), [&] { return ran == 200; });
  EXPECT_EQ(ran, 200);
}

}  // namespace
}  // namespace tq::tests
