#include "TQFoundation/Transfers/NetworkWatch.h"

#include <algorithm>
#include <utility>

namespace tq::internal {

NetworkWatch::NetworkWatch(SCNetworkReachabilityProvider& network, const std::string& host,
                           const std::shared_ptr<DispatchQueue>& queue, SCNetworkReachabilityCallBack changed,
                           std::weak_ptr<void> context) {
  const SCNetworkReachabilityContext registered{.info = std::move(context)};
  for (const auto& target : {network.createWithName(host), network.createWithAddress({})}) {
    // A target that refuses would never report the return that is waited for.
    if (target && target->setCallback(changed, &registered) && target->setDispatchQueue(queue))
      targets_.push_back(target);
  }
}

NetworkWatch::~NetworkWatch() {
  for (const auto& target : targets_) {
    static_cast<void>(target->setCallback(nullptr, nullptr));
    static_cast<void>(target->setDispatchQueue(nullptr));
  }
}

// A name that is still being resolved has no flags: the default route decides meanwhile.
bool NetworkWatch::isReachable() const {
  bool isKnown = false;
  const bool isReachable = std::any_of(targets_.begin(), targets_.end(), [&](const auto& target) {
    const auto flags = target->getFlags();
    isKnown = isKnown || flags;
    return flags && (*flags & kSCNetworkReachabilityFlagsReachable) != 0;
  });
  return isReachable || !isKnown;
}

}  // namespace tq::internal
