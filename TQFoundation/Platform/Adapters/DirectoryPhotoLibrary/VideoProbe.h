#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string_view>

#include "TQFoundation/Platform/Base/AVAsset.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq::internal {

/// What a look into a file has shown: the details of a playable video, or why it is none.
struct VideoProbe {
  std::optional<AVVideoDetails> details;

  /// `NSFileReadCorruptFileError` if the file itself is at fault.
  std::optional<NSError> error;
};

/// Looks whether `file` is playable: it is as long as its container says, has a video stream of a common
/// codec with a decoder here, and a first packet of it can be read. A look reads no more than 64 MiB, takes
/// no longer than 10 s, and ends soon, with any error, once `cancelled` is set. `name` is what errors call
/// the file.
///
/// The file is hostile: only its bytes decide which container it is, only the common containers are read and
/// decoders opened, and nothing in it can have another file or the network opened.
///
/// Thread-safe. The first look sets libav's log callback, which is one for the process, to one that drops
/// what libav logs of looks and passes the rest on to libav's default.
[[nodiscard]] VideoProbe probeVideo(const std::filesystem::path& file, std::string_view name,
                                    const std::atomic<bool>& cancelled);

}  // namespace tq::internal
