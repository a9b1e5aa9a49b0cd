// The transforms by blocks of eight directions (sht_block_engine.h), for a
// state that evaluates (a known mode, order 15 or below) and arrays that do
// not overlap; the results are those of the direction-by-direction form.
#pragma once

#include "sh/sht_jobs.h"

typedef void (*ShtForwardBlocksFn)(const ShtForwardJob& job);
typedef void (*ShtInverseBlocksFn)(const ShtInverseJob& job);

// With SSE: two vectors of four directions.
void shtForwardBlocksSse(const ShtForwardJob& job);
void shtInverseBlocksSse(const ShtInverseJob& job);

// With AVX2: one vector of eight directions; only on processors with AVX2.
void shtForwardBlocksAvx2(const ShtForwardJob& job);
void shtInverseBlocksAvx2(const ShtInverseJob& job);

// The widest form this processor runs, chosen once when the library is
// loaded (an ifunc, so no variable holds the choice).
extern "C" void shtForwardBlocks(const ShtForwardJob& job);
extern "C" void shtInverseBlocks(const ShtInverseJob& job);
