// Recurrence blocks with SSE: 8 directions (two vectors), then 4.
#include "sh/sh_recurrence_block.h"
#include "sh/sh_recurrence_blocks.h"

int32_t shRecurrenceBlocksSse(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                              int32_t count, float* dst, int order) {
  int32_t done = RecurrenceBlocks<SseOps, 2>(recurA, recurB, x, y, z, count, dst, order, 0);
  return RecurrenceBlocks<SseOps, 1>(recurA, recurB, x, y, z, count, dst, order, done);
}
