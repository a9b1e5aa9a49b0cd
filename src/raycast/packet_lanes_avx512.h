// The packet kernels' arithmetic on AVX-512 vectors: all four four-ray
// kernels of a tile in one vector, kernel q in lanes 4q to 4q + 3.  Each
// lane does exactly the single-precision operation of the SSE form (no
// fused multiply-add), and the reciprocals are taken eight lanes at a time
// with vrcpps, whose bits are those of rcpps on each lane (AVX-512 has only
// the 14-bit one).  Include only in files built for AVX-512F and DQ.
#pragma once

#include <cstdint>
#include <immintrin.h>

struct Avx512Lanes {
  using V = __m512;
  static constexpr int32_t kKernels = 4;  // four-ray kernels per vector

  static V Set1(float x) { return _mm512_set1_ps(x); }
  static V Zero() { return _mm512_setzero_ps(); }
  static V AllOnes() { return _mm512_castsi512_ps(_mm512_set1_epi32(-1)); }
  static V Add(V a, V b) { return _mm512_add_ps(a, b); }
  static V Sub(V a, V b) { return _mm512_sub_ps(a, b); }
  static V Mul(V a, V b) { return _mm512_mul_ps(a, b); }
  static V Min(V a, V b) { return _mm512_min_ps(a, b); }
  static V Max(V a, V b) { return _mm512_max_ps(a, b); }
  static V And(V a, V b) { return _mm512_and_ps(a, b); }
  static V Or(V a, V b) { return _mm512_or_ps(a, b); }
  static V AndNot(V a, V b) { return _mm512_andnot_ps(a, b); }  // ~a & b
  static V CmpLt(V a, V b) { return MaskToLanes(_mm512_cmp_ps_mask(a, b, _CMP_LT_OS)); }
  static V CmpLe(V a, V b) { return MaskToLanes(_mm512_cmp_ps_mask(a, b, _CMP_LE_OS)); }
  static V Select(V mask, V a, V b) { return _mm512_mask_blend_ps(_mm512_movepi32_mask(_mm512_castps_si512(mask)), b, a); }
  static V Rcp(V a) {
    const __m256 low = _mm256_rcp_ps(_mm512_castps512_ps256(a));
    const __m256 high = _mm256_rcp_ps(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(a), 1)));
    return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castps_pd(_mm512_castps256_ps512(low)), _mm256_castps_pd(high), 1));
  }
  static V Index(int32_t i) { return _mm512_castsi512_ps(_mm512_set1_epi32(i)); }
  static int32_t LaneBits(V mask) { return _mm512_movepi32_mask(_mm512_castps_si512(mask)); }

  // The kernels (bit j: kernel j of the vector) with a set lane in `laneBits`:
  // each nibble folded to its low bit, and the four low bits gathered by a
  // product whose partial sums never overlap.
  static int32_t KernelsWithAnyLane(int32_t laneBits) {
    const uint32_t b = static_cast<uint32_t>(laneBits);
    const uint32_t low = (b | (b >> 1) | (b >> 2) | (b >> 3)) & 0x1111u;
    return static_cast<int32_t>(((low * 0x1248u) >> 12) & 0xFu);
  }
  // The lanes of the kernels in `kernelBits`, as bits and as a mask.
  static int32_t KernelLaneBits(int32_t kernelBits) {
    return ((kernelBits & 1) * 0xF) | ((kernelBits & 2) * 0x78) | ((kernelBits & 4) * 0x3C0) |
           ((kernelBits & 8) * 0x1E00);
  }
  static V KernelLanes(int32_t kernelBits) { return MaskToLanes(static_cast<__mmask16>(KernelLaneBits(kernelBits))); }

  // The vector of kernels[0 .. kKernels), and kernel j of a vector.
  static V Join(const __m128* kernels) {
    const __m256 low = _mm256_set_m128(kernels[1], kernels[0]);
    const __m256 high = _mm256_set_m128(kernels[3], kernels[2]);
    return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castps_pd(_mm512_castps256_ps512(low)), _mm256_castps_pd(high), 1));
  }
  static __m128 Part(V v, int32_t j) {
    switch (j) {
      case 0: return _mm512_castps512_ps128(v);
      case 1: return _mm512_extractf32x4_ps(v, 1);
      case 2: return _mm512_extractf32x4_ps(v, 2);
      default: return _mm512_extractf32x4_ps(v, 3);
    }
  }

 private:
  static V MaskToLanes(__mmask16 m) { return _mm512_castsi512_ps(_mm512_movm_epi32(m)); }
};
