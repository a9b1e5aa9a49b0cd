// The packet path in SSE vectors, one four-ray kernel per vector.
#include "raycast/intersect_eye_packet_body.h"
#include "raycast/intersect_eye_paths.h"
#include "raycast/lanes_sse.h"

void IntersectEyePacketsSse(const float* pEye, const float* const pDirection[3], float* pDist, float* const pHit[2],
                            int32_t* pTriangle, const qelrSceneContext* pContext, qelrSize size) {
  IntersectEyePacketsWith<SseLanes>(pEye, pDirection, pDist, pHit, pTriangle, pContext, size);
}
