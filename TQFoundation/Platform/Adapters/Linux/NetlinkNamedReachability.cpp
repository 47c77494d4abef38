#include <algorithm>
#include <utility>

#include "TQFoundation/Platform/Adapters/Linux/NameResolver.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"
#include "TQFoundation/Platform/Queues/TimerService.h"

namespace tq::internal {
namespace {

// A network that changes all the time is no reason to ask its servers all the time.
constexpr std::chrono::milliseconds kShortestPause{200};

// A name that cannot be resolved now may be later, and no message says when: its server comes up, or the name
// is registered.
constexpr std::chrono::seconds kFirstPause{1};
constexpr std::chrono::seconds kLongestPause{60};

}  // namespace

NetlinkNamedReachability::NetlinkNamedReachability(NetlinkMonitor& monitor, std::string name)
    : NetlinkReachability(monitor, std::nullopt), name_(std::move(name)), pause_(kFirstPause) {}

void NetlinkNamedReachability::networkMayHaveChanged() {
  Clock::time_point moment;
  {
    const MutexLock lock(planning_);
    pause_ = kFirstPause;
    moment = std::max(Clock::now(), earliest_);
  }
  planResolution(moment);
  flagsMayHaveChanged();
}

std::weak_ptr<NetlinkNamedReachability> NetlinkNamedReachability::weak() {
  return std::static_pointer_cast<NetlinkNamedReachability>(shared_from_this());
}

void NetlinkNamedReachability::planResolution(Clock::time_point moment) {
  {
    const MutexLock lock(planning_);
    if (planned_ <= moment) return;
    planned_ = moment;
    if (underWay_) return;
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
    const MutexLock lock(planning_);
    const auto now = Clock::now();
    if (underWay_ || planned_ > now) return;
    underWay_ = true;
    planned_ = Clock::time_point::max();
    earliest_ = now + kShortestPause;
  }
  NameResolver::shared().resolve(name_, weak(), [weak = weak()](NetworkAddresses addresses) {
    if (const auto self = weak.lock()) self->adopt(std::move(addresses));
  });
}

void NetlinkNamedReachability::adopt(NetworkAddresses addresses) {
  const bool failed = addresses.empty();
  setAddresses(std::move(addresses));
  Clock::time_point moment;
  {
    const MutexLock lock(planning_);
    underWay_ = false;
    if (failed) {
      planned_ = std::min(planned_, Clock::now() + pause_);
      pause_ = std::min(2 * pause_, kLongestPause);
    }
    moment = planned_;
  }
  if (moment != Clock::time_point::max()) resolveAt(moment);
}

}  // namespace tq::internal
