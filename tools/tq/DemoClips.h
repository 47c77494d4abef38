#pragma once

#include <string_view>
#include <vector>

namespace tq::tool {

/// A video that is part of the program.
struct DemoClip {
  std::string_view name;
  std::string_view bytes;
};

/// The clips of the folder `clips`, by name. `EmbedClips.cmake` writes this function at build time.
[[nodiscard]] const std::vector<DemoClip>& demoClips();

}  // namespace tq::tool
