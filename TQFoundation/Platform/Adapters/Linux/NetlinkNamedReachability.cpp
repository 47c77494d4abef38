#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"
#include "TQFoundation/Platform/Queues/TimerService.h"

namespace tq {
namespace {

// A network that changes all the time is no reason to ask its servers all the time.
constexpr std::chrono::milliseconds kShortestPause{200};

// When nobody has answered, a later question may find somebody: a network often stands before its name
// servers are known, and says nothing when they are.
constexpr std::chrono::seconds kFirstPatience{1};
constexpr std::chrono::seconds kLongestPatience{64};

}  // namespace

NetlinkNamedReachability::NetlinkNamedReachability(NetlinkMonitor& monitor, std::string name)
    : NetlinkReachability(monitor, std::nullopt), name_(std::move(name)), patience_(kFirstPatience) {}

void NetlinkNamedReachability::networkMayHaveChanged() {
  Clock::time_point moment;
  {
    const std::scoped_lock lock(planning_);
    patience_ = kFirstPatience;
    moment = std::max(Clock::now(), earliest_);
  }
  planResolution(moment);
}

std::weak_ptr<NetlinkNamedReachability> NetlinkNamedReachability::weak() {
  return std::static_pointer_cast<NetlinkNamedReachability>(shared_from_this());
}

void NetlinkNamedReachability::planResolution(Clock::time_point moment) {
  {
    const std::scoped_lock lock(planning_);
    if (planned_ <= moment) return;
    planned_ = moment;
    if (underWay_) return;  // its end goes on with the plan
  }
  resolveAt(moment);
}

void NetlinkNamedReachability::resolveAt(Clock::time_point moment) {
  if (moment <= Clock::now()) return resolve();
  internal::TimerService::callAt(moment, [weak = weak()] {
    if (const auto self = weak.lock()) self->resolve();
  });
}

void NetlinkNamedReachability::resolve() {
  {
    const std::scoped_lock lock(planning_);
    const auto now = Clock::now();
    if (underWay_ || planned_ > now) return;  // an earlier timer has done this one's work
    underWay_ = true;
    planned_ = Clock::time_point::max();
    earliest_ = now + kShortestPause;
  }
  NameResolver::shared().resolve(name_, [weak = weak()](ResolvedName resolved) {
    if (const auto self = weak.lock()) self->adopt(std::move(resolved));
  });
}

void NetlinkNamedReachability::adopt(ResolvedName resolved) {
  const bool mayComeLater = resolved.mayComeLater;
  setAddresses(std::move(resolved.addresses));
  Clock::time_point moment;
  {
    const std::scoped_lock lock(planning_);
    underWay_ = false;
    if (mayComeLater) {
      planned_ = std::min(planned_, Clock::now() + patience_);
      patience_ = std::min(2 * patience_, kLongestPatience);
    }
    moment = planned_;
  }
  if (moment != Clock::time_point::max()) resolveAt(moment);
}

}  // namespace tq
