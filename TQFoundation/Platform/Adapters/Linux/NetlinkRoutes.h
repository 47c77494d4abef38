#pragma once

#include <array>
#include <optional>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkRouteMessage.h"
#include "TQFoundation/Platform/Adapters/Linux/NetlinkSocket.h"

namespace tq {

/// Asks the kernel which way it would take, which counts in all its tables and rules, and copies no table.
///
/// Not thread-safe: one thread at a time.
class NetlinkRoutes {
 public:
  explicit NetlinkRoutes(NetlinkSocket socket) : socket_(std::move(socket)) {}

  /// The way to `address`; absent when the kernel does not answer.
  [[nodiscard]] std::optional<NetlinkRoute> lookUp(const NetworkAddress& address);

 private:
  std::optional<NetlinkRoute> ask(const NetworkAddress& address, bool wantsMatch);

  const NetlinkSocket socket_;
  std::uint32_t sequence_ = 0;
  alignas(nlmsghdr) std::array<std::byte, 32'768> answer_{};
};

}  // namespace tq
