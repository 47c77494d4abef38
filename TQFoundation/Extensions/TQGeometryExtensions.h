#pragma once

#include "TQFoundation/Platform/Base/CGSize.h"
#include "TQFoundation/Platform/Base/Export.h"

namespace tq {

/// Returns the size to which media of `mediaSize` is scaled, proportions kept, so that it just covers
/// `frame`.
///
///     const CGSize shown = aspectFill({1920, 1080}, {1000, 1000});   // 1777.8 x 1000
///
/// One side equals the frame's, the other is as long or longer; nothing is rounded. Media of the frame's own
/// proportions gets the frame's size. Both sizes are in points.
///
/// Returns the zero size where the frame's side divided by the media's is not a number (zero by zero, a side
/// that is infinite in both sizes, one that is not a number). Media with one side of zero gets an infinite
/// side.
///
/// Thread-safe.
[[nodiscard]] TQ_API CGSize aspectFill(const CGSize& mediaSize, const CGSize& frame);

}  // namespace tq
