// Chooses the cubic row kernels for this processor once, at load, through
// an ifunc: the choice lives in the relocation, not in a variable.
#include "volume/resize/resize_rows_cubic.h"

namespace {

const CubicKernels* SseSet() { return &CubicKernelsSse(); }
const CubicKernels* Avx2Set() { return &CubicKernelsAvx2(); }
const CubicKernels* Avx512Set() { return &CubicKernelsAvx512(); }

}  // namespace

extern "C" {

typedef const CubicKernels* (*CubicKernelsFn)();

// Runs while the loader is still relocating this library: it must call
// nothing that is not yet bound, so sanitizers may not instrument it.
__attribute__((no_sanitize("address", "undefined"))) CubicKernelsFn CubicResolveKernels() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl"))
    return Avx512Set;
  return __builtin_cpu_supports("avx2") ? Avx2Set : SseSet;
}

const CubicKernels* CubicKernelsForCpu() __attribute__((ifunc("CubicResolveKernels")));

}  // extern "C"
