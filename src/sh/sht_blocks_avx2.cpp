// Block transforms with AVX2: eight directions in one vector.
// This file is compiled for AVX2 (without FMA: no contraction may change a
// rounding); it is called only on processors that have it.
#include "sh/sh_lanes_avx2.h"
#include "sh/sht_block_engine.h"
#include "sh/sht_blocks.h"

void shtForwardBlocksAvx2(const ShtForwardJob& job) {
  ForwardByBlocks<AvxOps, 1>(job);
  _mm256_zeroupper();
}

void shtInverseBlocksAvx2(const ShtInverseJob& job) {
  InverseByBlocks<AvxOps, 1>(job);
  _mm256_zeroupper();
}
