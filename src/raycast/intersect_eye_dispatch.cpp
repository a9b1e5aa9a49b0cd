// Chooses the form of each eye-ray path for this processor once, at load,
// through an ifunc: the choice lives in the relocation, not in a variable.
// All forms of a path give the same bits.
#include "raycast/intersect_eye_paths.h"

using IntersectEyeFn = IntersectEyePath*;

namespace {

// The resolvers run while the loader is still relocating this library: they
// may call nothing that is not yet bound, so sanitizers may not instrument
// them.
__attribute__((no_sanitize("address", "undefined"))) IntersectEyeFn WidestForm(IntersectEyeFn sse, IntersectEyeFn avx2,
                                                                               IntersectEyeFn avx512) {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq")) return avx512;
  return __builtin_cpu_supports("avx2") ? avx2 : sse;
}

}  // namespace

extern "C" {

__attribute__((no_sanitize("address", "undefined"))) IntersectEyeFn resolveIntersectEyeSingleRays() {
  return WidestForm(IntersectEyeSingleRaysSse, IntersectEyeSingleRaysAvx2, IntersectEyeSingleRaysAvx512);
}

__attribute__((no_sanitize("address", "undefined"))) IntersectEyeFn resolveIntersectEyePackets() {
  return WidestForm(IntersectEyePacketsSse, IntersectEyePacketsAvx2, IntersectEyePacketsAvx512);
}

}  // extern "C"

IntersectEyePath IntersectEyeSingleRays __attribute__((ifunc("resolveIntersectEyeSingleRays")));
IntersectEyePath IntersectEyePackets __attribute__((ifunc("resolveIntersectEyePackets")));
