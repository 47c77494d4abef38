#pragma once

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// Prints what the library knows of this device, a line for each fact, and returns what the program ends
/// with.
[[nodiscard]] int device(const Interrupts& interrupts);

}  // namespace tq::tool
