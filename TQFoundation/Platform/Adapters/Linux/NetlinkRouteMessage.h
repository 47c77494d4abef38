#pragma once

#include <linux/rtnetlink.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq::internal {

/// The route that the kernel would take.
struct NetlinkRoute {
  struct NextHop {
    std::uint32_t interface = 0;
    bool hasGateway = false;
  };

  int refusal = 0;                  ///< Why there is no way, an errno value; 0 when there is one.
  std::uint8_t type = RTN_UNSPEC;   ///< RTN_UNICAST, RTN_LOCAL ...
  std::uint8_t prefixLength = 0;    ///< 0 for a default route.
  std::vector<NextHop> nextHops{};  ///< Several where packets are spread over several ways.
  std::optional<std::chrono::milliseconds> lifetime{};  ///< After which the route expires, if it does.
};

/// Identifies a request and its reply.
struct NetlinkRequestId {
  std::uint32_t sequence = 0;
  std::uint32_t port = 0;
};

/// Space for a request.
using NetlinkRequest = std::span<std::byte>;

/// Writes the request for the route to `address` into `space` (64 bytes are enough) and returns its length.
/// With `wantsMatch` the reply is the route as it stands in the table, else the way of one packet.
[[nodiscard]] std::size_t writeRouteRequest(NetlinkRequest space, const NetworkAddress& address,
                                            bool wantsMatch, std::uint32_t sequence);

/// Reads the reply to `request`. Nullopt when it is the reply to another one, or malformed.
[[nodiscard]] std::optional<NetlinkRoute> readRouteReply(std::span<const std::byte> message,
                                                         const NetlinkRequestId& request);

}  // namespace tq::internal
