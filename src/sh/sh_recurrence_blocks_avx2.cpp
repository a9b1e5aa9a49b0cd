// Recurrence blocks with AVX2: 8 directions, then 4.
// This file alone is compiled for AVX2 (without FMA: no contraction may
// change a rounding); it is called only on processors that have it.
#include "sh/sh_lanes_avx2.h"
#include "sh/sh_recurrence_block.h"
#include "sh/sh_recurrence_blocks.h"

int32_t shRecurrenceBlocksAvx2(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                               int32_t count, float* dst, int order) {
  int32_t done = RecurrenceBlocks<AvxOps, 1>(recurA, recurB, x, y, z, count, dst, order, 0);
  done = RecurrenceBlocks<SseOps, 1>(recurA, recurB, x, y, z, count, dst, order, done);
  _mm256_zeroupper();
  return done;
}
