#pragma once

#include <string_view>

#include "TQFoundation/Platform/Base/Environment.h"

namespace tq {

/// The name by which the environment calls the user's locale for dates, as it stands there; empty where there
/// is none. It points into the environment: to be used at once.
///
/// Thread-safe except against concurrent setenv().
[[nodiscard]] inline std::string_view userLocaleName() {
  for (const char* const variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const auto value = environmentVariable(variable).value_or("");
    if (!value.empty()) return value;
  }
  return {};
}

}  // namespace tq
