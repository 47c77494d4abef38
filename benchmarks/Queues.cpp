// Handing work from thread to thread: the library's queues beside Asio's and GLib's loops, and beside the
// least that mutexes and condition variables can do.

#include <benchmark/benchmark.h>
#include <sched.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Queues/LoopQueue.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_ASIO
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#endif
#if TQ_PEER_GLIB
#include <glib.h>
#endif

namespace tq::bench {
namespace {

constexpr std::string_view kArea = "queues";
constexpr int kRounds = 15;
constexpr std::int64_t kTasksPerRound = 100'000;

// A loop takes tasks from any thread with `post` and runs them in `run`, until one of them calls `stop`.

class OurLoop {
 public:
  template <class Task>
  void post(Task task) {
    queue_->async(std::move(task));
  }
  void run() { queue_->run(); }
  void stop() { queue_->stop(); }

 private:
  const std::shared_ptr<LoopQueue> queue_ = LoopQueue::make();
};

class BareLoop {
 public:
  template <class Task>
  void post(Task task) {
    {
      const std::scoped_lock lock(mutex_);
      tasks_.emplace_back(std::move(task));
      if (tasks_.size() > 1) return;
    }
    added_.notify_one();
  }

  void run() {
    std::vector<std::function<void()>> batch;
    for (running_ = true; running_;) {
      batch.clear();
      {
        std::unique_lock lock(mutex_);
        added_.wait(lock, [this] { return !tasks_.empty(); });
        batch.swap(tasks_);
      }
      for (const auto& task : batch) task();
    }
  }
  void stop() { running_ = false; }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<std::function<void()>> tasks_;
  bool running_ = false;
};

#if TQ_PEER_ASIO
class AsioLoop {
 public:
  template <class Task>
  void post(Task task) {
    asio::post(context_, std::move(task));
  }
  void run() {
    context_.restart();
    context_.run();
  }
  void stop() { context_.stop(); }

 private:
  asio::io_context context_;
  const asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(context_);
};
#endif

#if TQ_PEER_GLIB
class GLibLoop {
 public:
  ~GLibLoop() {
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }

  template <class Task>
  void post(Task task) {
    GSource* const source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    const auto call = [](void* data) {
      (*static_cast<Task*>(data))();
      return static_cast<gboolean>(G_SOURCE_REMOVE);
    };
    const auto release = [](void* data) { delete static_cast<Task*>(data); };
    g_source_set_callback(source, call, new Task(std::move(task)), release);
    g_source_attach(source, context_);
    g_source_unref(source);
  }
  void run() { g_main_loop_run(loop_); }
  void stop() { g_main_loop_quit(loop_); }

 private:
  GMainContext* const context_ = g_main_context_new();
  GMainLoop* const loop_ = g_main_loop_new(context_, FALSE);
};
#endif

// A loop on a thread of its own, which makes it a serial queue.
template <class Loop>
class Threaded {
 public:
  ~Threaded() {
    loop_.post([this] { loop_.stop(); });
    thread_.join();
  }

  template <class Task>
  void async(Task task) {
    loop_.post(std::move(task));
  }

  template <class Task>
  void sync(Task task) {
    std::mutex mutex;
    std::condition_variable ran;
    bool done = false;
    loop_.post([&] {
      task();
      const std::scoped_lock lock(mutex);
      done = true;
      ran.notify_one();
    });
    std::unique_lock lock(mutex);
    ran.wait(lock, [&done] { return done; });
  }

 private:
  Loop loop_;
  std::thread thread_{[this] { loop_.run(); }};
};

class OurSerialQueue {
 public:
  template <class Task>
  void async(Task task) {
    queue_->async(std::move(task));
  }
  template <class Task>
  void sync(Task task) {
    queue_->sync(task);
  }

 private:
  const std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::serial();
};

// Where the two threads of a hand-off run decides its cost more than anything else, and left alone it changes
// from run to run: so each figure says where.
struct Cores {
  int caller;
  int queue;
};

std::vector<int> allowedCores() {
  cpu_set_t set;
  CPU_ZERO(&set);
  ::sched_getaffinity(0, sizeof set, &set);
  std::vector<int> cores;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &set)) cores.push_back(core);
  }
  return cores;
}

