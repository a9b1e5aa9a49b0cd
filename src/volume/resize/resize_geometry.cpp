#include "volume/resize/resize_geometry.h"

#include <emmintrin.h>

#include <algorithm>

#include "volume/volume_frame.h"

namespace {

// Truncation toward zero as the processor does it: a value out of the
// 32-bit range (or NaN) gives INT32_MIN rather than undefined behaviour.
int32_t Truncate(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }

struct AxisBox {
  int32_t first, end;
};

// Destination samples whose centres fall in the closed interval from the
// scaled start of the source region to its scaled end, within the
// destination region.  The two rounding constants differ on purpose: a
// centre exactly on either edge belongs to the box (tolerance 1e-10).
AxisBox DestinationAxis(int32_t origin, int32_t extent, int32_t volumeExtent, double factor,
                        double shift, int32_t dstOrigin, int32_t dstExtent) {
  const double lo = std::max(origin * factor + shift, double(dstOrigin));
  const int32_t clipped = std::min(volumeExtent - origin, extent);
  const double hi =
      std::min((origin + clipped) * factor + shift, double(dstOrigin) + double(dstExtent));
  return {Truncate(lo + 0.4999999999), Truncate(hi + 0.5000000001)};
}

// Differences of box ends wrap like the 32-bit arithmetic they model.
int32_t Extent(int32_t first, int32_t end) {
  return static_cast<int32_t>(static_cast<uint32_t>(end) - static_cast<uint32_t>(first));
}

int32_t RoundUp(int32_t v, int32_t multiple) {
  return static_cast<int32_t>((static_cast<uint32_t>(v) + multiple - 1) & ~uint32_t(multiple - 1));
}

int32_t ClearLow6(int32_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v) & ~63u); }

}  // namespace

qelStatus ResizeCheckAndMap(qelrVolume srcVolume, qelrCuboid srcVoi, qelrCuboid dstVoi,
                            ResizeFactors factor, ResizeFactors shift, int32_t interpolation,
                            ResizeGeometry* geometry) {
  if (VolumeHasBadSize(srcVolume) || CuboidHasBadSize(srcVoi) || CuboidHasBadSize(dstVoi))
    return StatusBadSize;
  // Asked as "is 0 >= factor", so a NaN factor passes.
  if (0.0 >= factor.x || 0.0 >= factor.y || 0.0 >= factor.z)
    return StatusBadFactor;
  if (!IsInterpolationCode(interpolation))
    return StatusBadInterpolation;
  if (srcVoi.x >= srcVolume.width || srcVoi.y >= srcVolume.height || srcVoi.z >= srcVolume.depth)
    return StatusVoiOutside;

  const AxisBox x = DestinationAxis(srcVoi.x, srcVoi.width, srcVolume.width, factor.x, shift.x,
                                    dstVoi.x, dstVoi.width);
  const AxisBox y = DestinationAxis(srcVoi.y, srcVoi.height, srcVolume.height, factor.y, shift.y,
                                    dstVoi.y, dstVoi.height);
  const AxisBox z = DestinationAxis(srcVoi.z, srcVoi.depth, srcVolume.depth, factor.z, shift.z,
                                    dstVoi.z, dstVoi.depth);
  if (x.first >= x.end || y.first >= y.end || z.first >= z.end)
    return StatusNoOverlap;

  ResizeGeometry& g = *geometry;
  g.xInv = 1.0 / factor.x;
  g.yInv = 1.0 / factor.y;
  g.zInv = 1.0 / factor.z;
  g.xOff = (0.0 - shift.x) / factor.x;
  g.yOff = (0.0 - shift.y) / factor.y;
  g.zOff = (0.0 - shift.z) / factor.z;
  g.x0 = x.first;
  g.y0 = y.first;
  g.z0 = z.first;
  g.x1 = x.end;
  g.y1 = y.end;
  g.z1 = z.end;
  g.w = Extent(x.first, x.end);
  g.h = Extent(y.first, y.end);
  g.d = Extent(z.first, z.end);
  return StatusOk;
}

int32_t ResizeScratchBytesPerThread(qelrCuboid dstVoi, int32_t nChannel, int32_t interpolation) {
  // All in wrapping 32-bit arithmetic, as the size is reported.
  const uint32_t W = static_cast<uint32_t>(dstVoi.width);
  const uint32_t H = static_cast<uint32_t>(dstVoi.height);
  const uint32_t D = static_cast<uint32_t>(dstVoi.depth);
  const uint32_t C = static_cast<uint32_t>(nChannel);
  auto a16 = [](uint32_t v) { return static_cast<uint32_t>(RoundUp(static_cast<int32_t>(v), 16)); };
  auto a64 = [](uint32_t v) { return static_cast<uint32_t>(RoundUp(static_cast<int32_t>(v), 64)); };
  auto f64 = [](uint32_t v) { return static_cast<uint32_t>(ClearLow6(static_cast<int32_t>(v))); };

  // Index arrays of the three axes, then their fraction or weight arrays.
  const uint32_t indexBytes = 4 * (a16(W) + a16(H) + a16(D));
  const uint32_t fractionBytes = 4 * (a64(W) + a64(H) + a64(D));
  uint32_t size = 0;
  if (interpolation == InterNearest) {
    size = indexBytes + 64;
  } else if (interpolation == InterLinear) {
    // Two rows, two edge frames, two interior planes.
    size = indexBytes + fractionBytes +
           C * (4 * (f64(2 * W + 127) + f64(8 * (W + H) + 127)) + 8 * H * a64(W)) + 64;
  } else {
    // Four interior planes, four edge frames, four rows, three weight tables.
    size = indexBytes + fractionBytes + 16 * H * C * a64(W) +
           4 * (C * (f64(128 * (W + H) + 255) + f64(4 * W + 255)) + f64(4 * W + 255) +
                f64(4 * H + 255) + f64(4 * D + 255)) +
           64;
  }
  return static_cast<int32_t>(size);
}
