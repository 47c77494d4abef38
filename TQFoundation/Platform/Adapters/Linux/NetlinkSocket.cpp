#include "TQFoundation/Platform/Adapters/Linux/NetlinkSocket.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <limits>

namespace tq::internal {

NetlinkSocket openNetlinkSocket(unsigned groups) {
  NetlinkSocket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC));
  if (!socket || mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) < 0) return nullptr;
  return socket;
}

// A request for a link takes the lock that all configuration takes (RTNL), and the reply that there is no
// such link is a short one.
void waitForConfiguration(mnl_socket& socket) {
  alignas(nlmsghdr) std::array<char, 64> request{};
  nlmsghdr* const header = mnl_nlmsg_put_header(request.data());
  header->nlmsg_type = RTM_GETLINK;
  header->nlmsg_flags = NLM_F_REQUEST;
  auto* const link = static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg)));
  link->ifi_index = std::numeric_limits<int>::max();
  const int descriptor = mnl_socket_get_fd(&socket);
  if (::send(descriptor, header, header->nlmsg_len, 0) < 0) return;
  char byte = 0;
  static_cast<void>(::recv(descriptor, &byte, 1, MSG_DONTWAIT));
}

}  // namespace tq::internal
