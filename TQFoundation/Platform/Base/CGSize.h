#pragma once

namespace tq {

/// A width and a height, in whatever unit the owner says (pixels, for a video's frame).
struct CGSize {
  double width = 0;
  double height = 0;

  friend bool operator==(const CGSize&, const CGSize&) = default;
};

}  // namespace tq
