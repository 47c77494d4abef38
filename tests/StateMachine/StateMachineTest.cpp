#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>
#include <stdexcept>

#include "TQFoundation/Platform/Log/Log.h"
#include "TQFoundation/StateMachine/AAPLStateMachine.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

std::string inWords(const AAPLState& from, const char* between, const AAPLState& to) {
  return from.value_or("-") + between + to.value_or("-");
}

// Notes what it is sent, and asked.
class Recorder final : public AAPLStateMachineDelegate {
 public:
  bool missingTransitionFromState(const AAPLState& from, const AAPLState& to, AAPLState& answer) override {
    sent.push_back(inWords(from, ">", to));
    answer = replacement;
    return handles;
  }
  bool handles = true;
  AAPLState replacement;
  Words sent;
};

class StateMachine : public testing::Test {
 protected:
  StateMachine() {
    machine_->setDelegate(recorder_);
    setNSLogSink([this](std::string_view line) { lines_.emplace_back(line); });
  }
  ~StateMachine() override { setNSLogSink({}); }

  // Has a message noted with the state it finds; lets `step` step in then.
  void note(const std::string& name, std::function<void()> step = {}) {
    recorder_->messages().implement(name, [this, name, step] {
      recorder_->sent.push_back(inWords(name, " in ", machine_->currentState()));
      if (step) step();
    });
  }
  // What is sent because of one request.
  Words apply(const char* state) {
    recorder_->sent.clear();
    machine_->applyState(state);
    return recorder_->sent;
  }

  Words lines_;
  std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  std::shared_ptr<AAPLStateMachine> machine_ = std::make_shared<AAPLStateMachine>();
};

// What the machine is to do, said as plainly as can be: every name built, every table searched, each time.
class StateMachineModel : public StateMachine {
 protected:
  bool expect(const AAPLState& state) {
    const AAPLState from = current_;
    const AAPLState accepted = validate(from, state);
    if (!accepted) return false;
    send("stateWillChange");
    if (from != accepted) send("willEnterTo" + *accepted);
    send("willEnterFrom" + from.value_or("(null)") + "To" + *accepted);
    current_ = accepted;
    if (from) send("didExit" + *from);
    send("didEnter" + *accepted);
    send("stateDidChangeFrom" + from.value_or("Nil") + "To" + *accepted);
    send("stateDidChange");
    return state == accepted;
  }
  AAPLState ask(const AAPLState& from, const AAPLState& to) {
    expected_.push_back(inWords(from, ">", to));
    return recorder_->replacement;
  }
  AAPLState validate(const AAPLState& from, AAPLState to) {
    if (!to) to = ask(from, to);
    if (!to || !from || std::ranges::count(table_[*from], *to) > 0) return to;
    if (from == to) return std::nullopt;
    const AAPLState answer = ask(from, to);
    return answer == "RetainCurrentstate" ? std::nullopt : answer;
  }
  void send(const std::string& name) {
    if (!handled_.contains(name)) return;
    expected_.push_back(inWords(name, " in ", current_));
    if (name != expectedToRequest_) return;
    expectedToRequest_.clear();
    expect(nested_);
  }

  const std::string& anyState() { return states_[random_() % states_.size()]; }
  std::string anyName() {
    const std::string& to = anyState();
    const std::string from = random_() % 6 == 0 ? "(null)" : anyState();
    const Words names = {"stateWillChange",
                         "stateDidChange",
                         "willEnterTo" + to,
                         "didEnter" + to,
                         "didExit" + from,
                         "willEnterFrom" + from + "To" + to,
                         "stateDidChangeFrom" + (from == "(null)" ? "Nil" : from) + "To" + to};
    return names[random_() % names.size()];
  }
  void toggleMessage(const std::string& name) {
    if (handled_.erase(name) > 0) return recorder_->messages().implement(name, {});
    handled_.insert(name);
    note(name, [this, name] {
      if (name != requesting_) return;
      requesting_.clear();
      machine_->applyState(nested_);
    });
  }

