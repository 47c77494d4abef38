#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"

#include <utility>

#include "TQFoundation/Platform/Queues/TimerService.h"

namespace tq::internal {
namespace {

// How long until the kernel is asked again, when it did not respond for want of memory.
constexpr std::chrono::seconds kPauseAfterFailure{1};

// Routes end with the kernel's next tick after their lifetime.
constexpr std::chrono::milliseconds kTick{20};

}  // namespace

NetlinkReachability::NetlinkReachability(NetlinkMonitor& monitor, std::optional<NetworkAddress> address)
    : monitor_(monitor) {
  if (address) addresses_ = std::make_shared<const NetworkAddresses>(NetworkAddresses{*address});
}

NetlinkReachability::~NetlinkReachability() {
  monitor_.remove(this);
}

std::optional<SCNetworkReachabilityFlags> NetlinkReachability::readFlags() {
  {
    const MutexLock lock(mutex_);
    const bool lasts = kept_.until == Clock::time_point::max() || Clock::now() < kept_.until;
    if (kept_.state != 0 && lasts && monitor_.isStill(kept_.state)) return kept_.flags;
  }
  return query();
}

// The state's number is asked for before the kernel is: what changes in between makes the number stale, and
// nothing newer than the number says is kept for it.
std::optional<SCNetworkReachabilityFlags> NetlinkReachability::query() {
  const auto state = monitor_.state();
  std::shared_ptr<const NetworkAddresses> addresses;
  {
    const MutexLock lock(mutex_);
    addresses = addresses_;
  }
  if (!addresses) return std::nullopt;
  const auto result = monitor_.view().query(*addresses);
  if (!result) {
    queryAgainAt(Clock::now() + kPauseAfterFailure);
    return std::nullopt;
  }
  // A route that expires stays in the table for up to half a minute, and no message comes before it goes.
  const auto until = result->lifetime ? Clock::now() + *result->lifetime + kTick : Clock::time_point::max();
  if (result->lifetime) queryAgainAt(until);
  const MutexLock lock(mutex_);
  if (state && addresses == addresses_) kept_ = {*state, until, result->flags};
  return result->flags;
}

void NetlinkReachability::queryAgainAt(Clock::time_point moment) {
  {
    const MutexLock lock(mutex_);
    if (nextQuery_ <= moment) return;  // that one plans the next
    nextQuery_ = moment;
  }
  TimerService::callAt(moment, [weak = weak_from_this(), moment, this] {
    const auto self = weak.lock();
    if (!self) return;
    {
      const MutexLock lock(mutex_);
      if (nextQuery_ == moment) nextQuery_ = Clock::time_point::max();
    }
    flagsMayHaveChanged();
  });
}

void NetlinkReachability::setAddresses(NetworkAddresses addresses) {
  auto shared = std::make_shared<const NetworkAddresses>(std::move(addresses));
  {
    const MutexLock lock(mutex_);
    addresses_.swap(shared);
    kept_ = {};
  }
  flagsMayHaveChanged();
}

}  // namespace tq::internal
