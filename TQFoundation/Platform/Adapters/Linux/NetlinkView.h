#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkLinks.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkRoutes.h"
#include "TQFoundation/Platform/Base/Mutex.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq::internal {

/// The addresses of one target, the preferred one first. The all-zero address is the network as a whole.
using NetworkAddresses = std::vector<NetworkAddress>;

/// Works out flags from what the kernel says of routes and links. Keeps none of it.
///
/// Thread-safe.
class NetlinkView {
 public:
  using Flags = SCNetworkReachabilityFlags;

  struct Result {
    Flags flags = 0;
    std::optional<std::chrono::milliseconds> lifetime{};  ///< After which a route of it expires.
  };

  /// Null where the system refuses.
  [[nodiscard]] static std::unique_ptr<NetlinkView> open();

  /// Returns the flags of the first of `addresses` that can be reached; 0 when none can. Nullopt when the
  /// kernel does not respond.
  [[nodiscard]] std::optional<Result> query(const NetworkAddresses& addresses);

 private:
  struct Probes;

  explicit NetlinkView(NetlinkSocket socket);
  std::optional<Result> queryAddress(const NetworkAddress& address) TQ_REQUIRES(mutex_);
  std::optional<Result> queryWhole() TQ_REQUIRES(mutex_);
  std::optional<Result> queryWhole(const Probes& probes) TQ_REQUIRES(mutex_);
  Result resultOf(const NetlinkRoute& route) TQ_REQUIRES(mutex_);

  Mutex mutex_;
  NetlinkLinks links_ TQ_GUARDED_BY(mutex_);
  NetlinkRoutes routes_ TQ_GUARDED_BY(mutex_);
};

}  // namespace tq::internal
