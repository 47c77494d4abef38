#pragma once

namespace tq {

/// A width and a height, in the owner's unit (pixels, for a video's frame).
struct CGSize {
  double width = 0;
  double height = 0;

  friend bool operator==(const CGSize&, const CGSize&) = default;
};

}  // namespace tq
