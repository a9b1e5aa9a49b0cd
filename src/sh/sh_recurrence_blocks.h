// Blocks of directions for the band recurrence, one direction per vector
// lane.  Each function runs as many whole blocks as `count` allows
// (1 <= order <= 15) and returns the number of directions it did; the rest
// is left to the one-direction form.  Results are bit-identical to it.
#pragma once

#include <cstdint>

typedef int32_t (*ShRecurrenceBlocksFn)(const float* recurA, const float* recurB, const float* x, const float* y,
                                        const float* z, int32_t count, float* dst, int order);

// Blocks of 8, then 4 directions (SSE).
int32_t shRecurrenceBlocksSse(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                              int32_t count, float* dst, int order);

// Blocks of 8, then 4 directions (AVX2); only on processors with AVX2.
int32_t shRecurrenceBlocksAvx2(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                               int32_t count, float* dst, int order);

// The widest form this processor runs, chosen once when the library is
// loaded (an ifunc, so no variable holds the choice).
extern "C" int32_t shRecurrenceBlocks(const float* recurA, const float* recurB, const float* x, const float* y,
                                      const float* z, int32_t count, float* dst, int order);
