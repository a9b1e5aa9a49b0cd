// Block transforms with SSE: eight directions as two vectors of four.
#include "sh/sht_block_engine.h"
#include "sh/sht_blocks.h"

void shtForwardBlocksSse(const ShtForwardJob& job) {
  ForwardByBlocks<SseOps, 2>(job);
}

void shtInverseBlocksSse(const ShtInverseJob& job) {
  InverseByBlocks<SseOps, 2>(job);
}
