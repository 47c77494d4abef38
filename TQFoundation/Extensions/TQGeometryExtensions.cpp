#include "TQFoundation/Extensions/TQGeometryExtensions.h"

namespace tq {

CGSize aspectFill(const CGSize& mediaSize, const CGSize& frame) {
  const double widthRatio = frame.width / mediaSize.width;
  const double heightRatio = frame.height / mediaSize.height;
  if (widthRatio < heightRatio) return {mediaSize.width * heightRatio, frame.height};
  if (heightRatio < widthRatio) return {frame.width, mediaSize.height * widthRatio};
  if (widthRatio == heightRatio) return frame;
  return {};
}

}  // namespace tq
