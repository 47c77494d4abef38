#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkLinks.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkRoutes.h"
#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq {

/// The addresses of one target, the preferred one first. The all-zero address is the network as a whole.
using NetworkAddresses = std::vector<NetworkAddress>;

/// Looks at the kernel's tables and answers in flags. Keeps none of it.
///
/// Thread-safe.
class NetlinkView {
 public:
  using Flags = SCNetworkReachabilityFlags;

  /// Null where the system refuses.
  [[nodiscard]] static std::unique_ptr<NetlinkView> open();

  /// The flags of the first of `addresses` that there is a way to; 0 when there is none to any. Absent when
  /// the kernel does not answer.
  [[nodiscard]] std::optional<Flags> look(const NetworkAddresses& addresses);

 private:
  struct Probes;

  explicit NetlinkView(NetlinkSocket socket);
  std::optional<Flags> lookAt(const NetworkAddress& address);
  std::optional<Flags> lookAtWhole();
  std::optional<Flags> lookAtWhole(const Probes& probes);
  Flags flagsOf(const NetlinkRoute& route);

  std::mutex mutex_;
  NetlinkLinks links_;
  NetlinkRoutes routes_;
};

}  // namespace tq
