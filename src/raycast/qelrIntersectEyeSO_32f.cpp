// qelrIntersectEyeSO_32f: nearest triangle of every ray of a block that
// starts at the eye.  It checks nothing; the path follows from the block's
// sides and the planes' alignment alone.
#include "frame/qelr_internal.h"
#include "raycast/intersect_eye_paths.h"
#include "raycast/ray_block.h"

extern "C" qelStatus qelrIntersectEyeSO_32f_impl(const float* pEye, const float* const pDirection[3],
                                                 float* pDist, float* const pHit[2], int32_t* pTriangle,
                                                 const qelrSceneContext* pContext, qelrSize size) {
  if (size.width <= 0 || size.height <= 0) return StatusOk;
  const bool aligned = IsAligned16(pDirection[0]) && IsAligned16(pDirection[1]) &&
                       IsAligned16(pDirection[2]) && IsAligned16(pDist) && IsAligned16(pHit[0]) &&
                       IsAligned16(pHit[1]) && IsAligned16(pTriangle);
  if (IsPacketBlock(size) && aligned)
    IntersectEyePackets(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
  else
    IntersectEyeSingleRays(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
  return StatusOk;
}
