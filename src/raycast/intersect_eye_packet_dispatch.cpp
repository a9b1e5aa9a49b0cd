// Chooses the packet path's form for this processor once, at load, through
// an ifunc: the choice lives in the relocation, not in a variable.  All
// forms give the same bits.
#include "raycast/intersect_eye_paths.h"

using IntersectEyePacketsFn = void (*)(const float*, const float* const[3], float*, float* const[2], int32_t*,
                                       const qelrSceneContext*, qelrSize);

extern "C" {

// Runs while the loader is still relocating this library: it must call
// nothing that is not yet bound, so sanitizers may not instrument it.
__attribute__((no_sanitize("address", "undefined"))) IntersectEyePacketsFn resolveIntersectEyePackets() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq")) return IntersectEyePacketsAvx512;
  return __builtin_cpu_supports("avx2") ? IntersectEyePacketsAvx2 : IntersectEyePacketsSse;
}

}  // extern "C"

void IntersectEyePackets(const float* pEye, const float* const pDirection[3], float* pDist, float* const pHit[2],
                         int32_t* pTriangle, const qelrSceneContext* pContext, qelrSize size)
    __attribute__((ifunc("resolveIntersectEyePackets")));
