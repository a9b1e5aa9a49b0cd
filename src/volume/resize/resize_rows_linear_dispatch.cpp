// Chooses the linear row kernels for this processor once, at load, through
// an ifunc: the choice lives in the relocation, not in a variable.
#include "volume/resize/resize_rows_linear.h"

extern "C" {

// Runs while the loader is still relocating this library: it must call
// nothing that is not yet bound, so sanitizers may not instrument it.
using LinearRowKernelsFn = const LinearRowKernels* (*)();
__attribute__((no_sanitize("address", "undefined"))) LinearRowKernelsFn ResolveLinearRowKernels() {
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw")) return LinearRowKernelsAvx512;
  return __builtin_cpu_supports("avx2") ? LinearRowKernelsAvx2 : LinearRowKernelsSse;
}

const LinearRowKernels* LinearRowKernelsHere() __attribute__((ifunc("ResolveLinearRowKernels")));

}  // extern "C"
