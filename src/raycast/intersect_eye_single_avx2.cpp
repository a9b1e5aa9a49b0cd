// The single-ray path in AVX vectors of eight lanes.  Built for AVX2
// without fused multiply-add; it runs only where the processor has AVX2.
#include "raycast/intersect_eye_paths.h"
#include "raycast/intersect_eye_single_body.h"
#include "raycast/lanes_avx2.h"

void IntersectEyeSingleRaysAvx2(const float* pEye, const float* const pDirection[3], float* pDist,
                                float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                                qelrSize size) {
  IntersectEyeSingleRaysWith<Avx2Lanes>(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
}
