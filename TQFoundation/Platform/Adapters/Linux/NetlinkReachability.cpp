#include "TQFoundation/Platform/Adapters/Linux/NetlinkReachability.h"

#include <utility>

namespace tq {

NetlinkReachability::NetlinkReachability(NetlinkMonitor& monitor, std::optional<NetworkAddresses> addresses)
    : monitor_(monitor) {
  if (addresses) addresses_ = std::make_shared<const NetworkAddresses>(std::move(*addresses));
}

NetlinkReachability::~NetlinkReachability() {
  monitor_.remove(this);
}

std::optional<SCNetworkReachabilityFlags> NetlinkReachability::getFlags() {
  {
    const std::scoped_lock lock(mutex_);
    if (seen_.state != 0 && monitor_.isStill(seen_.state)) return seen_.flags;
  }
  return look();
}

std::optional<SCNetworkReachabilityFlags> NetlinkReachability::look() {
  const auto state = monitor_.state();
  std::shared_ptr<const NetworkAddresses> addresses;
  {
    const std::scoped_lock lock(mutex_);
    addresses = addresses_;
  }
  if (!addresses) return std::nullopt;
  const auto flags = monitor_.view().look(*addresses);
  const std::scoped_lock lock(mutex_);
  if (flags && state && addresses == addresses_) seen_ = {*state, *flags};
  return flags;
}

bool NetlinkReachability::setCallback(SCNetworkReachabilityCallBack callback,
                                      const SCNetworkReachabilityContext* context) {
  auto registration = ReachabilityRegistration::make(callback, context);
  const std::scoped_lock lock(mutex_);
  registration_.swap(registration);
  return true;
}

bool NetlinkReachability::setDispatchQueue(std::shared_ptr<DispatchQueue> queue) {
  if (!queue) {
    const std::scoped_lock lock(mutex_);
    undelivered_.clear();
    queue_.swap(queue);
    return true;
  }
  monitor_.add(shared_from_this());
  // Between two looks of the monitor: what changes from here on is seen by the next one.
  monitor_.between([&] {
    const auto flags = look();
    const std::scoped_lock lock(mutex_);
    reported_ = flags;
    undelivered_.clear();
    queue_.swap(queue);
  });
  return true;
}

std::shared_ptr<DispatchQueue> NetlinkReachability::lookAgain() {
  {
    const std::scoped_lock lock(mutex_);
    if (!queue_) return nullptr;
  }
  const auto flags = look();
  const std::scoped_lock lock(mutex_);
  if (!queue_ || !flags || reported_ == flags) return nullptr;
  reported_ = flags;
  undelivered_.push_back(*flags);
  return queue_;
}

// Whichever task comes first takes the oldest change. Who has set another queue meanwhile has started anew.
void NetlinkReachability::deliver() {
  Flags flags = 0;
  std::shared_ptr<const ReachabilityRegistration> registration;
  {
    const std::scoped_lock lock(mutex_);
    if (!queue_ || !queue_->isCurrent() || undelivered_.empty()) return;
    flags = undelivered_.front();
    undelivered_.pop_front();
    registration = registration_;
  }
  if (registration) registration->call(shared_from_this(), flags);
}

void NetlinkReachability::setAddresses(NetworkAddresses addresses) {
  auto shared = std::make_shared<const NetworkAddresses>(std::move(addresses));
  {
    const std::scoped_lock lock(mutex_);
    addresses_.swap(shared);
    seen_ = {};
  }
  monitor_.lookAgain(shared_from_this());
}

}  // namespace tq
