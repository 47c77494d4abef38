// Transitions of a state machine whose messages go by name, beside seven look-ups and, where it is installed,
// Qt SCXML.

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "TQFoundation/StateMachine/AAPLStateMachine.h"
#include "benchmarks/Bench.h"

#if TQ_PEER_QTSCXML
#include <QBuffer>
#include <QCoreApplication>
#include <QScxmlStateMachine>
#endif

namespace tq::bench {
namespace {

constexpr std::string_view kArea = "state-machine";
constexpr int kRounds = 9;
constexpr const char* kMessages[2][7] = {
    {"stateWillChange", "willEnterToReady", "willEnterFromLoadingToReady", "didExitLoading", "didEnterReady",
     "stateDidChangeFromLoadingToReady", "stateDidChange"},
    {"stateWillChange", "willEnterToLoading", "willEnterFromReadyToLoading", "didExitReady",
     "didEnterLoading", "stateDidChangeFromReadyToLoading", "stateDidChange"}};

std::size_t received = 0;

class Listener final : public AAPLStateMachineDelegate {
 public:
  explicit Listener(bool listens) {
    for (const auto& edge : kMessages)
      for (const char* const name : edge)
        if (listens) messages().implement(name, [] { ++received; });
  }
};

// Two transitions, there and back.
void ours(benchmark::State& state, bool listens) {
  const auto listener = std::make_shared<Listener>(listens);
  const auto machine = std::make_shared<AAPLStateMachine>();
  machine->setDelegate(listener);
  machine->setValidTransitions({{"Loading", "Ready"}, {"Ready", "Loading"}});
  machine->applyState("Loading");
  for (auto step : state) {
    machine->applyState("Ready");
    machine->applyState("Loading");
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK_CAPTURE(ours, handled, true)->Name("handled/ours");
BENCHMARK_CAPTURE(ours, none, false)->Name("none/ours");

// The least that sending by name costs: each name is there already, is looked up, and its message is
// called.
void lookUps(benchmark::State& state, bool listens) {
  std::unordered_map<std::string, std::function<void()>> table;
  for (const auto& edge : kMessages)
    for (const char* const name : edge)
      table.emplace(listens ? name : std::string("not ") + name, [] { ++received; });
  const std::string names[2][7] = {{kMessages[0][0], kMessages[0][1], kMessages[0][2], kMessages[0][3],
                                    kMessages[0][4], kMessages[0][5], kMessages[0][6]},
                                   {kMessages[1][0], kMessages[1][1], kMessages[1][2], kMessages[1][3],
                                    kMessages[1][4], kMessages[1][5], kMessages[1][6]}};
  const std::unordered_map<std::string, std::string> transitions = {{"Loading", "Ready"},
                                                                    {"Ready", "Loading"}};
  const std::string from[2] = {"Loading", "Ready"};
  for (auto step : state)
    for (int edge = 0; edge < 2; ++edge) {
      benchmark::DoNotOptimize(transitions.find(from[edge])->second == from[1 - edge]);
      for (const auto& name : names[edge])
        if (const auto found = table.find(name); found != table.end()) found->second();
    }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK_CAPTURE(lookUps, handled, true)->Name("handled/limit");
BENCHMARK_CAPTURE(lookUps, none, false)->Name("none/limit");

#if TQ_PEER_QTSCXML
// Two states, each with something to run on the way in and on the way out.
constexpr const char* kChart =
    R"(<scxml xmlns="http://www.w3.org/2005/07/scxml" version="1.0" initial="Loading">
  <state id="Loading"><transition event="go" target="Ready"/></state>
  <state id="Ready"><transition event="go" target="Loading"/></state></scxml>)";

void qtScxml(benchmark::State& state) {
  QBuffer chart;
  chart.setData(kChart);
  chart.open(QIODevice::ReadOnly);
  const std::unique_ptr<QScxmlStateMachine> machine(QScxmlStateMachine::fromData(&chart));
  for (const char* const name : {"Loading", "Ready"})
    machine->connectToState(QString::fromLatin1(name), [](bool) { ++received; });
  machine->start();
  QCoreApplication::processEvents();
  for (auto step : state) {
    machine->submitEvent(QStringLiteral("go"));
    QCoreApplication::processEvents();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(qtScxml)->Name("handled/Qt SCXML");
#endif

}  // namespace
}  // namespace tq::bench

int main(int argc, char** argv) {
  using namespace tq::bench;
#if TQ_PEER_QTSCXML
  const QCoreApplication application(argc, argv);
#else
  static_cast<void>(argc);
  static_cast<void>(argv);
  printLeftOut(kArea, "Qt SCXML");
#endif
  auto samples = runGoogleBenchmarks(kRounds);
  const auto handled = samples["handled"];
  print(kArea, {.work = "a transition with seven messages handled (limit: the look-ups and calls)",
                .unit = "ns",
                .samples = handled,
                .target = 2.0,
                .against = Figure::Against::limit});
  print(kArea, {.work = "a transition with no message handled (limit: the look-ups)",
                .unit = "ns",
                .samples = samples["none"],
                .target = 1.3,
                .against = Figure::Against::limit});
#if TQ_PEER_QTSCXML
  print(kArea, {.work = "a transition with seven messages handled, beside a framework",
                .unit = "ns",
                .samples = handled,
                .target = 0.2});
#endif
  return 0;
}
