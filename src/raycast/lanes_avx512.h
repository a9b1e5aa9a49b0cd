// The eye-ray paths' arithmetic on AVX-512 vectors of sixteen lanes (for the
// packet path, all four four-ray kernels of a tile in one vector, kernel q
// in lanes 4q to 4q + 3).  Each lane does exactly the single-precision
// operation of the SSE form (no fused multiply-add), and the reciprocals are
// taken eight lanes at a time with vrcpps, whose bits are those of rcpps on
// each lane (AVX-512 has only the 14-bit one).  Lane masks live in mask
// registers.  Include only in files built for AVX-512F and DQ.
#pragma once

#include <cstdint>
#include <immintrin.h>

struct Avx512Lanes {
  using V = __m512;
  using M = __mmask16;  // lane masks: bit j for lane j
  static constexpr int32_t kLanes = 16;
  static constexpr int32_t kKernels = 4;  // four-ray kernels per vector
  // The leaf test takes every triangle through the masked updates: with
  // sixteen lanes a branch on whether any lane passes is mispredicted
  // often enough to cost more than the updates.
  static constexpr bool kSkipsFailedTriangles = false;

  static V Set1(float x) { return _mm512_set1_ps(x); }
  // Broadcast straight from memory: a load, where broadcasting a register
  // would take the shuffle port the arithmetic also needs.
  static V Broadcast(const float& x) {
    V r;
    asm("vbroadcastss %1, %0" : "=v"(r) : "m"(x));
    return r;
  }
  static V Zero() { return _mm512_setzero_ps(); }
  static V Add(V a, V b) { return _mm512_add_ps(a, b); }
  static V Sub(V a, V b) { return _mm512_sub_ps(a, b); }
  static V Mul(V a, V b) { return _mm512_mul_ps(a, b); }
  static V Min(V a, V b) { return _mm512_min_ps(a, b); }
  static V Max(V a, V b) { return _mm512_max_ps(a, b); }
  static V Abs(V a) { return _mm512_abs_ps(a); }
  // Mask operations in the mask registers, so that a mask needs no trip
  // through a general register before the test that branches on it.
  static M And(M a, M b) { return _mm512_kand(a, b); }
  static M Or(M a, M b) { return _mm512_kor(a, b); }
  static M AndNot(M a, M b) { return _mm512_kandn(a, b); }
  static bool NoLanes(M m) { return _mm512_kortestz(m, m) != 0; }
  static M CmpLt(V a, V b) { return _mm512_cmp_ps_mask(a, b, _CMP_LT_OS); }
  static M CmpLe(V a, V b) { return _mm512_cmp_ps_mask(a, b, _CMP_LE_OS); }
  // The lanes of `within` where a is below b, where it is not (a NaN is not
  // below) and where it is at most b: one compare under a mask each.
  static M WhereBelow(M within, V a, V b) { return _mm512_mask_cmp_ps_mask(within, a, b, _CMP_LT_OS); }
  static M WhereNotBelow(M within, V a, V b) { return _mm512_mask_cmp_ps_mask(within, a, b, _CMP_NLT_US); }
  static M WhereAtMost(M within, V a, V b) { return _mm512_mask_cmp_ps_mask(within, a, b, _CMP_LE_OS); }
  static V Select(M mask, V a, V b) { return _mm512_mask_blend_ps(mask, b, a); }
  static V Keep(M mask, V a) { return _mm512_maskz_mov_ps(mask, a); }  // a, 0.0 outside the mask
  static M SelectMask(M mask, M a, M b) { return Or(And(mask, a), AndNot(mask, b)); }
  static V Rcp(V a) {
    const __m256 low = _mm256_rcp_ps(_mm512_castps512_ps256(a));
    const __m256 high = _mm256_rcp_ps(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(a), 1)));
    return _mm512_castpd_ps(_mm512_insertf64x4(_mm512_castps_pd(_mm512_castps256_ps512(low)), _mm256_castps_pd(high), 1));
  }
  static V Load(const float* p) { return _mm512_loadu_ps(p); }
  static void Store(float* p, V a) { _mm512_storeu_ps(p, a); }
  static V Div(V a, V b) { return _mm512_div_ps(a, b); }
  static M CmpGt(V a, V b) { return _mm512_cmp_ps_mask(a, b, _CMP_GT_OS); }
  static M CmpGe(V a, V b) { return _mm512_cmp_ps_mask(a, b, _CMP_GE_OS); }
  static M MaskFromBits(int32_t laneBits) { return static_cast<M>(laneBits); }
  static V Index(int32_t i) { return _mm512_castsi512_ps(_mm512_set1_epi32(i)); }
  static int32_t LaneBits(M mask) { return mask; }

  // All lanes of the kernels that have a set lane in `laneBits`: each
  // nibble's high bit set if any of its bits is (no carry leaves a
  // nibble), then spread down over the nibble (no borrow crosses one).
  static int32_t KernelsOfLanes(int32_t laneBits) {
    const uint32_t b = static_cast<uint32_t>(laneBits);
    const uint32_t high = (((b & 0x7777u) + 0x7777u) | b) & 0x8888u;
    return static_cast<int32_t>(high | (high - (high >> 3)));
  }

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
};
