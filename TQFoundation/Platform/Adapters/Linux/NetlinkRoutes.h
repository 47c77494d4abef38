#pragma once

#include <array>
#include <optional>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkRouteMessage.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkSocket.h"

namespace tq::internal {

/// Asks the kernel which route it would take, by all its tables and rules. Copies no table.
///
/// Not thread-safe: one thread at a time.
class NetlinkRoutes {
 public:
  explicit NetlinkRoutes(NetlinkSocket socket) : socket_(std::move(socket)) {}

  /// Returns the route to `address`; nullopt when the kernel does not respond.
  [[nodiscard]] std::optional<NetlinkRoute> lookUp(const NetworkAddress& address);

 private:
  std::optional<NetlinkRoute> ask(const NetworkAddress& address, bool wantsMatch);

  const NetlinkSocket socket_;
  std::uint32_t sequence_ = 0;
  alignas(nlmsghdr) std::array<std::byte, 32'768> reply_{};
};

}  // namespace tq::internal
