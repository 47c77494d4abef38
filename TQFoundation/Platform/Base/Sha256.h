#pragma once

#include <string>
#include <string_view>

#include "TQFoundation/Platform/Base/Export.h"

namespace tq::internal {

/// Returns the SHA-256 hash of `text` in 64 lower-case hexadecimal digits. Thread-safe.
[[nodiscard]] TQ_API std::string sha256(std::string_view text);

}  // namespace tq::internal
