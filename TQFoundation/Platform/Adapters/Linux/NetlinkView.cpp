#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"

#include <array>
#include <cerrno>
#include <utility>

namespace tq {

// How the question for a default route is put: the way to two public addresses far apart, to which no packet
// ever goes. Nobody asks for them in particular, so what matches them is what matches everything.
struct NetlinkView::Probes {
  std::array<NetworkAddress, 2> addresses;
  std::uint8_t wholeLength;  // the longest prefix that holds all public addresses
};

namespace {

using Flags = SCNetworkReachabilityFlags;
using Family = NetworkAddress::Family;

// Some who take over all traffic lay a few wide routes over the default route instead of replacing it. Where
// both probes follow such a one, the network is reachable.
constexpr std::uint8_t kWideLength = 8;

}  // namespace

std::unique_ptr<NetlinkView> NetlinkView::open() {
  auto socket = openNetlinkSocket(0);
  if (!socket) return nullptr;
  std::unique_ptr<NetlinkView> view(new NetlinkView(std::move(socket)));
  return view->look({NetworkAddress{}}) ? std::move(view) : nullptr;
}

NetlinkView::NetlinkView(NetlinkSocket socket)
    : links_(mnl_socket_get_fd(socket.get())), routes_(std::move(socket)) {}

std::optional<Flags> NetlinkView::look(const NetworkAddresses& addresses) {
  const std::scoped_lock lock(mutex_);
  for (const auto& address : addresses) {
    const auto flags = address.isAllZero() ? lookAtWhole() : lookAt(address);
    if (flags != Flags{0}) return flags;
  }
  return Flags{0};
}

std::optional<Flags> NetlinkView::lookAt(const NetworkAddress& address) {
  const auto route = routes_.lookUp(address);
  return route ? std::optional(flagsOf(*route)) : std::nullopt;
}

std::optional<Flags> NetlinkView::lookAtWhole() {
  static constexpr Probes kIPv4{{{{Family::ipv4, {57, 66, 77, 88}}, {Family::ipv4, {187, 66, 77, 88}}}}, 0};
  static constexpr Probes kIPv6{
      {{{Family::ipv6, {0x24, 0x66, 0x77, 0x88}}, {Family::ipv6, {0x2a, 0x66, 0x77, 0x88}}}}, 3};
  const auto flags = lookAtWhole(kIPv4);
  return flags == Flags{0} ? lookAtWhole(kIPv6) : flags;
}

std::optional<Flags> NetlinkView::lookAtWhole(const Probes& probes) {
  Flags first = 0;
  int wideWays = 0;
  for (const auto& address : probes.addresses) {
    const auto route = routes_.lookUp(address);
    if (!route) return std::nullopt;
    if (route->refusal == ENETUNREACH) return Flags{0};  // nothing matches, so no default route does
    const Flags flags = flagsOf(*route);
    if (route->refusal == 0 && route->prefixLength <= probes.wholeLength) return flags;
    if (flags == 0 || route->prefixLength > kWideLength) continue;
    if (wideWays++ == 0) first = flags;
  }
  return wideWays == 2 ? first : 0;
}

Flags NetlinkView::flagsOf(const NetlinkRoute& route) {
  if (route.refusal != 0) return 0;
  switch (route.type) {
    case RTN_LOCAL:
      return kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsLocalAddress |
             kSCNetworkReachabilityFlagsIsDirect;
    case RTN_UNICAST:
    case RTN_ANYCAST:
    case RTN_BROADCAST:
    case RTN_MULTICAST:
      break;
    default:
      return 0;
  }
  for (const auto& hop : route.nextHops) {
    const auto link = links_.find(hop.interface);
    if (!link || !link->carries) continue;
    return kSCNetworkReachabilityFlagsReachable | (hop.hasGateway ? 0 : kSCNetworkReachabilityFlagsIsDirect) |
           (link->isCellular ? kSCNetworkReachabilityFlagsIsWWAN : 0) |
           (link->isTransient ? kSCNetworkReachabilityFlagsTransientConnection : 0);
  }
  return 0;
}

}  // namespace tq
