#include "TQFoundation/Platform/Adapters/Linux/NetlinkRoutes.h"

#include <sys/socket.h>

#include <cerrno>

namespace tq {
namespace {

// Answers to questions that were given up may lie before the one that is waited for.
constexpr int kMostStrayMessages = 64;

}  // namespace

std::optional<NetlinkRoute> NetlinkRoutes::lookUp(const NetworkAddress& address) {
  auto route = ask(address, true);
  // With net.ipv4.nexthop_compat_mode off the table's route names a next hop object and says no more. The way
  // of one packet does.
  if (!route || route->refusal != 0 || !route->nextHops.empty()) return route;
  auto way = ask(address, false);
  if (way) way->prefixLength = route->prefixLength;
  return way;
}

std::optional<NetlinkRoute> NetlinkRoutes::ask(const NetworkAddress& address, bool wantsMatch) {
  alignas(nlmsghdr) std::array<std::byte, 64> question{};
  const std::size_t length = writeRouteQuestion(question, address, wantsMatch, ++sequence_);
  const int descriptor = mnl_socket_get_fd(socket_.get());
  if (::send(descriptor, question.data(), length, 0) < 0) return std::nullopt;
  for (int i = 0; i < kMostStrayMessages; ++i) {
    sockaddr_nl sender{};
    socklen_t senderLength = sizeof sender;
    // The kernel answers while it is asked: what is not there now never comes.
    const auto got = ::recvfrom(descriptor, answer_.data(), answer_.size(), MSG_DONTWAIT | MSG_TRUNC,
                                reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (got < 0 && errno != EINTR) return std::nullopt;
    if (got < 0 || static_cast<std::size_t>(got) > answer_.size() || sender.nl_pid != 0) continue;
    if (auto route = readRouteAnswer({answer_.data(), static_cast<std::size_t>(got)},
                                     {sequence_, mnl_socket_get_portid(socket_.get())}))
      return route;
  }
  return std::nullopt;
}

}  // namespace tq
