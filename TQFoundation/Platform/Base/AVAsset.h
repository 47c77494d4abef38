#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "TQFoundation/Platform/Base/CGSize.h"
#include "TQFoundation/Platform/Base/Export.h"
#include "TQFoundation/Platform/Base/URL.h"

namespace tq {

/// What a reader of a video's container has found out about it.
struct AVVideoDetails {
  std::chrono::duration<double>
      duration{};      ///< Length of the presentation; 0 when the container does not say.
  CGSize naturalSize;  ///< Coded frame size in pixels, before any rotation.
  std::string codec;   ///< The codec's short name, as in "h264".
};

/// A playable video.
///
/// Hosts derive their own kinds; the library hands assets through and reads nothing of them but the URL of an
/// `AVURLAsset`. Immutable after construction; share freely.
class TQ_API AVAsset {
 public:
  AVAsset() = default;
  explicit AVAsset(std::optional<AVVideoDetails> details) : details_(std::move(details)) {}
  AVAsset(const AVAsset&) = delete;
  AVAsset& operator=(const AVAsset&) = delete;
  virtual ~AVAsset() = default;

  /// The video's details, or absent when the asset's maker did not read them.
  [[nodiscard]] const std::optional<AVVideoDetails>& details() const { return details_; }

 private:
  std::optional<AVVideoDetails> details_;
};

/// A playable video that lies at a URL: a file's, or a remote one.
class TQ_API AVURLAsset final : public AVAsset {
 public:
  explicit AVURLAsset(URL url, std::optional<AVVideoDetails> details = std::nullopt)
      : AVAsset(std::move(details)), url_(std::move(url)) {}

  [[nodiscard]] const URL& url() const { return url_; }

 private:
  URL url_;
};

}  // namespace tq
