#include "TQFoundation/Platform/Adapters/Linux/NetlinkView.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tq::internal {

// There is no request for "the default route, by all rules and tables". So the kernel is asked for the routes
// to public addresses, one in each quarter of the address space; no packet is ever sent to them. A route
// that holds all public addresses and matches one of them is the default route.
struct NetlinkView::Probes {
  std::array<NetworkAddress, 4> addresses;
  std::uint8_t wholeLength;  // the longest prefix that holds all public addresses
};

namespace {

using Flags = SCNetworkReachabilityFlags;
using Family = NetworkAddress::Family;

// A VPN often adds a few wide routes over the default route instead of replacing it. Where such routes match
// all probes, the network is reachable too.
constexpr std::uint8_t kWideLength = 8;

}  // namespace

std::unique_ptr<NetlinkView> NetlinkView::open() {
  auto socket = openNetlinkSocket(0);
  if (!socket) return nullptr;
  std::unique_ptr<NetlinkView> view(new NetlinkView(std::move(socket)));
  return view->query({NetworkAddress{}}) ? std::move(view) : nullptr;
}

NetlinkView::NetlinkView(NetlinkSocket socket)
    : links_(mnl_socket_get_fd(socket.get())), routes_(std::move(socket)) {}

std::optional<NetlinkView::Result> NetlinkView::query(const NetworkAddresses& addresses) {
  const MutexLock lock(mutex_);
  for (const auto& address : addresses) {
    const auto result = address.isAllZero() ? queryWhole() : queryAddress(address);
    if (!result || result->flags != 0) return result;
  }
  return Result{};
}

std::optional<NetlinkView::Result> NetlinkView::queryAddress(const NetworkAddress& address) {
  const auto route = routes_.lookUp(address);
  return route ? std::optional(resultOf(*route)) : std::nullopt;
}

std::optional<NetlinkView::Result> NetlinkView::queryWhole() {
  static constexpr Probes kIPv4{{{{Family::ipv4, {57, 66, 77, 88}},
                                  {Family::ipv4, {187, 66, 77, 88}},
                                  {Family::ipv4, {101, 66, 77, 88}},
                                  {Family::ipv4, {213, 66, 77, 88}}}},
                                0};
  static constexpr Probes kIPv6{{{{Family::ipv6, {0x24, 0x66, 0x77, 0x88}},
                                  {Family::ipv6, {0x2a, 0x66, 0x77, 0x88}},
                                  {Family::ipv6, {0x2e, 0x66, 0x77, 0x88}},
                                  {Family::ipv6, {0x36, 0x66, 0x77, 0x88}}}},
                                3};
  const auto result = queryWhole(kIPv4);
  return result && result->flags == 0 ? queryWhole(kIPv6) : result;
}

// Usually the first probe matches the default route, and is the only one asked for. The others decide where
// more specific routes, or refusals of them, lie over the first ones.
std::optional<NetlinkView::Result> NetlinkView::queryWhole(const Probes& probes) {
  Result wide;
  std::size_t wideWays = 0;
  for (const auto& address : probes.addresses) {
    const auto route = routes_.lookUp(address);
    if (!route) return std::nullopt;
    const Result result = route->type == RTN_UNICAST ? resultOf(*route) : Result{};  // not local ones
    if (route->refusal == 0 && route->prefixLength <= probes.wholeLength) return result;
    if (result.flags == 0 || route->prefixLength > kWideLength) continue;
    if (wideWays++ == 0) wide = result;
    if (result.lifetime) wide.lifetime = std::min(wide.lifetime.value_or(*result.lifetime), *result.lifetime);
  }
  return wideWays == probes.addresses.size() ? wide : Result{};
}

NetlinkView::Result NetlinkView::resultOf(const NetlinkRoute& route) {
  if (route.refusal != 0) return {};
  switch (route.type) {
    case RTN_LOCAL:
      return {kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsLocalAddress |
              kSCNetworkReachabilityFlagsIsDirect};
    case RTN_UNICAST:
    case RTN_ANYCAST:
    case RTN_BROADCAST:
    case RTN_MULTICAST:
      break;
    default:
      return {};
  }
  for (const auto& hop : route.nextHops) {
    const auto link = links_.find(hop.interface);
    if (!link || !link->carries) continue;
    const Flags flags = kSCNetworkReachabilityFlagsReachable |
                        (hop.hasGateway ? 0 : kSCNetworkReachabilityFlagsIsDirect) |
                        (link->isCellular ? kSCNetworkReachabilityFlagsIsWWAN : 0) |
                        (link->isTransient ? kSCNetworkReachabilityFlagsTransientConnection : 0);
    return {flags, route.lifetime};
  }
  return {};
}

}  // namespace tq::internal
