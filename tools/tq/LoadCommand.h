#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tools/tq/MainLoop.h"

namespace tq::tool {

/// What `tq load` is asked for.
struct LoadRequest {
  std::filesystem::path folder;
  std::vector<std::string>
      identifiers;              ///< The batch in its order, repeats allowed; empty: all of the folder.
  std::filesystem::path cache;  ///< Where fetched originals are kept; empty: the library's own folder.
  bool json = false;
};

/// Loads the batch with a progress line, prints a row for each of its elements, and returns the program's
/// exit status. Nothing of the load is under way when this returns.
[[nodiscard]] int load(const LoadRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
