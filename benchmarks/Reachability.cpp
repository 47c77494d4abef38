// How soon the main queue knows of a route that comes or goes, beside GLib's monitor and a bare listener that
// hands its messages to a main loop, and what a read costs. Each round is a process of its own in a network
// namespace of its own, so that no listener disturbs another.

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "TQFoundation/Network/TQNetworkObserver.h"
#include "TQFoundation/Platform/Queues/LoopQueue.h"
#include "benchmarks/Bench.h"
#include "tests/support/KernelRoutes.h"

#if TQ_PEER_GIO
#include <gio/gio.h>
#endif

namespace tq::bench {
namespace {

using Clock = std::chrono::steady_clock;
using tests::KernelRoutes;

constexpr std::string_view kArea = "reachability";
constexpr int kRounds = 5;
constexpr int kChanges = 200;
constexpr std::chrono::milliseconds kRest{
    5};  // networks change seldom: nobody is awake and warm when they do
constexpr int kBatches = 50;
constexpr int kReads = 400;
constexpr KernelRoutes::Address kDefault{};
constexpr KernelRoutes::Address kGateway{10, 9, 0, 2};

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

bool makeLink() {
  return tests::shell(
      "ip link add v0 type veth peer name v1 && ip addr add 10.9.0.1/24 dev v0 && ip link set v0 up && "
      "ip link set v1 up && for i in $(seq 100); do ip link show v0 | grep -q 'state UP' && break; "
      "sleep 0.05; done && sleep 0.2");
}

// Answers what `measure` answers in a child with a network of its own, or less than 0.
double inOwnNetwork(const std::function<double()>& measure) {
  int ends[2];
  if (::pipe(ends) != 0) return -1;
  const pid_t child = ::fork();
  if (child == 0) {
    double result = -1;
    if (tests::enterOwnNetwork().empty() && makeLink()) result = measure();
    const auto written = ::write(ends[1], &result, sizeof result);
    ::_exit(written == sizeof result ? 0 : 1);
  }
  ::close(ends[1]);
  double result = -1;
  if (::read(ends[0], &result, sizeof result) != sizeof result) result = -1;
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return result;
}

// Notes when a change is heard, while another thread makes one after the other.
class Changes {
 public:
  void hear() {
    const auto now = Clock::now();
    if (!awaited_.exchange(false)) return;
    heardAt_ = now;
    heard_.release();
  }

  // Takes the median of the times from the change being asked for to its being heard.
  double make() {
    KernelRoutes routes;
    std::vector<double> times;
    for (int i = 0; i < kChanges; ++i) {
      std::this_thread::sleep_for(kRest);  // everybody has gone to sleep
      awaited_ = true;
      const auto begin = Clock::now();
      if ((i % 2 == 0 ? routes.add(kDefault, 0, kGateway) : routes.remove(kDefault, 0)) != 0) return -1;
      if (!heard_.try_acquire_for(std::chrono::seconds(5))) return -1;
      times.push_back(microseconds(heardAt_ - begin));
    }
    return median(std::move(times));
  }

 private:
  std::atomic<bool> awaited_ = false;  // some tell twice of one change
  std::binary_semaphore heard_{0};
  Clock::time_point heardAt_;
};

class Delegate final : public TQNetworkObserverDelegate {
 public:
  explicit Delegate(std::function<void()> heard) : heard_(std::move(heard)) {}
  void networkStatusUpdatedWithStatus(bool) override { heard_(); }

