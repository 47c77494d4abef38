#include <gtest/gtest.h>

#include "TQFoundation/Platform/Support/NSLog.h"
#include "TQFoundation/StateMachine/AAPLStateMachine.h"

namespace tq::tests {
namespace {

using Words = std::vector<std::string>;

const Words kAllOfAToB = {"stateWillChange", "willEnterToB",           "willEnterFromAToB", "didExitA",
                          "didEnterB",       "stateDidChangeFromAToB", "stateDidChange"};

// Notes what it is sent; leaves missing transitions to the machine.
class Listener final : public AAPLStateMachineDelegate {
 public:
  void listenTo(const Words& names) {
    for (const auto& name : names) {
      messages().implement(name, [this, name] {
        heard.push_back(name);
        if (step) step(name);
      });
    }
  }
  bool missingTransitionFromState(const AAPLState&, const AAPLState&, AAPLState&) override {
    ++asked;
    return false;
  }
  Words heard;
  int asked = 0;
  std::function<void(const std::string&)> step;
};

class StateMachine : public testing::Test {
 protected:
  void SetUp() override {
    machine_->setDelegate(listener_);
    machine_->setValidTransitions({{"A", {"B", "A"}}, {"B", "A"}});
    listener_->listenTo(kAllOfAToB);
    platform::setNSLogSink([this](std::string_view line) { lines_.emplace_back(line); });
  }
  void TearDown() override { platform::setNSLogSink({}); }
  // What is heard of one request.
  Words apply(const char* state) {
    listener_->heard.clear();
    machine_->applyState(state);
    return listener_->heard;
  }

  Words lines_;
  std::shared_ptr<AAPLStateMachine> machine_ = std::make_shared<AAPLStateMachine>();
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
};

TEST_F(StateMachine, SendsItsMessagesInOrderWithTheStateChangingBetween) {
  apply("A");
  std::string states;
  listener_->step = [&](const std::string&) { states += *machine_->currentState(); };
  EXPECT_EQ(apply("B"), kAllOfAToB);
  EXPECT_EQ(states, "AAABBBB");
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
  machine_->setDelegate(listener_);
  apply("A");
  EXPECT_FALSE(machine_->applyState("B"));
  EXPECT_EQ(machine_->currentState(), "Home");
  EXPECT_EQ(listener_->asked, 1);
  EXPECT_TRUE(machine_->applyState("B"));
  listener_.reset();
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

TEST_F(StateMachine, AChangedTableOrTargetIsNeverMissed) {
  apply("A");
  listener_->step = [&](const std::string& name) {
    if (name != "willEnterToB") return;
    for (const char* const gone : {"willEnterToB", "didEnterB"})  // itself, while it runs
      listener_->messages().implement(gone, {});
    listener_->messages().implement("stateDidChange", [&] { listener_->heard.emplace_back("replaced"); });
  };
  EXPECT_EQ(apply("B"), (Words{"stateWillChange", "willEnterToB", "willEnterFromAToB", "didExitA",
                               "stateDidChangeFromAToB", "replaced"}));
  apply("A");
  listener_ = std::make_shared<Listener>();
  listener_->listenTo({"didEnterB"});
  machine_->setDelegate(listener_);
  EXPECT_EQ(apply("B"), (Words{"didEnterB"}));
}

TEST_F(StateMachine, AMessageMayReleaseTheMachineAndItsTarget) {
  machine_->setShouldLogStateTransitions(true);
  apply("A");
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