  std::mt19937 random_{20'261};
  const Words states_ = {"A", "B", "C", "To", ""};
  AAPLState current_, nested_;
  AAPLTransitions table_;
  std::set<std::string> handled_;
  std::string requesting_, expectedToRequest_;  // the message that asks for `nested_`, once
  Words expected_;
};

TEST_F(StateMachineModel, AHundredThousandRandomStepsGoAsThePlainModelSays) {
  for (int step = 0; step < 100'000; ++step) {
    SCOPED_TRACE(step);
    const auto choice = random_() % 8;
    const AAPLState answers[] = {"RetainCurrentstate", anyState(), anyState(), std::nullopt};
    if (choice == 0) table_[anyState()] = {anyState(), anyState()};
    if (choice == 0) machine_->setValidTransitions(table_);
    if (choice == 1) toggleMessage(anyName());
    if (choice == 2) recorder_->replacement = answers[random_() % 4];
    if (choice == 3) requesting_ = expectedToRequest_ = anyName();
    if (choice == 3) nested_ = anyState();
    if (choice < 4) continue;
    const AAPLState wanted = random_() % 10 == 0 ? AAPLState() : anyState();
    ASSERT_EQ(machine_->applyState(wanted), expect(wanted));
    ASSERT_EQ(machine_->currentState(), current_);
    ASSERT_EQ(std::exchange(recorder_->sent, {}), std::exchange(expected_, {}));
  }
}

TEST_F(StateMachine, ADerivedClassIsAskedForItsTableEachTimeAndForWhatTheDelegateDoesNotHandle) {
  struct Derived final : AAPLStateMachine {
    AAPLState missingTransitionFromState(const AAPLState&, const AAPLState&) override { return "Home"; }
    std::shared_ptr<const AAPLTransitions> validTransitions() const override {
      return std::make_shared<AAPLTransitions>(AAPLTransitions{{"Home", ++reads > 1 ? "B" : "A"}});
    }
    mutable int reads = 0;
  };
  machine_ = std::make_shared<Derived>();
  machine_->setDelegate(recorder_);
  recorder_->handles = false;
  apply("A");
  EXPECT_EQ(apply("B"), (Words{"A>B"}));
  EXPECT_EQ(machine_->currentState(), "Home");
  EXPECT_TRUE(machine_->applyState("B"));
  recorder_.reset();
  EXPECT_EQ(machine_->target(), machine_);
}

TEST_F(StateMachine, WritesItsLinesToTheLetter) {
  struct Named final : AAPLStateMachine {
    std::string description() const override { return "Player"; }
  } machine;
  machine.setValidTransitions({{"A", "B"}});
  machine.applyState("A");
  machine.applyState("X");
  static const AAPLState kAbsent;  // g++ 12 with sanitizers takes a temporary one for uninitialised
  machine.setCurrentState(kAbsent);
  EXPECT_EQ(std::exchange(lines_, {}), (Words{"****  ••• Player cannot transition to <nil> state"}));
  machine.setShouldLogStateTransitions(true);
  for (const char* const state : {"B", "B", "A"}) machine.applyState(state);
  machine_->setShouldLogStateTransitions(true);
  machine_->applyState("A");
  char address[64];
  std::snprintf(address, sizeof address, "<AAPLStateMachine: %p>", static_cast<void*>(machine_.get()));
  EXPECT_EQ(
      lines_,
      (Words{" **** •••••• request state change from A to B ••••••", "  ••• Player state change from A to B",
             " **** •••••• request state change from B to B ••••••", "  ••• Player ignoring reentry to B",
             " **** •••••• request state change from B to A ••••••",
             "  ••• Player cannot transition to A from B",
             " **** •••••• request state change from (null) to A ••••••",
             "  ••• " + std::string(address) + " state change from (null) to A"}));
}

TEST_F(StateMachine, AMessageMayChangeTheMessagesAndTheTarget) {
  machine_->setValidTransitions({{"A", "B"}, {"B", "A"}});
  apply("A");
  note("willEnterToB", [&] {
    for (const char* const gone : {"willEnterToB", "didEnterB"})  // itself, while it runs
      recorder_->messages().implement(gone, {});
    note("stateDidChange");
  });
  note("didEnterB");
  EXPECT_EQ(apply("B"), (Words{"willEnterToB in A", "stateDidChange in B"}));
  const auto former = recorder_;
  note("stateWillChange", [&] {
    recorder_ = std::make_shared<Recorder>();
    machine_->setDelegate(recorder_);
    note("didEnterA");
  });
  apply("A");
  EXPECT_EQ(former->sent, (Words{"stateWillChange in B"}));
  EXPECT_EQ(recorder_->sent, (Words{"didEnterA in A"}));
}

// Two delegates that are parts of one owner: what tells them apart is the object, not the owner.
TEST_F(StateMachine, AMessageMayMoveOnToAnotherPartOfTheDelegatesOwner) {
  const auto both = std::make_shared<std::array<Recorder, 2>>();
  std::array<int, 2> entered{};
  for (std::size_t i = 0; i < 2; ++i)
    (*both)[i].messages().implement("didEnterA", [&entered, i] { ++entered[i]; });
  const std::shared_ptr<Recorder> first(both, &(*both)[0]), second(both, &(*both)[1]);
  first->messages().implement("stateWillChange", [&] { machine_->setDelegate(second); });
  machine_->setDelegate(first);
  machine_->applyState("A");
  EXPECT_EQ(entered, (std::array<int, 2>{0, 1}));
}

TEST_F(StateMachine, AMessageThatThrowsEndsItsRequestAndLeavesNothingBehind) {
  const auto token = std::make_shared<int>();
  recorder_->messages().implement("didEnterA", [token] { throw std::runtime_error("didEnterA"); });
  note("stateDidChange");
  EXPECT_THROW(machine_->applyState("A"), std::runtime_error);
  EXPECT_EQ(machine_->currentState(), "A");
  EXPECT_EQ(recorder_->sent, Words());
  recorder_->messages().implement("didEnterA", {});
  EXPECT_EQ(token.use_count(), 1);
}

template <class Machine, class Argument>
concept Accepts = requires(Machine machine, Argument argument) {
  machine.applyState(argument);
};
template <class Machine, class Delegate>
concept DelegatesTo = requires(Machine machine, Delegate delegate) {
  machine.setDelegate(std::forward<Delegate>(delegate));
};

TEST_F(StateMachine, StatesAreAnyTextAndNoNullPointer) {
  static constexpr std::string_view kLoading = "Loading", kReady = "Ready";
  static_assert(!Accepts<AAPLStateMachine, std::nullptr_t>);
  static_assert(!std::is_constructible_v<AAPLSuccessors, std::nullptr_t>);
  static_assert(DelegatesTo<AAPLStateMachine, std::shared_ptr<Recorder>&>);
  static_assert(!DelegatesTo<AAPLStateMachine, std::shared_ptr<Recorder>>);  // would be gone at once
  machine_->setValidTransitions({{kLoading, {kReady, "Failed", std::string("Gone")}}, {"Failed", kLoading}});
  EXPECT_TRUE(machine_->applyState(kLoading));
  EXPECT_TRUE(machine_->applyState("Failed"));
  EXPECT_TRUE(machine_->applyState(AAPLState("Loading")));
  EXPECT_TRUE(machine_->applyState(std::string("Gone")));
  EXPECT_FALSE(machine_->applyState(std::nullopt));
}

TEST_F(StateMachine, AMessageMayReleaseTheMachineAndItsTarget) {
  machine_->setShouldLogStateTransitions(true);
  const std::weak_ptr<AAPLStateMachine> machine = machine_;
  const std::weak_ptr<Recorder> recorder = recorder_;
  int after = 0;
  recorder_->messages().implement("stateWillChange", [&] {
    machine_.reset();
    recorder_.reset();
  });
  recorder_->messages().implement("willEnterToB", [&] { ++after; });
  auto* const raw = machine_.get();
  EXPECT_TRUE(raw->applyState("B"));
  EXPECT_EQ(after, 1);
  EXPECT_TRUE(machine.expired() && recorder.expired());
}

}  // namespace
}  // namespace tq::tests
