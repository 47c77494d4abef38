#pragma once

#include <memory>
#include <string>
#include <vector>

#include "TQFoundation/Platform/Base/AVAsset.h"

namespace tq::tool {

/// One element of a loaded batch.
struct LoadedVideo {
  std::string identifier;
  std::shared_ptr<const AVAsset> asset;
  bool fetched = false;  ///< Out of the cloud, in this load or an earlier one.
};

/// A line for each video: identifier, duration as H:MM:SS.t or M:SS.t, frame size, codec, "local" or
/// "fetched", in aligned columns and fit for a terminal. What is not known is "-".
[[nodiscard]] std::string rowsOf(const std::vector<LoadedVideo>& videos);

/// An array of objects with the keys identifier, duration (seconds), width, height, codec, source ("local" or
/// "fetched") and file, in ASCII. What is not known is null; bytes of names that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string jsonOf(const std::vector<LoadedVideo>& videos);

}  // namespace tq::tool
