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

/// Loads the batch, showing how far it is, prints a row for each of its elements, and answers what the
/// program ends with. When this returns nothing of the load is under way any more.
[[nodiscard]] int load(const LoadRequest& request, const Interrupts& interrupts);

}  // namespace tq::tool
