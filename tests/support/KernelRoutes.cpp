#include "tests/support/KernelRoutes.h"

#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace tq::tests {
namespace {

std::string reason(const char* what) {
  return std::string("no network of its own: ") + what + ": " + std::strerror(errno);
}

bool write(const char* path, const std::string& text) {
  return static_cast<bool>(std::ofstream(path) << text << std::flush);
}

}  // namespace

// Mounts are its own as well, so that a test can put a made-up /sys/class/net where the library looks, and
// write the files of the resolver.
std::string enterOwnNetwork() {
  if (::unshare(CLONE_NEWNET | CLONE_NEWNS) != 0) {
    const std::string user = std::to_string(::getuid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) return reason("unshare");
    if (!write("/proc/self/uid_map", "0 " + user + " 1\n")) return reason("uid_map");
  }
  if (!shell("mount --make-rprivate / && ip link set lo up && for file in hosts resolv.conf; do "
             "own=$(mktemp) && mount --bind $own /etc/$file && rm $own || exit; done"))
    return "no network of its own: no ip, or no right";
  return {};
}

bool shell(const std::string& command) {
  return std::system(("(" + command + ") >/dev/null 2>&1").c_str()) == 0;  // NOLINT(concurrency-mt-unsafe)
}

int KernelRoutes::add(Address destination, unsigned char prefixLength, Address gateway) {
  return ask(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL, destination, prefixLength, &gateway);
}

int KernelRoutes::remove(Address destination, unsigned char prefixLength) {
  return ask(RTM_DELROUTE, 0, destination, prefixLength, nullptr);
}

int KernelRoutes::ask(std::uint16_t type, std::uint16_t flags, Address destination,
                      unsigned char prefixLength, const Address* gateway) {
  alignas(nlmsghdr) std::array<char, 128> message{};
  nlmsghdr* const header = mnl_nlmsg_put_header(message.data());
  header->nlmsg_type = type;
  header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
  auto* const route = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
  route->rtm_family = AF_INET;
  route->rtm_dst_len = prefixLength;
  route->rtm_table = RT_TABLE_MAIN;
  route->rtm_protocol = RTPROT_STATIC;
  route->rtm_scope = gateway != nullptr ? RT_SCOPE_UNIVERSE : RT_SCOPE_NOWHERE;
  route->rtm_type = gateway != nullptr ? RTN_UNICAST : RTN_UNSPEC;
  mnl_attr_put(header, RTA_DST, destination.size(), destination.data());
  if (gateway != nullptr) mnl_attr_put(header, RTA_GATEWAY, gateway->size(), gateway->data());
  if (mnl_socket_sendto(socket_.get(), header, header->nlmsg_len) < 0) return errno;
  alignas(nlmsghdr) std::array<char, 1024> answer{};
  const auto length = mnl_socket_recvfrom(socket_.get(), answer.data(), answer.size());
  if (length < static_cast<ssize_t>(sizeof(nlmsghdr) + sizeof(nlmsgerr))) return EIO;
  return -static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(reinterpret_cast<nlmsghdr*>(answer.data())))
              ->error;
}

}  // namespace tq::tests
