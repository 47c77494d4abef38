// The same player, which is a state machine itself.

#include <TQFoundation/StateMachine/AAPLStateMachine.h>

#include <iostream>

using namespace tq;

class Player final : public AAPLStateMachine {
 public:
  Player() {
    setValidTransitions({{"Loading", "Playing"}, {"Playing", {"Paused", "Ended"}}, {"Paused", "Playing"}});
    messages().implement("didEnterPlaying", [] { std::cout << "the clock runs\n"; });
    messages().implement("didExitPlaying", [] { std::cout << "the clock stands\n"; });
    messages().implement("stateDidChangeFromLoadingToFailed", [] { std::cout << "sorry\n"; });
  }

 protected:
  AAPLState missingTransitionFromState(const AAPLState&, const AAPLState&) override { return "Failed"; }
};

int main() {
  const auto player = std::make_shared<Player>();
  for (const char* const state : {"Loading", "Playing", "Paused", "Playing", "Paused", "Ended"}) {
    player->setCurrentState(state);
    std::cout << "asked for " << state << ", now " << *player->currentState() << '\n';
  }
  return player->currentState() == "Failed" ? 0 : 1;
}
