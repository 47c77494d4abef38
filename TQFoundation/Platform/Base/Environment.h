#pragma once

#include <cstdlib>
#include <optional>
#include <string_view>

namespace tq {

/// What the environment says under `name`, absent where it says nothing. Points into the environment: to be
/// used at once.
///
/// Thread-safe except against concurrent setenv().
[[nodiscard]] inline std::optional<std::string_view> environmentVariable(const char* name) {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): as said above
  return value == nullptr ? std::nullopt : std::optional<std::string_view>(value);
}

}  // namespace tq
