// Posts by name, beside a thousand other names, to one and to many observers; and what coming and going
// costs.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/signals2.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "TQFoundation/Platform/Notifications/NSNotificationCenter.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_QT
#include <QVariantAnimation>
#endif

namespace tq::bench {
namespace {

constexpr std::string_view kArea = "notifications";
constexpr int kRounds = 9;
constexpr double kSeconds = 0.1;  // at least, for each measurement
constexpr std::array kObservers = {1, 10, 100};
constexpr std::size_t kOtherNames = 1'000;
constexpr std::size_t kComers = 1'000;
constexpr NSNotification::Name kName("LibraryAllMediaCollectionDidCompleteLoading");
constexpr NSNotification::Name kUnknown("UserDidRequestToClearIntermediateLibraryMedias");

std::int64_t heard = 0;

std::vector<std::string> otherNames() {
  std::vector<std::string> names;
  while (names.size() < kOtherNames) names.push_back("Name" + std::to_string(names.size()));
  return names;
}

class Ours {
 public:
  explicit Ours(int observers) {
    for (const auto& name : otherNames()) add(this, NSNotification::Name(name));
    for (int observer = 0; observer < observers; ++observer) add(this, kName);
  }
  void post() { center_.postNotificationName(kName); }
  void postUnknown() { center_.postNotificationName(kUnknown); }
  void comeAndGo() {
    std::array<char, kComers> comers;
    for (const char& comer : comers) add(&comer, kName);
    for (const char& comer : comers) center_.removeObserver(&comer);
  }

 private:
  void add(const void* observer, const NSNotification::Name& name) {
    center_.addObserver(
        observer, [](const NSNotification&) { ++heard; }, name);
  }

  NSNotificationCenter center_;
};

class Signals2 {
 public:
  explicit Signals2(int observers) {
    for (int observer = 0; observer < observers; ++observer) add();
  }
  void post() { signal_(1); }
  void comeAndGo() {
    std::vector<boost::signals2::connection> comers;
    while (comers.size() < kComers) comers.push_back(add());
    for (const auto& comer : comers) comer.disconnect();
  }

 private:
  boost::signals2::connection add() {
    return signal_.connect([](int) { ++heard; });
  }

  boost::signals2::signal<void(int)> signal_;
};

#if TQ_PEER_QT
// Any object with a signal will do.
class Qt {
 public:
  explicit Qt(int observers) {
    for (int observer = 0; observer < observers; ++observer) add();
  }
  void post() { object_.currentLoopChanged(1); }
  void comeAndGo() {
    std::vector<QMetaObject::Connection> comers;
    while (comers.size() < kComers) comers.push_back(add());
    for (const auto& comer : comers) QObject::disconnect(comer);
  }

 private:
  QMetaObject::Connection add() {
    return QObject::connect(&object_, &QAbstractAnimation::currentLoopChanged, [](int) { ++heard; });
  }

  QVariantAnimation object_;
};
#endif

// What threads cost: a lock to take hold of the functions, and the calls.
class LockedFunctions {
 public:
  explicit LockedFunctions(int observers)
      : functions_(std::make_shared<const Functions>(observers, [](int) { ++heard; })) {}
  void post() {
    const auto functions = [this] {
      const std::scoped_lock lock(mutex_);
      return functions_;
    }();
    for (const auto& function : *functions) function(1);
  }

 private:
  using Functions = std::vector<std::function<void(int)>>;

  std::mutex mutex_;
  std::shared_ptr<const Functions> functions_;
};

// What names and threads cost where nobody observes: a lock and a look-up.
class LockedNames {
 public:
  explicit LockedNames(int) {
    for (const auto& name : otherNames()) names_.emplace(name, 0);
  }
  void postUnknown() {
    const std::scoped_lock lock(mutex_);
    benchmark::DoNotOptimize(names_.find(unknown_));
  }

 private:
  std::mutex mutex_;
  std::unordered_map<std::string, int> names_;
  const std::string unknown_{kUnknown.rawValue()};
};

template <class Contender>
void enterPosts(const std::string& contender) {
  for (const int observers : kObservers) {
    const std::string name = std::to_string(observers) + '/' + contender;
    benchmark::RegisterBenchmark(name.c_str(), [observers](benchmark::State& state) {
      Contender center(observers);
      heard = 0;
      for ([[maybe_unused]] const auto iteration : state) center.post();
      if (heard != observers * static_cast<std::int64_t>(state.iterations()))
        state.SkipWithError("not heard by all");
    })->MinTime(kSeconds);
  }
}

template <class Contender>
void enterUnknown(const std::string& contender) {
  benchmark::RegisterBenchmark(("unknown/" + contender).c_str(), [](benchmark::State& state) {
    Contender center(0);
    for ([[maybe_unused]] const auto iteration : state) center.postUnknown();
  })->MinTime(kSeconds);
}

template <class Contender>
void enterComing(const std::string& contender) {
  benchmark::RegisterBenchmark(("coming/" + contender).c_str(), [](benchmark::State& state) {
    Contender center(0);
    for ([[maybe_unused]] const auto iteration : state) center.comeAndGo();
    state.counters["items"] = static_cast<double>(kComers);
  })->MinTime(kSeconds);
}

void enterAll() {
  enterPosts<Ours>("ours");
  enterPosts<Signals2>("Boost.Signals2");
  enterPosts<LockedFunctions>("limit");
  enterUnknown<Ours>("ours");
  enterUnknown<LockedNames>("limit");
  enterComing<Ours>("ours");
  enterComing<Signals2>("Boost.Signals2");
#if TQ_PEER_QT
  enterPosts<Qt>("Qt");
  enterComing<Qt>("Qt");
#else
  printLeftOut(kArea, "Qt");
#endif
}

// `samples` with `peer` as the only one.
Samples besideOnly(std::string_view peer, Samples samples) {
  std::erase_if(samples,
                [&](const auto& of) { return of.first != kOurs && of.first != kLimit && of.first != peer; });
  return samples;
}

void printPosts(const std::map<std::string, Samples, std::less<>>& figures, std::string_view peer,
                const std::string& remark, const std::array<double, 3>& targets) {
  for (std::size_t i = 0; i < kObservers.size(); ++i) {
    const std::string number = std::to_string(kObservers[i]);
    const std::string work = "a post to " + number + (i == 0 ? " observer" : " observers") + remark;
    print(
        kArea,
        {.work = work, .unit = "ns", .samples = besideOnly(peer, figures.at(number)), .target = targets[i]});
  }
}

void printFigures() {
  auto figures = runGoogleBenchmarks(kRounds);
  printPosts(figures, "Boost.Signals2", "", {1.0, 1.0, 1.0});
#if TQ_PEER_QT
  printPosts(figures, "Qt", ", beside signals that are not looked up", {2.0, 1.0, 1.0});
#endif
  print(kArea, {.work = "a post that nobody observes (limit: a look-up under a lock)",
                .unit = "ns",
                .samples = figures["unknown"],
                .target = 1.5,
                .against = Figure::Against::limit});
  print(kArea, {.work = "an observer added and removed, 1,000 at a time",
                .unit = "ns",
                .samples = figures["coming"],
                .target = 1.1});
}

}  // namespace
}  // namespace tq::bench

int main() {
  // Shared pointers do without atomic counters until a process has had its first thread.
  std::thread([] {}).join();
  tq::bench::enterAll();
  tq::bench::printFigures();
}
