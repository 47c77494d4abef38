#pragma once

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// Makes a small library in a temporary folder, some of it "in the cloud" of a server of its own on this
/// machine, loads a batch of it as `tq load` does, and removes everything again. Returns what the program
/// ends with.
[[nodiscard]] int demo(const Interrupts& interrupts);

}  // namespace tq::tool
