#pragma once

#include <libmnl/libmnl.h>

#include <memory>

namespace tq {

struct CloseNetlinkSocket {
  void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

/// A line to the kernel's routing tables. It belongs to the network namespace of the thread that opens it,
/// whoever uses it later.
using NetlinkSocket = std::unique_ptr<mnl_socket, CloseNetlinkSocket>;

/// Opens one that hears what `groups`, a set of RTMGRP_ bits, are told. Null where the system refuses.
[[nodiscard]] NetlinkSocket openNetlinkSocket(unsigned groups);

/// Returns when whoever is configuring the network has come to the end of the step that is under way; it asks
/// through `socket`, which is used for nothing else at that time. The kernel may tell of a step before it is
/// done.
void waitForConfiguration(mnl_socket& socket);

}  // namespace tq
