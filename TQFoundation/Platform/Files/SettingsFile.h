#pragma once

#include <optional>
#include <string>

namespace tq {

/// The first 64 KiB of a file that tells how a system is set up, or absent when it cannot be read. Never
/// waits for somebody to write into it.
///
/// Thread-safe.
[[nodiscard]] std::optional<std::string> readSettingsFile(const std::string& path);

}  // namespace tq
