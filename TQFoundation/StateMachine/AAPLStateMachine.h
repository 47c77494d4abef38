#pragma once

#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/Guarded.h"
#include "TQFoundation/StateMachine/AAPLEdge.h"
#include "TQFoundation/StateMachine/AAPLMessageTable.h"

namespace tq {

/// A state's name, or none.
using AAPLState = std::optional<std::string>;

/// The states that may follow one: a single name, or several.
struct AAPLSuccessors : std::vector<std::string> {
  AAPLSuccessors() = default;
  AAPLSuccessors(const char* state) : vector{state} {}             // NOLINT(*-explicit-*)
  AAPLSuccessors(std::string state) : vector{std::move(state)} {}  // NOLINT(*-explicit-*)
  AAPLSuccessors(std::initializer_list<std::string> states) : vector(states) {}
  AAPLSuccessors(std::vector<std::string> states) : vector(std::move(states)) {}  // NOLINT(*-explicit-*)
};

/// For each state those that may follow it. A state without an entry is followed by none.
using AAPLTransitions = std::unordered_map<std::string, AAPLSuccessors>;

/// What a missing-transition handler answers to stay where the machine is.
inline constexpr std::string_view AAPLRetainCurrentState = "RetainCurrentstate";

/// Anything that is sent the messages of a state machine: its delegate, or the machine itself.
class TQ_API AAPLStateMachineTarget {
 public:
  AAPLStateMachineTarget() = default;
  AAPLStateMachineTarget(const AAPLStateMachineTarget&) = delete;
  AAPLStateMachineTarget& operator=(const AAPLStateMachineTarget&) = delete;
  virtual ~AAPLStateMachineTarget() = default;

  /// The messages this object answers to.
  [[nodiscard]] AAPLMessageTable& messages() { return messages_; }

 private:
  AAPLMessageTable messages_;
};

/// The target of a machine that has one, and the first who is asked about missing transitions.
class TQ_API AAPLStateMachineDelegate : public AAPLStateMachineTarget {
 public:
  /// The machine is asked to go `from` a state (absent at first) `to` one that may not follow it, or to none.
  /// An override sets the state to go to instead (absent or `AAPLRetainCurrentState` to stay) and answers
  /// true, "handled". The base answers false: the machine decides itself.
  virtual bool missingTransitionFromState(const AAPLState& from, const AAPLState& to, AAPLState& replacement);
};

/// A state machine whose states are strings: it checks each request against a table, asks a handler about
/// what the table does not list, and announces every accepted transition through messages named after the
/// states.
///
///     auto machine = std::make_shared<AAPLStateMachine>();
///     machine->setValidTransitions({{"Loading", {"Ready", "Failed"}}, {"Failed", "Loading"}});
///     machine->setDelegate(player);
///     machine->applyState("Loading");      // the first state is not checked
///     machine->applyState("Ready");        // true: it was listed
///
/// From Loading to Ready the target may hear, in this order: stateWillChange, willEnterToReady,
/// willEnterFromLoadingToReady; and, with the new state in place, didExitLoading, didEnterReady,
/// stateDidChangeFromLoadingToReady, stateDidChange. Without a state before: no didExit, "(null)" and "Nil"
/// in its place; to the same state again: no willEnterTo. Only messages that the target implements are sent.
///
/// The target is the delegate when there is one, else the machine itself: derive, and implement messages and
/// `missingTransitionFromState` there.
///
/// Not thread-safe: one thread at a time, except that the table may be set from any. Everything happens
/// inside the request; a message may make requests itself (one from a before-message is overruled by the
/// outer one, one from an after-message stands), change any table, and release the machine or its target.
class TQ_API AAPLStateMachine : public AAPLStateMachineTarget,
                                public std::enable_shared_from_this<AAPLStateMachine> {
 public:
  AAPLStateMachine() = default;

  /// The present state; absent until the first request has been accepted.
  [[nodiscard]] const AAPLState& currentState() const { return currentState_; }

  /// Requests a change to `state`; what came of it shows in `currentState` afterwards.
  void setCurrentState(AAPLState state) { attemptToSetCurrentState(std::move(state)); }

  /// Requests a change to `state`. True when the machine has gone to that very state; false also when a
  /// handler has sent it elsewhere.
  bool applyState(AAPLState state) { return attemptToSetCurrentState(std::move(state)); }
  bool attemptToSetCurrentState(AAPLState state);

  /// The table, read anew for every request: a derived class may give its own. Never null.
  [[nodiscard]] virtual std::shared_ptr<const AAPLTransitions> validTransitions() const;
  void setValidTransitions(AAPLTransitions transitions);

  [[nodiscard]] std::shared_ptr<AAPLStateMachineDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(std::weak_ptr<AAPLStateMachineDelegate> delegate) { delegate_ = std::move(delegate); }

  /// Whether requests and transitions are written to the system's log. An absent request always is.
  [[nodiscard]] bool shouldLogStateTransitions() const { return shouldLogStateTransitions_; }
  void setShouldLogStateTransitions(bool should) { shouldLogStateTransitions_ = should; }

  /// Who is sent the messages: the delegate, else the machine. Kept alive by the answer as far as the
  /// machine's owner allows.
  [[nodiscard]] std::shared_ptr<AAPLStateMachineTarget> target();

  /// The state that a request leads to, or absent when it is refused. Asks the handler where the table lists
  /// nothing; what it answers is not checked.
  [[nodiscard]] AAPLState validateTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// Asks the delegate, when it handles that, else the machine, for a replacement.
  [[nodiscard]] AAPLState triggerMissingTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// Sends the messages before a transition, and the log line and messages after it.
  void sendWillTransitionMessagesFrom(const AAPLState& from, const std::string& to);
  void performTransitionFromState(const AAPLState& from, const std::string& to);

 protected:
  /// The machine's own answer to a missing transition: absent, to refuse.
  [[nodiscard]] virtual AAPLState missingTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// What log lines call the machine.
  [[nodiscard]] virtual std::string description() const;

 private:
  [[nodiscard]] bool isDelegate(const std::shared_ptr<AAPLStateMachineTarget>& told) const;
  void sendBefore(AAPLEdge& edge, AAPLMessageTable& table) const;
  void sendAfter(AAPLEdge& edge, AAPLMessageTable& table) const;

  AAPLState currentState_;
  bool shouldLogStateTransitions_ = false;
  Guarded<std::shared_ptr<const AAPLTransitions>> validTransitions_{
      std::make_shared<const AAPLTransitions>()};
  std::weak_ptr<AAPLStateMachineDelegate> delegate_;
  AAPLEdges edges_;
};

}  // namespace tq