// Cheap enough to be called in every task.
void stayOn(int core) {
  static thread_local int here = -1;
  if (std::exchange(here, core) == core) return;
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(core, &set);
  ::sched_setaffinity(0, sizeof set, &set);
}

template <class Loop>
void postFromAnotherThread(benchmark::State& state, Cores cores) {
  stayOn(cores.queue);
  Loop loop;
  std::binary_semaphore begin(0);
  bool over = false;
  std::int64_t ran = 0;
  std::thread poster([&] {
    stayOn(cores.caller);
    for (;;) {
      begin.acquire();
      if (over) return;
      for (std::int64_t i = 1; i < kTasksPerRound; ++i) loop.post([&ran] { ++ran; });
      loop.post([&loop] { loop.stop(); });
    }
  });
  for ([[maybe_unused]] const auto iteration : state) {
    begin.release();
    loop.run();
  }
  over = true;
  begin.release();
  poster.join();
  state.counters["items"] = kTasksPerRound;
  if (ran != static_cast<std::int64_t>(state.iterations()) * (kTasksPerRound - 1))
    state.SkipWithError("tasks were lost");
}

template <class Queue>
void syncHandOff(benchmark::State& state, Cores cores) {
  stayOn(cores.caller);
  Queue queue;
  for ([[maybe_unused]] const auto iteration : state) queue.sync([&cores] { stayOn(cores.queue); });
}

template <class Loop, class Queue>
void asyncRoundTrip(benchmark::State& state, Cores cores) {
  stayOn(cores.caller);
  Loop loop;
  Queue queue;
  for ([[maybe_unused]] const auto iteration : state) {
    queue.async([&] {
      stayOn(cores.queue);
      loop.post([&loop] { loop.stop(); });
    });
    loop.run();
  }
}

template <class Loop, class Queue>
void enter(std::string_view contender) {
  const auto cores = allowedCores();
  const Cores one{cores.front(), cores.front()};
  const Cores two{cores.front(), cores.back()};
  const auto add = [&](const char* figure, void (*function)(benchmark::State&, Cores), Cores where) {
    const std::string name = std::string(figure) + '/' + std::string(contender);
    benchmark::RegisterBenchmark(name.c_str(), function, where)->UseRealTime()->MinTime(0.02);
  };
  add("post", &postFromAnotherThread<Loop>, two);
  add("sync, one core", &syncHandOff<Queue>, one);
  add("sync, two cores", &syncHandOff<Queue>, two);
  add("async, one core", &asyncRoundTrip<Loop, Queue>, one);
  add("async, two cores", &asyncRoundTrip<Loop, Queue>, two);
}

void printFigures() {
  auto figures = runGoogleBenchmarks(kRounds);
  struct Row {
    const char* figure;
    const char* work;
    double target;
  };
  for (const auto& [figure, work, target] :
       {Row{"post", "a task posted from another thread to the main queue", 0.7},
        Row{"sync, one core", "sync on an idle serial queue, one core", 1.0},
        Row{"sync, two cores", "sync on an idle serial queue, two cores", 1.0},
        Row{"async, one core", "async to a serial queue and back to the main queue, one core", 1.0},
        Row{"async, two cores", "async to a serial queue and back to the main queue, two cores", 1.0}})
    print(kArea, {.work = work, .unit = "ns", .samples = figures[figure], .target = target});
}

}  // namespace
}  // namespace tq::bench

int main() {
  using namespace tq::bench;
  enter<OurLoop, OurSerialQueue>(kOurs);
  enter<BareLoop, Threaded<BareLoop>>(kLimit);
#if TQ_PEER_ASIO
  enter<AsioLoop, Threaded<AsioLoop>>("Asio");
#else
  printLeftOut(kArea, "Asio");
#endif
#if TQ_PEER_GLIB
  enter<GLibLoop, Threaded<GLibLoop>>("GLib");
#else
  printLeftOut(kArea, "GLib");
#endif
  printFigures();
}
