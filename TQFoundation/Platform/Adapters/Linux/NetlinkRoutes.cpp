#include "TQFoundation/Platform/Adapters/Linux/NetlinkRoutes.h"

#include <sys/socket.h>

#include <cerrno>

namespace tq::internal {
namespace {

// Replies to requests that were given up may lie before the one that is wanted.
constexpr int kMostStrayMessages = 64;

}  // namespace

std::optional<NetlinkRoute> NetlinkRoutes::lookUp(const NetworkAddress& address) {
  auto route = ask(address, true);
  // With net.ipv4.nexthop_compat_mode off the table's route only names a next hop object; the way of one
  // packet has the hop.
  if (!route || route->refusal != 0 || !route->nextHops.empty()) return route;
  auto way = ask(address, false);
  if (way) {
    way->prefixLength = route->prefixLength;
    way->lifetime = route->lifetime;
  }
  return way;
}

std::optional<NetlinkRoute> NetlinkRoutes::ask(const NetworkAddress& address, bool wantsMatch) {
  alignas(nlmsghdr) std::array<std::byte, 64> request{};
  const std::size_t length = writeRouteRequest(request, address, wantsMatch, ++sequence_);
  const int descriptor = mnl_socket_get_fd(socket_.get());
  if (::send(descriptor, request.data(), length, 0) < 0) return std::nullopt;
  for (int i = 0; i < kMostStrayMessages; ++i) {
    sockaddr_nl sender{};
    socklen_t senderLength = sizeof sender;
    // The kernel replies within the request: what is not there now never comes.
    const auto got = ::recvfrom(descriptor, reply_.data(), reply_.size(), MSG_DONTWAIT | MSG_TRUNC,
                                reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (got < 0 && errno != EINTR) return std::nullopt;
    if (got < 0 || static_cast<std::size_t>(got) > reply_.size() || sender.nl_pid != 0) continue;
    if (auto route = readRouteReply({reply_.data(), static_cast<std::size_t>(got)},
                                    {sequence_, mnl_socket_get_portid(socket_.get())}))
      return route;
  }
  return std::nullopt;
}

}  // namespace tq::internal
