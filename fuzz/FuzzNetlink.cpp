// Replies of the kernel's routing tables: read within their bounds, or refused, whatever they say.

#include <linux/netlink.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "TQFoundation/Platform/Adapters/Linux/NetlinkRouteMessage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tq::internal;
  // A copy of just that size, so that a step beyond its end is seen; allocated, and so aligned as a buffer
  // is.
  std::vector<std::byte> message(size);
  if (size > 0) std::memcpy(message.data(), data, size);
  NetlinkRequestId request;
  if (size >= sizeof(nlmsghdr)) {
    nlmsghdr header{};
    std::memcpy(&header, data, sizeof header);
    request = {.sequence = header.nlmsg_seq, .port = header.nlmsg_pid};
  }
  const auto route = readRouteReply(message, request);
  if (route && route->nextHops.size() > size / sizeof(rtnexthop) + 1) std::abort();
  return 0;
}
