// Chooses the recurrence blocks for this processor once, at load, through
// an ifunc: the choice lives in the relocation, not in a variable.
#include "sh/sh_recurrence_blocks.h"

extern "C" {

// Runs while the loader is still relocating this library: it must call
// nothing that is not yet bound, so sanitizers may not instrument it.
__attribute__((no_sanitize("address", "undefined"))) ShRecurrenceBlocksFn shResolveRecurrenceBlocks() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") ? shRecurrenceBlocksAvx2 : shRecurrenceBlocksSse;
}

int32_t shRecurrenceBlocks(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                           int32_t count, float* dst, int order) __attribute__((ifunc("shResolveRecurrenceBlocks")));

}  // extern "C"
