#include <gtest/gtest.h>

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
  AAPLState ask(const AAPLState& from, const AAPLState& to) {
    sent.push_back(from.value_or("-") + ">" + to.value_or("-"));
    return replacement;
  }
  AAPLState validate(const AAPLState& from, AAPLState to) {
    if (!to) to = ask(from, to);
    if (!to || !from || table[*from].contains(*to)) return to;
    if (from == to || ask(from, to) == "RetainCurrentstate") return std::nullopt;
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
  bool missingTransitionFromState(const AAPLState& from, const AAPLState& to, AAPLState& answer) override {
    sent.push_back(from.value_or("-") + ">" + to.value_or("-"));
    answer = replacement;
    return true;
  }
  AAPLState replacement;
  Words sent;
};

// The machine and the model, to which the same things happen.
class StateMachineModel : public testing::Test {
 protected:
  StateMachineModel() {
    for (const auto& a : states_) {
      for (const char* const prefix :
           {"willEnterTo", "didExit", "didEnter", "willEnterFrom(null)To", "stateDidChangeFromNilTo"})
        names_.push_back(prefix + a);
      for (const auto& b : states_) {
        names_.push_back("willEnterFrom" + a + "To" + b);
        names_.push_back("stateDidChangeFrom" + a + "To" + b);
      }
    }
    machine_->setDelegate(recorder_);
  }
  const std::string& anyState() { return states_[random_() % states_.size()]; }
  const std::string& anyName() { return names_[random_() % names_.size()]; }

  void changeTable() {
    model_.table[anyState()] = {anyState(), anyState()};
    AAPLTransitions transitions;
    for (const auto& [from, to] : model_.table)
      transitions.emplace(from, std::vector<std::string>(to.begin(), to.end()));
    machine_->setValidTransitions(std::move(transitions));
  }
  void toggleMessage(const std::string& name) {
    if (model_.handled.erase(name) > 0) return recorder_->messages().implement(name, {});
    model_.handled.insert(name);
    recorder_->messages().implement(name, [this, name] {
      recorder_->sent.push_back(name);
      if (depth_ > 0 || !model_.nested.contains(name)) return;
      ++depth_;
      machine_->applyState(model_.nested[name]);
      --depth_;
    });
  }
  void changeReplacement() {
    const AAPLState answers[] = {"RetainCurrentstate", anyState(), anyState(), std::nullopt};
    recorder_->replacement = model_.replacement = answers[random_() % 4];
  }
  void request(const AAPLState& wanted) {
    ASSERT_EQ(machine_->applyState(wanted), model_.request(wanted));
    ASSERT_EQ(machine_->currentState(), model_.current);
    ASSERT_EQ(std::exchange(recorder_->sent, {}), std::exchange(model_.sent, {}));
  }

  std::mt19937 random_{20'261};
  const Words states_ = {"A", "B", "C", "To", ""};
  Words names_ = {"stateWillChange", "stateDidChange"};
  Model model_;
  int depth_ = 0;
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::shared_ptr<AAPLStateMachine> machine_ = std::make_shared<AAPLStateMachine>();
};

TEST_F(StateMachineModel, AHundredThousandRandomStepsGoAsThePlainModelSays) {
  platform::setNSLogSink([](std::string_view) {});
  for (int step = 0; step < 100'000 && !HasFatalFailure(); ++step) {
    SCOPED_TRACE(step);
    const auto choice = random_() % 8;
    if (choice == 0) changeTable();
    if (choice == 1) toggleMessage(anyName());
    if (choice == 2) changeReplacement();
    if (choice == 3) model_.nested = {{anyName(), anyState()}};
    if (choice > 3) request(random_() % 10 == 0 ? AAPLState() : anyState());
  }
  platform::setNSLogSink({});
}

}  // namespace
}  // namespace tq::tests
