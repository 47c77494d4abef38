#pragma once

#include <filesystem>
#include <optional>

#include "TQFoundation/Platform/Base/NSError.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq::internal {

/// What a placeholder file contains: where the original is, or why that is unknown.
struct CloudPlaceholder {
  std::optional<URL> original;
  std::optional<NSError> error;
};

/// Reads the placeholder `file`: the URL of its first line, which is http or https. Blanks around the URL, a
/// carriage return and a byte order mark are skipped; no more than 8 KiB of the file is read.
///
/// Thread-safe.
[[nodiscard]] CloudPlaceholder readCloudPlaceholder(const std::filesystem::path& file);

}  // namespace tq::internal
