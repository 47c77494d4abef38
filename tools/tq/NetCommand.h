#pragma once

#include <string>

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// What `tq net` is asked for.
struct NetRequest {
  std::string host;   ///< Empty: the network as a whole.
  bool once = false;  ///< End after the first line.
};

/// Prints how the network, or the host, can be reached, and a line for each change until a signal comes.
[[nodiscard]] int net(const NetRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
