#pragma once

#include <libmnl/libmnl.h>

#include <memory>

namespace tq::internal {

struct CloseNetlinkSocket {
  void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

/// A socket of the kernel's routing messages. It stays in the network namespace of the thread that opens it.
using NetlinkSocket = std::unique_ptr<mnl_socket, CloseNetlinkSocket>;

/// Opens one that receives the messages of `groups`, a set of RTMGRP_ bits. Null where the system refuses.
[[nodiscard]] NetlinkSocket openNetlinkSocket(unsigned groups);

/// Returns when the configuration step that is under way has ended: the kernel announces steps before they
/// are done. Uses `socket`, which is used for nothing else meanwhile.
void waitForConfiguration(mnl_socket& socket);

}  // namespace tq::internal
