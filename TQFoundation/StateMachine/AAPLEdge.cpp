#include "TQFoundation/StateMachine/AAPLEdge.h"

#include <functional>
#include <initializer_list>
#include <utility>

namespace tq {

AAPLEdge::AAPLEdge(std::optional<std::string> from, std::string to)
    : from_(std::move(from)), to_(std::move(to)) {}

void AAPLEdge::send(Moment moment, AAPLMessageTable& table) {
  if (version_ != table.version()) resolve(table);
  const auto* const message = found_[static_cast<std::size_t>(moment)];
  if (message != nullptr) table.perform(*message);
}

void AAPLEdge::resolve(const AAPLMessageTable& table) {
  std::string name;
  const auto find = [&](Moment moment, std::initializer_list<std::string_view> pieces) {
    name.clear();
    for (const std::string_view piece : pieces) name += piece;
    found_[static_cast<std::size_t>(moment)] = table.find(name);
  };
  const std::string_view from = from_ ? std::string_view(*from_) : std::string_view();
  find(Moment::willChange, {"stateWillChange"});
  find(Moment::willEnterTo, {"willEnterTo", to_});
  find(Moment::willEnterFrom, {"willEnterFrom", from_ ? from : "(null)", "To", to_});
  find(Moment::didExit, {"didExit", from});
  find(Moment::didEnter, {"didEnter", to_});
  find(Moment::didChangeFrom, {"stateDidChangeFrom", from_ ? from : "Nil", "To", to_});
  find(Moment::didChange, {"stateDidChange"});
  version_ = table.version();
}

// Machines go round: what followed the latest way before is the best guess, and two comparisons instead of
// two hashes.
std::shared_ptr<AAPLEdge> AAPLEdges::find(const std::optional<std::string>& from, const std::string& to) {
  AAPLEdge* const guess = latest_ ? latest_->next_ : nullptr;
  auto edge = guess != nullptr && guess->to_ == to && guess->from_ == from ? guess->shared_from_this()
                                                                           : findByEnds(from, to);
  if (latest_ && edges_.size() < kMost) latest_->next_ = edge.get();
  latest_ = edge;
  return edge;
}

std::shared_ptr<AAPLEdge> AAPLEdges::findByEnds(const std::optional<std::string>& from,
                                                const std::string& to) {
  const auto found = edges_.find(Ends{.from = from, .to = to});
  if (found != edges_.end()) return found->second;
  auto edge = std::make_shared<AAPLEdge>(from, to);
  if (edges_.size() < kMost) edges_.emplace(Ends{.from = edge->from_, .to = edge->to_}, edge);
  return edge;
}

std::size_t AAPLEdges::EndsHash::operator()(const Ends& ends) const {
  const std::hash<std::string_view> hash;
  const std::size_t from = ends.from ? hash(*ends.from) : 0;
  return from * 31 + hash(ends.to);
}

}  // namespace tq
