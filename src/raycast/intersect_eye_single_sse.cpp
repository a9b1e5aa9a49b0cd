// The single-ray path in SSE vectors of four lanes.
#include "raycast/intersect_eye_paths.h"
#include "raycast/intersect_eye_single_body.h"
#include "raycast/lanes_sse.h"

void IntersectEyeSingleRaysSse(const float* pEye, const float* const pDirection[3], float* pDist,
                               float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                               qelrSize size) {
  IntersectEyeSingleRaysWith<SseLanes>(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
}
