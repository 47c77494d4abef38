#include <gtest/gtest.h>

#include "TQFoundation/Platform/Support/NSLog.h"
#include "TQFoundation/StateMachine/AAPLStateMachine.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

constexpr std::string_view kAllOfAToB[] = {"stateWillChange", "willEnterToB", "willEnterFromAToB",
                                           "didExitA",        "didEnterB",    "stateDidChangeFromAToB",
                                           "stateDidChange"};

// Notes what it is sent; answers missing transitions when told to.
class Listener final : public AAPLStateMachineDelegate {
 public:
  void listenTo(std::initializer_list<std::string_view> names) {
    for (const auto name : names) listenTo(std::string(name));
  }
  void listenTo(const std::string& name) {
    messages().implement(name, [this, name] {
      heard.push_back(name);
      if (step) step(name);
    });
  }
  bool missingTransitionFromState(const AAPLState& from, const AAPLState& to, AAPLState& answer) override {
    asked.push_back(from.value_or("-") + ">" + to.value_or("-"));
    answer = replacement;
    return handles;
  }
  Words heard, asked;
  AAPLState replacement;
  bool handles = true;
  std::function<void(const std::string&)> step;
};

class StateMachine : public testing::Test {
 protected:
  void SetUp() override {
    machine_->setDelegate(listener_);
    machine_->setValidTransitions({{"A", {"B", "A"}}, {"B", "A"}});
    for (const auto name : kAllOfAToB) listener_->listenTo(std::string(name));
    platform::setNSLogSink([this](std::string_view line) { lines_.emplace_back(line); });
  }
  void TearDown() override { platform::setNSLogSink({}); }

  Words lines_;
  std::shared_ptr<AAPLStateMachine> machine_ = std::make_shared<AAPLStateMachine>();
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
};

TEST_F(StateMachine, SendsItsMessagesInOrderWithTheStateChangingBetween) {
  std::string states;
  listener_->step = [&](const std::string&) { states += *machine_->currentState(); };
  EXPECT_TRUE(machine_->applyState("A"));
  listener_->heard.clear();
  states.clear();
  EXPECT_TRUE(machine_->applyState("B"));
  EXPECT_EQ(listener_->heard, Words(std::begin(kAllOfAToB), std::end(kAllOfAToB)));
  EXPECT_EQ(states, "AAABBBB");
}

TEST_F(StateMachine, TheFirstTransitionIsUncheckedAndTheReentryComplete) {
  listener_->listenTo({"willEnterToA", "willEnterFrom(null)ToA", "didEnterA", "stateDidChangeFromNilToA",
                       "willEnterFromAToA", "stateDidChangeFromAToA", "didExit"});
  EXPECT_TRUE(machine_->applyState("A"));
  EXPECT_EQ(listener_->heard, (Words{"stateWillChange", "willEnterToA", "willEnterFrom(null)ToA", "didEnterA",
                                     "stateDidChangeFromNilToA", "stateDidChange"}));
  listener_->heard.clear();
  EXPECT_TRUE(machine_->applyState("A"));
  EXPECT_EQ(listener_->heard, (Words{"stateWillChange", "willEnterFromAToA", "didExitA", "didEnterA",
                                     "stateDidChangeFromAToA", "stateDidChange"}));
}

TEST_F(StateMachine, AsksItsHandlerAboutWhatIsNotListedAndTakesItsWord) {
  machine_->applyState("B");
  listener_->heard.clear();
  EXPECT_FALSE(machine_->applyState("B"));  // not listed for itself: refused without a question
  EXPECT_TRUE(listener_->asked.empty());
  EXPECT_FALSE(machine_->applyState("X"));
  listener_->replacement = std::string(AAPLRetainCurrentState);
  EXPECT_FALSE(machine_->applyState("X"));
  EXPECT_EQ(machine_->currentState(), "B");
  EXPECT_TRUE(listener_->heard.empty());
  listener_->replacement = "Y";
  EXPECT_FALSE(machine_->applyState("X"));  // elsewhere than asked
  EXPECT_EQ(machine_->currentState(), "Y");
  EXPECT_EQ(listener_->asked, (Words{"B>X", "B>X", "B>X"}));
}

TEST_F(StateMachine, AnAbsentRequestIsNeverTrueAndItsReplacementIsChecked) {
  EXPECT_FALSE(machine_->applyState(std::nullopt));
  machine_->applyState("B");
  listener_->replacement = "A";
  EXPECT_FALSE(machine_->applyState(std::nullopt));  // listed: one question
  EXPECT_EQ(machine_->currentState(), "A");
  listener_->replacement = "Z";
  machine_->setCurrentState(std::nullopt);  // not listed: a second one
  EXPECT_EQ(machine_->currentState(), "Z");
  EXPECT_EQ(listener_->asked, (Words{"->-", "B>-", "A>-", "A>Z"}));
}

TEST_F(StateMachine, ADelegateThatDoesNotHandleItLeavesItToTheMachine) {
  struct Stubborn final : AAPLStateMachine {
    AAPLState missingTransitionFromState(const AAPLState&, const AAPLState&) override { return "Home"; }
  };
  const auto stubborn = std::make_shared<Stubborn>();
  stubborn->setDelegate(listener_);
  listener_->handles = false;
  stubborn->applyState("A");
  stubborn->applyState("X");
  EXPECT_EQ(stubborn->currentState(), "Home");
  EXPECT_EQ(listener_->asked.size(), 1U);
  EXPECT_EQ(stubborn->target(), listener_);
  listener_.reset();
  EXPECT_EQ(stubborn->target(), stubborn);
}