 private:
  const std::function<void()> heard_;
};

double hearOurs() {
  Changes changes;
  const auto& main = DispatchQueue::main();
  const auto delegate = std::make_shared<Delegate>([&, first = true]() mutable {
    if (std::exchange(first, false)) return main->stop();  // the report that comes with the making
    changes.hear();
  });
  const auto observer = TQNetworkObserver::initWithDelegate(delegate);
  main->run();
  double result = -1;
  std::thread changer([&] {
    result = changes.make();
    main->stop();
  });
  main->run();
  changer.join();
  return result;
}

// A main loop, and no more than that.
class BareLoop {
 public:
  void post(std::function<void()> task) {
    {
      const std::scoped_lock lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    added_.notify_one();
  }

  // Runs tasks until one of them is empty.
  void run() {
    for (;;) {
      std::unique_lock lock(mutex_);
      added_.wait(lock, [this] { return !tasks_.empty(); });
      const auto task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      if (!task) return;
      task();
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::deque<std::function<void()>> tasks_;
};

// A thread that receives the kernel's messages and hands each, unread, to a main loop.
double hearBare() {
  Changes changes;
  BareLoop loop;
  std::unique_ptr<mnl_socket, int (*)(mnl_socket*)> socket(mnl_socket_open(NETLINK_ROUTE), &mnl_socket_close);
  mnl_socket_bind(socket.get(), RTMGRP_IPV4_ROUTE, MNL_SOCKET_AUTOPID);
  double result = -1;
  std::thread listener([&] {
    std::array<char, 8192> message{};
    for (int i = 0; i < kChanges; ++i) {
      if (::recv(mnl_socket_get_fd(socket.get()), message.data(), message.size(), 0) < 0) break;
      loop.post([&] { changes.hear(); });
    }
  });
  std::thread changer([&] {
    result = changes.make();
    if (result < 0) ::_exit(1);  // the listener may wait for ever
    loop.post({});
  });
  loop.run();
  changer.join();
  listener.join();
  return result;
}

#if TQ_PEER_GIO
double hearGLib() {
  ::setenv("GIO_USE_NETWORK_MONITOR", "netlink", 1);  // NOLINT(concurrency-mt-unsafe): the only thread
  Changes changes;
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  GNetworkMonitor* const monitor = g_network_monitor_get_default();
  const auto settle = [](void* data) {
    g_main_loop_quit(static_cast<GMainLoop*>(data));
    return static_cast<gboolean>(G_SOURCE_REMOVE);
  };
  g_timeout_add(200, settle, loop);
  g_main_loop_run(loop);
  const auto changed = +[](GNetworkMonitor*, gboolean, void* data) { static_cast<Changes*>(data)->hear(); };
  g_signal_connect(monitor, "network-changed", G_CALLBACK(changed), &changes);
  double result = -1;
  std::thread changer([&] {
    result = changes.make();
    g_main_loop_quit(loop);
  });
  g_main_loop_run(loop);
  changer.join();
  return result;
}
#endif

// Nanoseconds for one `read`, in the batch that was disturbed least.
double timeOfOne(const std::function<void()>& read) {
  Clock::duration best = Clock::duration::max();
  for (int batch = 0; batch < kBatches; ++batch) {
    const auto begin = Clock::now();
    for (int i = 0; i < kReads; ++i) read();
    best = std::min(best, Clock::now() - begin);
  }
  return microseconds(best) * 1000 / kReads;
}

double readFlags() {
  const auto target = SCNetworkReachabilityProvider::shared()->createWithAddress({});
  return timeOfOne([&] { static_cast<void>(target->getFlags()); });
}

double askObserver() {
  const auto observer = TQNetworkObserver::initWithDelegate({});
  return timeOfOne([&] { static_cast<void>(observer->isNetworkReachable()); });
}

// A look at whether the kernel has anything to tell.
double peek() {
  std::unique_ptr<mnl_socket, int (*)(mnl_socket*)> socket(mnl_socket_open(NETLINK_ROUTE), &mnl_socket_close);
  mnl_socket_bind(socket.get(), RTMGRP_IPV4_ROUTE, MNL_SOCKET_AUTOPID);
  const int descriptor = mnl_socket_get_fd(socket.get());
  char byte = 0;
  return timeOfOne([&] { static_cast<void>(::recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT)); });
}

std::function<double()> reachable(double (*measure)()) {
  return [measure] {
    return inOwnNetwork([measure] {
      KernelRoutes routes;
      return routes.add(kDefault, 0, kGateway) == 0 ? measure() : -1;
    });
  };
}

std::function<double()> unreachable(double (*measure)()) {
  return [measure] { return inOwnNetwork(measure); };
}

void printFigures() {
  std::map<std::string, std::function<double()>> listeners{{std::string(kOurs), unreachable(&hearOurs)},
                                                           {std::string(kLimit), unreachable(&hearBare)}};
#if TQ_PEER_GIO
  listeners.emplace("GLib", unreachable(&hearGLib));
#else
  printLeftOut(kArea, "GLib");
#endif
  const auto heard = interleaved(kRounds, listeners);
  print(kArea, {.work = "a route changes, until the main queue knows (limit: a bare listener)",
                .unit = "us",
                .samples = heard,
                .target = 1.3,
                .against = Figure::Against::limit});
  auto reads = interleaved(
      kRounds,
      {{"flags", reachable(&readFlags)}, {"observer", reachable(&askObserver)}, {"peek", reachable(&peek)}});
  print(kArea, {.work = "the flags, while nothing changes (limit: a look at the socket)",
                .unit = "ns",
                .samples = {{std::string(kOurs), reads["flags"]}, {std::string(kLimit), reads["peek"]}},
                .target = 1.5,
                .against = Figure::Against::limit});
  print(kArea, {.work = "is the network reachable, while nothing changes (limit: a look)",
                .unit = "ns",
                .samples = {{std::string(kOurs), reads["observer"]}, {std::string(kLimit), reads["peek"]}},
                .target = 7.5,
                .against = Figure::Against::limit});
}

}  // namespace
}  // namespace tq::bench

int main() {
  using namespace tq::bench;
  if (inOwnNetwork([] { return 0.0; }) < 0) {
    std::printf("# reachability: left out, as this user may not make a network namespace\n");
    return 0;
  }
  printFigures();
}
