#pragma once

#include <atomic>
#include <filesystem>
#include <optional>
#include <string_view>

#include "TQFoundation/Platform/Base/AVAsset.h"
#include "TQFoundation/Platform/Base/NSError.h"

namespace tq {

/// What a look into a file has shown: the details of a playable video, or why it is none.
struct VideoProbe {
  std::optional<AVVideoDetails> details;

  /// `NSFileReadCorruptFileError` when it is the file's fault and will not get better.
  std::optional<NSError> error;
};

/// Looks whether `file` is playable: it has a video stream, a decoder for it is there, and a first packet can
/// be read. The look ends soon, with any error, once `cancelled` is set. `name` is what the error calls the
/// file.
///
/// The file is hostile: only its bytes decide which container it is, only the common containers are read, and
/// nothing in it can have another file or the network opened.
///
/// Thread-safe.
[[nodiscard]] VideoProbe probeVideo(const std::filesystem::path& file, std::string_view name,
                                    const std::atomic<bool>& cancelled);

}  // namespace tq
