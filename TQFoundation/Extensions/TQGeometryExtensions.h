#pragma once

#include "TQFoundation/Platform/Base/CGSize.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Operations on sizes; a value of this type is a `platform::CGSize` and nothing more.
struct TQ_API CGSize : platform::CGSize {
  /// The size to which media of `mediaSize` is scaled, proportions kept, so that it just covers `frame`.
  ///
  ///     const CGSize shown = CGSize::aspectFill({1920, 1080}, {1000, 1000});   // 1777.8 x 1000
  ///
  /// One side equals the frame's, the other one is as long or longer; nothing is rounded. Media of the
  /// frame's own proportions gets the frame's size. Both sizes are in points.
  ///
  /// Where the frame's side divided by the media's is not a number (zero by zero, a side that is not finite
  /// on both sides, one that is not a number), the answer is the zero size. Media with one side of zero gets
  /// an infinite side.
  ///
  /// Callable from any thread.
  [[nodiscard]] static CGSize aspectFill(const platform::CGSize& mediaSize, const platform::CGSize& frame);
};

}  // namespace tq
