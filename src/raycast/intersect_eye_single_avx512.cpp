// The single-ray path in AVX-512 vectors of sixteen lanes, a whole group
// in one vector.  Built for AVX-512F and DQ (the library's build keeps
// multiplies and adds apart); it runs only where the processor has them.
#include "raycast/intersect_eye_paths.h"
#include "raycast/intersect_eye_single_body.h"
#include "raycast/lanes_avx512.h"

void IntersectEyeSingleRaysAvx512(const float* pEye, const float* const pDirection[3], float* pDist,
                                  float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                                  qelrSize size) {
  IntersectEyeSingleRaysWith<Avx512Lanes>(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
}
