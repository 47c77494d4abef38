#pragma once

#include <libmnl/libmnl.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace tq::tests {

/// Moves this process into an empty network namespace of its own, in which it may configure what it likes.
/// Before any other thread starts. Answers why that cannot be, or nothing.
[[nodiscard]] std::string enterOwnNetwork();

/// Runs a command line, as of `ip`. Answers whether it succeeded.
bool shell(const std::string& command);

/// Adds and removes IPv4 routes within microseconds.
///
/// Not thread-safe: one thread at a time.
class KernelRoutes {
 public:
  using Address = std::array<std::uint8_t, 4>;

  /// Each returns when the kernel has done it, and answers 0 or an errno value.
  int add(Address destination, unsigned char prefixLength, Address gateway);
  int remove(Address destination, unsigned char prefixLength);

 private:
  struct Close {
    void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
  };
  int ask(std::uint16_t type, std::uint16_t flags, Address destination, unsigned char prefixLength,
          const Address* gateway);

  const std::unique_ptr<mnl_socket, Close> socket_ = [] {
    std::unique_ptr<mnl_socket, Close> socket(mnl_socket_open(NETLINK_ROUTE));
    mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID);
    return socket;
  }();
};

}  // namespace tq::tests