TEST_F(StateMachine, WritesItsLinesToTheLetter) {
  struct Named final : AAPLStateMachine {
    std::string description() const override { return "Player"; }
  } machine;
  machine.setValidTransitions({{"A", "B"}});
  machine.applyState("A");
  machine.applyState("X");
  machine.setCurrentState(std::nullopt);
  EXPECT_EQ(lines_, (Words{"****  ••• Player cannot transition to <nil> state"}));
  lines_.clear();
  machine.setShouldLogStateTransitions(true);
  for (const char* const state : {"B", "B", "A"}) machine.applyState(state);
  AAPLStateMachine fresh;
  fresh.setShouldLogStateTransitions(true);
  fresh.applyState("A");
  char address[64];
  std::snprintf(address, sizeof address, "<AAPLStateMachine: %p>", static_cast<void*>(&fresh));
  EXPECT_EQ(
      lines_,
      (Words{" **** •••••• request state change from A to B ••••••", "  ••• Player state change from A to B",
             " **** •••••• request state change from B to B ••••••", "  ••• Player ignoring reentry to B",
             " **** •••••• request state change from B to A ••••••",
             "  ••• Player cannot transition to A from B",
             " **** •••••• request state change from (null) to A ••••••",
             "  ••• " + std::string(address) + " state change from (null) to A"}));
}

TEST_F(StateMachine, RequestsFromInsideMessagesRunAtOnceAndTheOuterBeforeMessageWins) {
  listener_->listenTo({"willEnterToC", "didEnterC", "didExitC", "didEnterA"});
  machine_->setValidTransitions({{"A", {"B", "C"}}, {"B", {"C"}}, {"C", {"A"}}});
  machine_->applyState("A");
  listener_->step = [&](const std::string& name) {
    if (name == "willEnterToB") {
      EXPECT_TRUE(machine_->applyState("C"));
    }
  };
  EXPECT_TRUE(machine_->applyState("B"));
  EXPECT_EQ(machine_->currentState(), "B");
  listener_->step = [&](const std::string& name) {
    if (name == "didEnterC") {
      EXPECT_TRUE(machine_->applyState(*machine_->currentState() == "C" ? "A" : "B"));
    }
  };
  listener_->heard.clear();
  EXPECT_TRUE(machine_->applyState("C"));
  EXPECT_EQ(machine_->currentState(), "A");
  EXPECT_EQ(listener_->heard, (Words{"stateWillChange", "willEnterToC", "didEnterC", "stateWillChange",
                                     "didExitC", "didEnterA", "stateDidChange", "stateDidChange"}));
}

TEST_F(StateMachine, AChangedTableOrTargetIsNeverMissed) {
  machine_->applyState("A");
  listener_->step = [&](const std::string& name) {
    if (name != "willEnterToB") return;
    listener_->messages().implement("willEnterToB", {});  // itself, while it runs
    listener_->messages().implement("didEnterB", {});
    listener_->messages().implement("stateDidChange", [&] { listener_->heard.emplace_back("replaced"); });
  };
  listener_->heard.clear();
  machine_->applyState("B");
  EXPECT_EQ(listener_->heard, (Words{"stateWillChange", "willEnterToB", "willEnterFromAToB", "didExitA",
                                     "stateDidChangeFromAToB", "replaced"}));
  const auto other = std::make_shared<Listener>();
  other->listenTo({"didEnterB"});
  machine_->applyState("A");
  machine_->setDelegate(other);
  machine_->applyState("B");
  EXPECT_EQ(other->heard, (Words{"didEnterB"}));
}

TEST_F(StateMachine, ATableOfADerivedClassIsReadForEachRequest) {
  struct Growing final : AAPLStateMachine {
    std::shared_ptr<const AAPLTransitions> validTransitions() const override {
      ++reads;
      return std::make_shared<AAPLTransitions>(AAPLTransitions{{"A", reads > 1 ? "B" : "A"}});
    }
    mutable int reads = 0;
  } machine;
  machine.applyState("A");
  EXPECT_FALSE(machine.applyState("B"));
  EXPECT_TRUE(machine.applyState("B"));
}

TEST_F(StateMachine, AMessageMayReleaseTheMachineAndItsTarget) {
  machine_->setShouldLogStateTransitions(true);
  machine_->applyState("A");
  const std::weak_ptr<AAPLStateMachine> machine = machine_;
  const std::weak_ptr<Listener> listener = listener_;
  int after = 0;
  listener_->messages().implement("stateWillChange", [&] {
    machine_.reset();
    listener_.reset();
  });
  listener_->messages().implement("willEnterToB", [&] { ++after; });
  auto* const raw = machine_.get();
  EXPECT_TRUE(raw->applyState("B"));
  EXPECT_EQ(after, 1);
  EXPECT_TRUE(machine.expired() && listener.expired());
}

}  // namespace
}  // namespace tq::tests
