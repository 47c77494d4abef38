#include "TQFoundation/StateMachine/AAPLStateMachine.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "TQFoundation/Platform/Log/Log.h"

namespace tq {
namespace {

constexpr std::string_view kAbsent = "(null)";

// States whose names are made while the program runs ("Editing clip 7") must not fill the memory.
constexpr std::size_t kMostNamesKept = 1024;

std::string_view text(const AAPLState& state) {
  return state ? std::string_view(*state) : kAbsent;
}

bool lists(const AAPLTransitions& transitions, const std::string& from, const std::string& to) {
  const auto entry = transitions.find(from);
  return entry != transitions.end() &&
         std::find(entry->second.begin(), entry->second.end(), to) != entry->second.end();
}

void log(std::initializer_list<std::string_view> pieces) {
  std::string line;
  for (const std::string_view piece : pieces) line += piece;
  NSLog(line);
}

}  // namespace

struct AAPLStateMachine::MessageNames {
  MessageNames(const AAPLState& from, const std::string& to)
      : willEnterTo("willEnterTo" + to),
        willEnterFrom("willEnterFrom" + from.value_or(std::string(kAbsent)) + "To" + to),
        didExit("didExit" + from.value_or("")),
        didEnter("didEnter" + to),
        didChangeFrom("stateDidChangeFrom" + from.value_or("Nil") + "To" + to) {}

  const std::string willEnterTo, willEnterFrom, didExit, didEnter, didChangeFrom;
};

bool AAPLStateMachineDelegate::missingTransitionFromState(const AAPLState&, const AAPLState&, AAPLState&) {
  return false;
}

bool AAPLStateMachine::attemptToSetCurrentState(const AAPLRequestedState& requested) {
  const auto alive = weak_from_this().lock();
  const AAPLState from = currentState_;
  if (shouldLogStateTransitions_)
    log({" **** •••••• request state change from ", text(from), " to ", text(requested.state), " ••••••"});
  const AAPLState accepted = validateTransitionFromState(from, requested.state);
  if (!accepted) return false;
  const auto names = namesFor(from, *accepted);
  sendBefore(*names, from != accepted);
  currentState_ = accepted;
  sendAfter(*names, from, *accepted);
  return requested.state == accepted;
}

std::shared_ptr<const AAPLTransitions> AAPLStateMachine::validTransitions() const {
  return validTransitions_.get();
}

void AAPLStateMachine::setValidTransitions(AAPLTransitions transitions) {
  validTransitions_.set(std::make_shared<const AAPLTransitions>(std::move(transitions)));
}

// A machine that no shared pointer owns is kept alive by its caller.
std::shared_ptr<AAPLStateMachineTarget> AAPLStateMachine::target() {
  if (auto present = delegate()) return present;
  if (auto self = weak_from_this().lock()) return self;
  return {std::shared_ptr<void>(), this};
}

AAPLState AAPLStateMachine::validateTransitionFromState(const AAPLState& from, const AAPLState& to) {
  AAPLState wanted = to;
  if (!wanted) {
    log({"****  ••• ", description(), " cannot transition to <nil> state"});
    wanted = triggerMissingTransitionFromState(from, std::nullopt);
    if (!wanted) return std::nullopt;
  }
  if (!from || lists(*validTransitions(), *from, *wanted)) return wanted;
  if (from == wanted) {
    if (shouldLogStateTransitions_) log({"  ••• ", description(), " ignoring reentry to ", *wanted});
    return std::nullopt;
  }
  if (shouldLogStateTransitions_)
    log({"  ••• ", description(), " cannot transition to ", *wanted, " from ", *from});
  AAPLState replacement = triggerMissingTransitionFromState(from, wanted);
  if (replacement == AAPLRetainCurrentState) return std::nullopt;
  return replacement;
}

AAPLState AAPLStateMachine::triggerMissingTransitionFromState(const AAPLState& from, const AAPLState& to) {
  AAPLState replacement;
  const auto asked = delegate();
  if (asked && asked->missingTransitionFromState(from, to, replacement)) return replacement;
  return missingTransitionFromState(from, to);
}

AAPLState AAPLStateMachine::missingTransitionFromState(const AAPLState&, const AAPLState&) {
  return std::nullopt;
}

void AAPLStateMachine::sendWillTransitionMessagesFrom(const AAPLState& from, const std::string& to) {
  const auto alive = weak_from_this().lock();
  sendBefore(*namesFor(from, to), from != to);
}

void AAPLStateMachine::performTransitionFromState(const AAPLState& from, const std::string& to) {
  const auto alive = weak_from_this().lock();
  sendAfter(*namesFor(from, to), from, to);
}

void AAPLStateMachine::sendBefore(const MessageNames& names, bool enters) {
  const auto receiver = target();
  AAPLMessageTable& messages = receiver->messages();
  messages.perform("stateWillChange");
  if (enters) messages.perform(names.willEnterTo);
  messages.perform(names.willEnterFrom);
}

void AAPLStateMachine::sendAfter(const MessageNames& names, const AAPLState& from, const std::string& to) {
  if (shouldLogStateTransitions_)
    log({"  ••• ", description(), " state change from ", text(from), " to ", to});
  const auto receiver = target();
  AAPLMessageTable& messages = receiver->messages();
  if (from) messages.perform(names.didExit);
  messages.perform(names.didEnter);
  messages.perform(names.didChangeFrom);
  messages.perform("stateDidChange");
}

std::shared_ptr<const AAPLStateMachine::MessageNames> AAPLStateMachine::namesFor(const AAPLState& from,
                                                                                 const std::string& to) {
  const auto successors = names_.find(from);
  if (successors != names_.end()) {
    const auto found = successors->second.find(to);
    if (found != successors->second.end()) return found->second;
  }
  auto names = std::make_shared<const MessageNames>(from, to);
  if (countOfNames_ == kMostNamesKept) return names;
  ++countOfNames_;
  return names_[from][to] = std::move(names);
}

std::string AAPLStateMachine::description() const {
  std::array<char, 64> address;
  std::snprintf(address.data(), address.size(), "<AAPLStateMachine: %p>", static_cast<const void*>(this));
  return address.data();
}

}  // namespace tq
