#pragma once

#include <memory>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq::internal {

/// Watches whether there is a way to one server: by its name, and by the default route, as a name that cannot
/// be resolved without a network says nothing of the network.
///
/// Not thread-safe: the queue it was made with only.
class NetworkWatch {
 public:
  /// From now on `changed` is called on `queue`, with `context`, when the way may have changed.
  NetworkWatch(SCNetworkReachabilityProvider& network, const std::string& host,
               const std::shared_ptr<DispatchQueue>& queue, SCNetworkReachabilityCallBack changed,
               std::weak_ptr<void> context);
  ~NetworkWatch();
  NetworkWatch(const NetworkWatch&) = delete;
  NetworkWatch& operator=(const NetworkWatch&) = delete;

  /// False only when the system says that neither way is there.
  [[nodiscard]] bool isReachable() const;

 private:
  std::vector<SCNetworkReachabilityRef> targets_;
};

}  // namespace tq::internal
