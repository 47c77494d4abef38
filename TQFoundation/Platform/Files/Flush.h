#pragma once

#include <filesystem>

namespace tq::internal {

/// Waits until the bytes of the file `path`, or the names in the folder `path`, are on the disk. Returns 0 or
/// the errno. Thread-safe.
[[nodiscard]] int flushToDisk(const std::filesystem::path& path);

}  // namespace tq::internal
