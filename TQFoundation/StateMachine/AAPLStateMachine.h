#pragma once

#include <concepts>
#include <cstddef>
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
#include "TQFoundation/StateMachine/AAPLMessageTable.h"

namespace tq {

/// A state's name, or none.
using AAPLState = std::optional<std::string>;

/// A state that a machine is asked to go to: any text, or none.
///
/// A null pointer, which is no text, does not compile.
struct AAPLRequestedState {
  AAPLRequestedState() = default;
  AAPLRequestedState(std::nullopt_t) {}                           // NOLINT(*-explicit-*)
  AAPLRequestedState(AAPLState name) : state(std::move(name)) {}  // NOLINT(*-explicit-*)
  AAPLRequestedState(std::nullptr_t) = delete;
  template <std::convertible_to<std::string_view> Text>
  AAPLRequestedState(const Text& name)  // NOLINT(*-explicit-*)
      : state(std::in_place, std::string_view(name)) {}

  AAPLState state;
};

/// The states that may follow one: a single name, or several.
struct AAPLSuccessors : std::vector<std::string> {
  AAPLSuccessors() = default;
  AAPLSuccessors(std::nullptr_t) = delete;
  template <std::convertible_to<std::string_view> Text>
  AAPLSuccessors(const Text& state) : vector{std::string(std::string_view(state))} {}  // NOLINT(*-explicit-*)
  AAPLSuccessors(std::initializer_list<std::string_view> states) : vector(states.begin(), states.end()) {}
  AAPLSuccessors(std::vector<std::string> states) : vector(std::move(states)) {}  // NOLINT(*-explicit-*)
};

/// For each state those that may follow it. A state without an entry has no successor.
///
///     inline constexpr std::string_view kLoading = "Loading", kReady = "Ready";
///     const AAPLTransitions transitions{{kLoading, {kReady, "Failed"}}, {"Failed", kLoading}};
struct AAPLTransitions : std::unordered_map<std::string, AAPLSuccessors> {
  AAPLTransitions() = default;
  AAPLTransitions(std::initializer_list<std::pair<std::string_view, AAPLSuccessors>> entries)
      : unordered_map(entries.begin(), entries.end()) {}
};

/// The replacement by which a missing-transition handler has the machine stay in its state.
inline constexpr std::string_view AAPLRetainCurrentState = "RetainCurrentstate";

/// An object that receives the messages of a state machine: its delegate, or the machine itself.
class TQ_API AAPLStateMachineTarget {
 public:
  AAPLStateMachineTarget() = default;
  AAPLStateMachineTarget(const AAPLStateMachineTarget&) = delete;
  AAPLStateMachineTarget& operator=(const AAPLStateMachineTarget&) = delete;
  virtual ~AAPLStateMachineTarget() = default;

  /// The messages that this object handles.
  [[nodiscard]] AAPLMessageTable& messages() { return messages_; }

