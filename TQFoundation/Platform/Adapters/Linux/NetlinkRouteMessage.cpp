#include "TQFoundation/Platform/Adapters/Linux/NetlinkRouteMessage.h"

#include <libmnl/libmnl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace tq::internal {
namespace {

using NextHop = NetlinkRoute::NextHop;

// More do not fit into a reply.
constexpr std::size_t kMostNextHops = 1024;

// MAX_ERRNO of the kernel.
constexpr int kMostErrno = 4095;

// The attributes of a message by their type. An unknown type is passed over, the last of a kind counts.
using Attributes = std::array<const nlattr*, RTA_MAX + 1>;

int keep(const nlattr* attribute, void* attributes) {
  if (mnl_attr_type_valid(attribute, RTA_MAX) > 0)
    (*static_cast<Attributes*>(attributes))[mnl_attr_get_type(attribute)] = attribute;
  return MNL_CB_OK;
}

bool hasGateway(const Attributes& attributes) {
  return attributes[RTA_GATEWAY] != nullptr || attributes[RTA_VIA] != nullptr;
}

std::optional<std::vector<NextHop>> readNextHops(const nlattr* list) {
  const char* next = static_cast<const char*>(mnl_attr_get_payload(list));
  std::size_t left = mnl_attr_get_payload_len(list);
  std::vector<NextHop> hops;
  while (left >= sizeof(rtnexthop) && hops.size() < kMostNextHops) {
    rtnexthop hop{};
    std::memcpy(&hop, next, sizeof hop);
    if (hop.rtnh_len < sizeof hop || hop.rtnh_len > left) return std::nullopt;
    Attributes attributes{};
    mnl_attr_parse_payload(next + sizeof hop, hop.rtnh_len - sizeof hop, &keep, &attributes);
    hops.push_back({static_cast<std::uint32_t>(hop.rtnh_ifindex), hasGateway(attributes)});
    const std::size_t length = MNL_ALIGN(std::size_t{hop.rtnh_len});
    if (length > left) break;
    next += length;
    left -= length;
  }
  return hops;
}

// The time until the route expires, in the C library's clock ticks; 0 for never.
std::optional<std::chrono::milliseconds> readLifetime(const Attributes& attributes) {
  rta_cacheinfo info{};
  const auto* const attribute = attributes[RTA_CACHEINFO];
  if (attribute == nullptr || mnl_attr_get_payload_len(attribute) < sizeof info) return std::nullopt;
  std::memcpy(&info, mnl_attr_get_payload(attribute), sizeof info);
  static const std::int64_t ticksPerSecond = ::sysconf(_SC_CLK_TCK);
  if (info.rta_expires == 0) return std::nullopt;
  const std::int64_t ticks = std::max(info.rta_expires, 0);
  return std::chrono::milliseconds(ticks * 1000 / ticksPerSecond);
}

std::optional<NetlinkRoute> readRoute(const nlmsghdr* header) {
  if (mnl_nlmsg_get_payload_len(header) < sizeof(rtmsg)) return std::nullopt;
  // The kernel pads all it writes, and libmnl would read the padding where there is none.
  if (header->nlmsg_len % MNL_ALIGNTO != 0) return std::nullopt;
  const auto* const body = static_cast<const rtmsg*>(mnl_nlmsg_get_payload(header));
  NetlinkRoute route{.type = body->rtm_type, .prefixLength = body->rtm_dst_len};
  Attributes attributes{};
  if (mnl_attr_parse(header, sizeof(rtmsg), &keep, &attributes) < 0) return std::nullopt;
  route.lifetime = readLifetime(attributes);
  if (const auto* const interface = attributes[RTA_OIF]) {
    if (mnl_attr_validate(interface, MNL_TYPE_U32) < 0) return std::nullopt;
    route.nextHops.push_back({mnl_attr_get_u32(interface), hasGateway(attributes)});
  } else if (const auto* const list = attributes[RTA_MULTIPATH]) {
    auto hops = readNextHops(list);
    if (!hops) return std::nullopt;
    route.nextHops = std::move(*hops);
  }
  return route;
}

std::optional<NetlinkRoute> readRefusal(const nlmsghdr* header) {
  if (mnl_nlmsg_get_payload_len(header) < sizeof(nlmsgerr)) return std::nullopt;
  const int error = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(header))->error;
  if (error >= 0 || error < -kMostErrno) return std::nullopt;
  return NetlinkRoute{.refusal = -error};
}

}  // namespace

std::size_t writeRouteRequest(NetlinkRequest space, const NetworkAddress& address, bool wantsMatch,
                              std::uint32_t sequence) {
  const bool isIPv4 = address.family == NetworkAddress::Family::ipv4;
  const std::size_t length = isIPv4 ? 4 : 16;
  std::memset(space.data(), 0, space.size());
  nlmsghdr* const header = mnl_nlmsg_put_header(space.data());
  header->nlmsg_type = RTM_GETROUTE;
  header->nlmsg_flags = NLM_F_REQUEST;
  header->nlmsg_seq = sequence;
  auto* const body = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
  body->rtm_family = isIPv4 ? AF_INET : AF_INET6;
  body->rtm_dst_len = static_cast<unsigned char>(length * 8);
  body->rtm_flags = wantsMatch ? RTM_F_FIB_MATCH : 0;
  mnl_attr_put(header, RTA_DST, length, address.bytes.data());
  if (!isIPv4 && address.scope != 0) mnl_attr_put_u32(header, RTA_OIF, address.scope);
  return header->nlmsg_len;
}

std::optional<NetlinkRoute> readRouteReply(std::span<const std::byte> message,
                                           const NetlinkRequestId& request) {
  const auto* const header = reinterpret_cast<const nlmsghdr*>(message.data());
  if (!mnl_nlmsg_ok(header, static_cast<int>(message.size()))) return std::nullopt;
  if (header->nlmsg_len > message.size()) return std::nullopt;  // libmnl takes 2 GiB and more for negative
  if (header->nlmsg_seq != request.sequence || header->nlmsg_pid != request.port) return std::nullopt;
  if (header->nlmsg_type == NLMSG_ERROR) return readRefusal(header);
  if (header->nlmsg_type == RTM_NEWROUTE) return readRoute(header);
  return std::nullopt;
}

}  // namespace tq::internal
