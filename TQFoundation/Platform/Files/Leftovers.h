#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// For how long what an ended process has left is kept. 0: not at all.
struct LeftoverAges {
  std::chrono::hours temporaryFiles{24};
  std::chrono::hours partialFiles{7 * 24};
};

/// Removes the temporary and partial files in `folder` that no process owns and that were not written to for
/// longer than `ages`, and returns the bytes that were freed. Files under other names are not touched.
///
/// Ages go by the system's clock. Thread-safe.
TQ_API std::int64_t removeLeftovers(const std::filesystem::path& folder, const LeftoverAges& ages = {});

}  // namespace tq