 private:
  AAPLMessageTable messages_;
};

/// The target of a machine that has a delegate, and the first one asked about missing transitions.
class TQ_API AAPLStateMachineDelegate : public AAPLStateMachineTarget {
 public:
  /// The machine is asked to go `from` a state (absent at first) `to` one that may not follow it, or to none.
  /// An override sets the state to go to instead (absent or `AAPLRetainCurrentState` to stay) and returns
  /// true, "handled". The base returns false: the machine decides itself.
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
/// From Loading to Ready the target may receive, in this order: stateWillChange, willEnterToReady,
/// willEnterFromLoadingToReady; and, with the new state in place, didExitLoading, didEnterReady,
/// stateDidChangeFromLoadingToReady, stateDidChange. Without a state before: no didExit, "(null)" and "Nil"
/// in its place; to the same state again: no willEnterTo. Only messages that the target implements are sent.
///
/// The target is the delegate when there is one, else the machine itself: derive, and implement messages and
/// `missingTransitionFromState` there.
///
/// Not thread-safe: one thread at a time, except that the table may be set from any. Everything happens
/// inside the request; a message may make requests itself (the outer request replaces the state that one from
/// a before-message set; one from an after-message stands), change any table, and release the machine or its
/// target. An exception of a message ends the request where it is and is passed on: the messages that remain
/// are not sent, and the state is the new one exactly if an after-message threw.
class TQ_API AAPLStateMachine : public AAPLStateMachineTarget,
                                public std::enable_shared_from_this<AAPLStateMachine> {
 public:
  AAPLStateMachine() = default;

  /// The present state; absent until the first request has been accepted.
  [[nodiscard]] const AAPLState& currentState() const { return currentState_; }

  /// Requests a change to `state`; `currentState` shows afterwards whether it took effect.
  void setCurrentState(const AAPLRequestedState& state) { attemptToSetCurrentState(state); }

  /// Requests a change to `state`. Returns whether the machine went to that very state; false also when a
  /// handler redirected it.
  bool applyState(const AAPLRequestedState& state) { return attemptToSetCurrentState(state); }
  bool attemptToSetCurrentState(const AAPLRequestedState& state);

  /// The table, read for every request: a derived class may supply its own. Never null.
  [[nodiscard]] virtual std::shared_ptr<const AAPLTransitions> validTransitions() const;
  void setValidTransitions(AAPLTransitions transitions);

  [[nodiscard]] std::shared_ptr<AAPLStateMachineDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(std::weak_ptr<AAPLStateMachineDelegate> delegate) { delegate_ = std::move(delegate); }
  /// Delegates are held weakly, so one that only the argument owns would be gone at once: keep a reference
  /// and pass that, or `weak_from_this()`.
  template <class Delegate>
  void setDelegate(std::shared_ptr<Delegate>&& temporary) = delete;

  /// Whether requests and transitions are written to the system's log. An absent request always is.
  [[nodiscard]] bool shouldLogStateTransitions() const { return shouldLogStateTransitions_; }
  void setShouldLogStateTransitions(bool should) { shouldLogStateTransitions_ = should; }

  /// The receiver of the messages: the delegate if there is one, else the machine.
  [[nodiscard]] std::shared_ptr<AAPLStateMachineTarget> target();

  /// Returns the state that a request leads to, or absent when it is refused. Asks the handler where the
  /// table does not list `to`; the replacement is not checked.
  [[nodiscard]] AAPLState validateTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// Asks the delegate, if it handles that, else the machine, for a replacement.
  [[nodiscard]] AAPLState triggerMissingTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// Sends the messages before a transition, and the log line and messages after it. Each fetches the target
  /// once.
  void sendWillTransitionMessagesFrom(const AAPLState& from, const std::string& to);
  void performTransitionFromState(const AAPLState& from, const std::string& to);

 protected:
  /// The machine's own replacement for a missing transition: absent, to refuse.
  [[nodiscard]] virtual AAPLState missingTransitionFromState(const AAPLState& from, const AAPLState& to);

  /// What log lines call the machine.
  [[nodiscard]] virtual std::string description() const;

 private:
  struct MessageNames;

  [[nodiscard]] std::shared_ptr<const MessageNames> namesFor(const AAPLState& from, const std::string& to);
  void sendBefore(const MessageNames& names, bool enters);
  void sendAfter(const MessageNames& names, const AAPLState& from, const std::string& to);

  AAPLState currentState_;
  bool shouldLogStateTransitions_ = false;
  Guarded<std::shared_ptr<const AAPLTransitions>> validTransitions_{
      std::make_shared<const AAPLTransitions>()};
  std::weak_ptr<AAPLStateMachineDelegate> delegate_;

  // By from-state and new state. Building seven names costs several times what looking them up does.
  std::unordered_map<AAPLState, std::unordered_map<std::string, std::shared_ptr<const MessageNames>>> names_;
  std::size_t countOfNames_ = 0;
};

}  // namespace tq
