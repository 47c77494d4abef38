#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <random>
#include <set>

#include "TQFoundation/Platform/Support/NSLog.h"
#include "TQFoundation/StateMachine/AAPLStateMachine.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

// What the machine is to do, said as plainly as can be: every name built, every table searched, each time.
class Model {
 public:
  bool request(const AAPLState& state, int depth = 0) {
    const AAPLState from = current;
    const AAPLState accepted = validate(from, state);
    if (!accepted) return false;
    send("stateWillChange", depth);
    if (from != accepted) send("willEnterTo" + *accepted, depth);
    send("willEnterFrom" + from.value_or("(null)") + "To" + *accepted, depth);
    current = accepted;
    if (from) send("didExit" + *from, depth);
    send("didEnter" + *accepted, depth);
    send("stateDidChangeFrom" + from.value_or("Nil") + "To" + *accepted, depth);
    send("stateDidChange", depth);
    return state == accepted;
  }

  AAPLState current;
  std::map<std::string, std::set<std::string>> table;
  std::set<std::string> handled;
  std::map<std::string, AAPLState> nested;  // the request a message makes, on the outermost level
  AAPLState replacement;
  Words sent;

 private:
  AAPLState validate(const AAPLState& from, AAPLState to) {
    if (!to) to = replacement;
    if (!to || !from || table[*from].contains(*to)) return to;
    if (from == to || !replacement || replacement == "RetainCurrentstate") return std::nullopt;
    return replacement;
  }
  void send(const std::string& name, int depth) {
    if (!handled.contains(name)) return;
    sent.push_back(name);
    if (depth == 0 && nested.contains(name)) request(nested[name], 1);
  }
};

class Recorder final : public AAPLStateMachineDelegate {
 public:
  bool missingTransitionFromState(const AAPLState&, const AAPLState&, AAPLState& answer) override {
    answer = replacement;
    return true;
  }
  AAPLState replacement;
};

TEST(StateMachineModel, AHundredThousandRandomStepsGoAsThePlainModelSays) {
  platform::setNSLogSink([](std::string_view) {});
  constexpr unsigned kSeed = 20'261;
  std::cout << "seed " << kSeed << '\n';
  std::mt19937 random(kSeed);
  const Words states = {"A", "B", "C", "To", ""};
  const auto anyState = [&] { return states[random() % states.size()]; };
  Words names = {"stateWillChange", "stateDidChange"};
  for (const auto& a : states) {
    for (const char* const prefix : {"willEnterTo", "didExit", "didEnter"}) names.push_back(prefix + a);
    names.push_back("willEnterFrom(null)To" + a);
    names.push_back("stateDidChangeFromNilTo" + a);
    for (const auto& b : states) {
      names.push_back("willEnterFrom" + a + "To" + b);
      names.push_back("stateDidChangeFrom" + a + "To" + b);
    }
  }
  Model model;
  Words sent;
  int depth = 0;
  auto recorder = std::make_shared<Recorder>();
  auto machine = std::make_shared<AAPLStateMachine>();
  machine->setDelegate(recorder);
  const auto toggle = [&](const std::string& name) {
    const bool handle = random() % 2 == 0;
    if (handle) model.handled.insert(name);
    if (!handle) model.handled.erase(name);
    recorder->messages().implement(
        name, !handle ? AAPLMessageTable::Message() : [&, name] {
          sent.push_back(name);
          if (depth > 0 || !model.nested.contains(name)) return;
          ++depth;
          machine->applyState(model.nested[name]);
          --depth;
        });
  };
  for (int step = 0; step < 100'000; ++step) {
    switch (random() % 8) {
      case 0: {
        model.table[anyState()] = {anyState(), anyState()};
        AAPLTransitions transitions;
        for (const auto& [from, to] : model.table)
          transitions.emplace(from, std::vector<std::string>(to.begin(), to.end()));
        machine->setValidTransitions(std::move(transitions));
        break;
      }
      case 1:
        toggle(names[random() % names.size()]);
        break;
      case 2: {
        const std::string answers[] = {"RetainCurrentstate", anyState(), anyState()};
        const auto choice = random() % 4;
        model.replacement = choice == 3 ? AAPLState() : answers[choice];
        recorder->replacement = model.replacement;
        break;
      }
      case 3:
        model.nested.clear();
        model.nested[names[random() % names.size()]] = anyState();
        break;
      default: {
        const AAPLState wanted = random() % 10 == 0 ? AAPLState() : anyState();
        ASSERT_EQ(machine->applyState(wanted), model.request(wanted)) << "step " << step;
        ASSERT_EQ(machine->currentState(), model.current) << "step " << step;
        ASSERT_EQ(sent, model.sent) << "step " << step;
        sent.clear();
        model.sent.clear();
      }
    }
  }
  platform::setNSLogSink({});
}

}  // namespace
}  // namespace tq::tests
