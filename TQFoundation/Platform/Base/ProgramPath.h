#pragma once

#include <filesystem>

namespace tq::internal {

/// Returns the path of the running program's file, empty where the system does not say. Each system's
/// adapters define it. Thread-safe.
[[nodiscard]] std::filesystem::path programPath();

}  // namespace tq::internal
