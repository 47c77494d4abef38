#pragma once

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// What `tq clean` is asked for.
struct CleanRequest {
  bool isConfirmed = false;  ///< Do not ask.
  bool image = false;        ///< The background image of in-app messages as well.
};

/// Prints a row for each of the program's working folders: what it is for, what it holds, where it lies.
/// Creates those that are missing.
[[nodiscard]] int folders();

/// Removes the working media, asks before on a terminal, and prints what is gone.
[[nodiscard]] int clean(const CleanRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
