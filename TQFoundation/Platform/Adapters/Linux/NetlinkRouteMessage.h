#pragma once

#include <linux/rtnetlink.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "TQFoundation/Platform/Ports/SCNetworkReachability.h"

namespace tq {

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
};

/// The part of an answer that tells who has sent it to what question.
struct NetlinkQuestion {
  std::uint32_t sequence = 0;
  std::uint32_t port = 0;
};

/// Room for a question.
using NetlinkRequest = std::span<std::byte>;

/// Writes the question for the way to `address` into `room` (64 bytes are enough) and answers its length.
/// With `wantsMatch` the answer tells the route as it stands in the table, else the way of one packet.
[[nodiscard]] std::size_t writeRouteQuestion(NetlinkRequest room, const NetworkAddress& address,
                                             bool wantsMatch, std::uint32_t sequence);

/// Reads what came as the answer to `question`. Absent when it is none, or is malformed.
[[nodiscard]] std::optional<NetlinkRoute> readRouteAnswer(std::span<const std::byte> message,
                                                          const NetlinkQuestion& question);

}  // namespace tq
