#include "TQFoundation/StateMachine/AAPLStateMachine.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "TQFoundation/Platform/Log/NSLog.h"

namespace tq {
namespace {

constexpr std::string_view kAbsent = "(null)";

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

bool AAPLStateMachineDelegate::missingTransitionFromState(const AAPLState&, const AAPLState&, AAPLState&) {
  return false;
}

// A copy, since the caller's may be the present state itself.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool AAPLStateMachine::attemptToSetCurrentState(AAPLState state) {
  const auto alive = weak_from_this().lock();
  const AAPLState from = currentState_;
  if (shouldLogStateTransitions_)
    log({" **** •••••• request state change from ", text(from), " to ", text(state), " ••••••"});
  AAPLState accepted = validateTransitionFromState(from, state);
  if (!accepted) return false;
  const bool asRequested = state == accepted;
  const auto edge = edges_.find(from, *accepted);
  auto told = target();
  sendBefore(*edge, told->messages());
  currentState_ = std::move(accepted);
  if (!isDelegate(told)) told = target();
  sendAfter(*edge, told->messages());
  return asRequested;
}

std::shared_ptr<const AAPLTransitions> AAPLStateMachine::validTransitions() const {
  return validTransitions_.get();
}

void AAPLStateMachine::setValidTransitions(AAPLTransitions transitions) {
  validTransitions_.set(std::make_shared<const AAPLTransitions>(std::move(transitions)));
}

// A machine that nobody owns by a shared pointer is the caller's to keep.
std::shared_ptr<AAPLStateMachineTarget> AAPLStateMachine::target() {
  if (auto told = delegate()) return told;
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
  const auto told = target();
  sendBefore(*edges_.find(from, to), told->messages());
}

void AAPLStateMachine::performTransitionFromState(const AAPLState& from, const std::string& to) {
  const auto alive = weak_from_this().lock();
  const auto told = target();
  sendAfter(*edges_.find(from, to), told->messages());
}

// Whether fetching the target anew would find `told` again.
bool AAPLStateMachine::isDelegate(const std::shared_ptr<AAPLStateMachineTarget>& told) const {
  return !delegate_.owner_before(told) && !told.owner_before(delegate_);
}

void AAPLStateMachine::sendBefore(AAPLEdge& edge, AAPLMessageTable& table) const {
  edge.send(AAPLEdge::Moment::willChange, table);
  if (edge.from() != edge.to()) edge.send(AAPLEdge::Moment::willEnterTo, table);
  edge.send(AAPLEdge::Moment::willEnterFrom, table);
}

void AAPLStateMachine::sendAfter(AAPLEdge& edge, AAPLMessageTable& table) const {
  if (shouldLogStateTransitions_)
    log({"  ••• ", description(), " state change from ", text(edge.from()), " to ", edge.to()});
  if (edge.from()) edge.send(AAPLEdge::Moment::didExit, table);
  edge.send(AAPLEdge::Moment::didEnter, table);
  edge.send(AAPLEdge::Moment::didChangeFrom, table);
  edge.send(AAPLEdge::Moment::didChange, table);
}

std::string AAPLStateMachine::description() const {
  std::array<char, 64> address;
  std::snprintf(address.data(), address.size(), "<AAPLStateMachine: %p>", static_cast<const void*>(this));
  return address.data();
}

}  // namespace tq
