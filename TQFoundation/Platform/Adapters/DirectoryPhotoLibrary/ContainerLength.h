#pragma once

#include <cstdint>

#include "TQFoundation/Platform/Adapters/DirectoryPhotoLibrary/RegularFile.h"

namespace tq::internal {

/// Returns how long `file` has to be to hold all that its container announces, in bytes: the boxes of mp4 and
/// mov, the chunks of RIFF, a Matroska segment of known size. Returns 0 for other containers, and where this
/// one leaves its end open. What follows the last box or chunk, whatever it is, does not count.
///
/// Reads some bytes of each box, of no more than 200,000 of them. Thread-safe.
[[nodiscard]] std::int64_t announcedLength(const RegularFile& file);

}  // namespace tq::internal
