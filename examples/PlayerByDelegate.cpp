// A player whose states are announced to a delegate.

#include <TQFoundation/StateMachine/AAPLStateMachine.h>

#include <iostream>

using namespace tq;

class Player final : public AAPLStateMachineDelegate {
 public:
  Player() {
    messages().implement("didEnterPlaying", [] { std::cout << "the clock runs\n"; });
    messages().implement("didExitPlaying", [] { std::cout << "the clock stands\n"; });
    messages().implement("stateDidChangeFromLoadingToFailed", [] { std::cout << "sorry\n"; });
  }

  // Whatever the table does not list ends in Failed, except that a player who has ended stays there.
  bool missingTransitionFromState(const AAPLState& from, const AAPLState&, AAPLState& replacement) override {
    replacement = from == "Ended" ? std::string(AAPLRetainCurrentState) : "Failed";
    return true;
  }
};

int main() {
  const auto player = std::make_shared<Player>();
  const auto machine = std::make_shared<AAPLStateMachine>();
  machine->setDelegate(player);
  machine->setValidTransitions(
      {{"Loading", "Playing"}, {"Playing", {"Paused", "Ended"}}, {"Paused", "Playing"}});

  for (const char* const state : {"Loading", "Playing", "Paused", "Playing", "Ended", "Loading"}) {
    const bool there = machine->applyState(state);
    std::cout << "asked for " << state << ": " << (there ? "yes" : "no") << ", now "
              << *machine->currentState() << '\n';
  }
  return machine->currentState() == "Ended" ? 0 : 1;
}
