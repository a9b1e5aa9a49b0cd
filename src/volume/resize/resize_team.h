// The one parallel resize: destination planes in slabs on a team.
#pragma once

#include "volume/resize/resize_geometry.h"
#include "volume/resize/resize_slab.h"

// Splits the box's planes among ownGetNumThreads() threads when the box is
// at least 16 along each axis and there are two threads or more; otherwise
// runs one slab on the calling thread.  The result never depends on the
// team size: every destination plane is computed from its own taps.
template <Variant V>
qelStatus ResizeOnTeam(const SourceVolume<float>& src, const DestVolume<float>& dst,
                       const ResizeGeometry& g, qelrCuboid srcVoi, qelrCuboid dstVoi,
                       int32_t interpolation, uint8_t* pBuffer);

inline ResizeBox BoxOf(const ResizeGeometry& g) { return {g.x0, g.y0, g.z0, g.w, g.h, g.d, g.d}; }
inline ResizeMapping MappingOf(const ResizeGeometry& g) {
  return {g.xInv, g.yInv, g.zInv, g.xOff, g.yOff, g.zOff};
}
