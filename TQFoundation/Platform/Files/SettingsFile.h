#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace tq {

/// The contents of the regular file at `path`, or absent when it cannot be read or holds more than `most`
/// bytes. Never waits for a writer, as opening a pipe would. Thread-safe.
[[nodiscard]] std::optional<std::string> readSmallFile(const std::filesystem::path& path, std::size_t most);

/// The same for a file of the system's settings, of at most 64 KiB.
[[nodiscard]] inline std::optional<std::string> readSettingsFile(const std::filesystem::path& path) {
  return readSmallFile(path, std::size_t{64} << 10);
}

}  // namespace tq
