// The part of a resize that every worker shares: the common checks, the
// destination box and the inverse mapping, and the scratch size.
#pragma once

#include <cstdint>

#include "qelr.h"

// What the checks hand to the paths.  The box is in destination
// coordinates; the end is exclusive.
struct ResizeGeometry {
  double xInv, yInv, zInv;  // 1 / factor
  double xOff, yOff, zOff;  // (0 - shift) / factor
  int32_t x0, y0, z0;
  int32_t x1, y1, z1;
  int32_t w, h, d;
};

struct ResizeFactors {
  double x, y, z;
};

// The checks of every resize worker after its null-pointer test, in their
// order: sizes, factors, interpolation code, source region origin, and the
// destination box.  Fills `geometry` only when the result is StatusOk.
qelStatus ResizeCheckAndMap(qelrVolume srcVolume, qelrCuboid srcVoi, qelrCuboid dstVoi,
                            ResizeFactors factor, ResizeFactors shift, int32_t interpolation,
                            ResizeGeometry* geometry);

// Scratch bytes that one thread needs for a destination region and code,
// before the thread factor.  32-bit arithmetic; overflow goes unnoticed.
int32_t ResizeScratchBytesPerThread(qelrCuboid dstVoi, int32_t nChannel, int32_t interpolation);
