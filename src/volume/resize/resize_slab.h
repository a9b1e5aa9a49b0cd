// ResizeSlab: everything a resize worker does after its checks, over one
// box of destination samples.  The threaded worker runs one per slab of
// planes; every other worker runs one over the whole box.
#pragma once

#include <cstdint>

#include "frame/qelr_internal.h"
#include "volume/volume_frame.h"

// A box of destination samples, in destination coordinates.
struct ResizeBox {
  int32_t x, y, z;
  int32_t w, h, d;
  int32_t wholeD;  // depth of the whole call's box, of which this may be a slab
};

// Destination coordinate i maps to the source through (i + 0.5) * inv + ...
struct ResizeMapping {
  double xInv, yInv, zInv;
  double xOff, yOff, zOff;
};

// The one place where a resize path is chosen by interpolation code.
// `scratch` is this slab's share of the caller's buffer.
template <typename T, Variant V>
qelStatus ResizeSlab(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                     const ResizeMapping& map, int32_t interpolation, uint8_t* scratch);
