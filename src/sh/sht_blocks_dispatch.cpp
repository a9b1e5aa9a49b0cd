// Chooses the block transforms for this processor once, at load, through
// ifuncs: the choice lives in the relocations, not in a variable.
#include "sh/sht_blocks.h"

extern "C" {

// These run while the loader is still relocating this library: they must
// call nothing that is not yet bound, so sanitizers may not instrument them.
__attribute__((no_sanitize("address", "undefined"))) ShtForwardBlocksFn shtResolveForwardBlocks() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") ? shtForwardBlocksAvx2 : shtForwardBlocksSse;
}

__attribute__((no_sanitize("address", "undefined"))) ShtInverseBlocksFn shtResolveInverseBlocks() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") ? shtInverseBlocksAvx2 : shtInverseBlocksSse;
}

void shtForwardBlocks(const ShtForwardJob& job) __attribute__((ifunc("shtResolveForwardBlocks")));
void shtInverseBlocks(const ShtInverseJob& job) __attribute__((ifunc("shtResolveInverseBlocks")));

}  // extern "C"
