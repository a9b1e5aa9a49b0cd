// The two queries of the resize family: scratch size and destination box.
#include <emmintrin.h>

#include <algorithm>

#include "frame/qelr_internal.h"
#include "volume/resize/resize_geometry.h"
#include "volume/volume_frame.h"

extern "C" qelStatus qelrResizeGetBufSize_impl(qelrCuboid srcVoi, qelrCuboid dstVoi,
                                               int32_t nChannel, int32_t interpolation,
                                               int32_t* pSize) {
  if (pSize == nullptr)
    return StatusNullPointer;
  if (CuboidHasBadSize(srcVoi) || CuboidHasBadSize(dstVoi))
    return StatusBadSize;
  if (nChannel != 1)
    return StatusBadChannels;
  if (!IsInterpolationCode(interpolation))
    return StatusBadInterpolation;

  // Every worker is charged for all threads, though only one of them
  // divides its scratch among a team.
  const uint32_t perThread =
      static_cast<uint32_t>(ResizeScratchBytesPerThread(dstVoi, nChannel, interpolation));
  *pSize = static_cast<int32_t>(perThread * static_cast<uint32_t>(ownGetNumThreads()));
  return StatusOk;
}

namespace {

int32_t Truncate(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }

struct AxisSpan {
  int32_t first, end;
};

// Without a destination region the box is only clamped at 0, and the
// source volume is unknown, so nothing clips the region to it.
AxisSpan ScaledSpan(int32_t origin, int32_t extent, double factor, double shift) {
  const int32_t first = std::max(Truncate(origin * factor + shift + 0.4999999999), 0);
  const double end = (double(origin) + double(extent)) * factor + shift + 0.5000000001;
  return {first, std::max(Truncate(end), 0)};
}

}  // namespace

extern "C" qelStatus qelrGetResizeCuboid_impl(qelrCuboid srcVoi, qelrCuboid* pDstCuboid,
                                              double xFactor, double yFactor, double zFactor,
                                              double xShift, double yShift, double zShift,
                                              int32_t interpolation) {
  if (pDstCuboid == nullptr)
    return StatusNullPointer;
  if (CuboidHasBadSize(srcVoi))
    return StatusBadSize;
  if (0.0 >= xFactor || 0.0 >= yFactor || 0.0 >= zFactor)
    return StatusBadFactor;
  if (!IsInterpolationCode(interpolation))
    return StatusBadInterpolation;

  const AxisSpan x = ScaledSpan(srcVoi.x, srcVoi.width, xFactor, xShift);
  const AxisSpan y = ScaledSpan(srcVoi.y, srcVoi.height, yFactor, yShift);
  const AxisSpan z = ScaledSpan(srcVoi.z, srcVoi.depth, zFactor, zShift);
  if (x.first >= x.end || y.first >= y.end || z.first >= z.end)
    return StatusNoOverlap;

  pDstCuboid->x = x.first;
  pDstCuboid->y = y.first;
  pDstCuboid->z = z.first;
  pDstCuboid->width = x.end - x.first;
  pDstCuboid->height = y.end - y.first;
  pDstCuboid->depth = z.end - z.first;
  return StatusOk;
}
