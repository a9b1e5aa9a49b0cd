// The packet path in AVX-512 vectors, the four four-ray kernels of a tile
// in one vector.  Built for AVX-512F and DQ (the library's build keeps
// multiplies and adds apart); it runs only where the processor has them.
#include "raycast/intersect_eye_packet_body.h"
#include "raycast/intersect_eye_paths.h"
#include "raycast/lanes_avx512.h"

void IntersectEyePacketsAvx512(const float* pEye, const float* const pDirection[3], float* pDist,
                               float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                               qelrSize size) {
  IntersectEyePacketsWith<Avx512Lanes>(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
}
