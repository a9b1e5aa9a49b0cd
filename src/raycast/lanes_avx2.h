// The eye-ray paths' arithmetic on AVX vectors of eight lanes (for the
// packet path, two four-ray kernels side by side, kernel 0 in the low half).
// Each lane does exactly the single-precision operation of the SSE form (no
// fused multiply-add), and vrcpps on eight lanes gives the bits of rcpps on
// each half, so both forms give the same results.  Include only in files built for AVX2.
#pragma once

#include <cstdint>
#include <immintrin.h>

struct Avx2Lanes {
  using V = __m256;
  using M = V;  // lane masks: all ones or all zeros per lane
  static constexpr int32_t kLanes = 8;
  static constexpr int32_t kKernels = 2;  // four-ray kernels per vector
  // The leaf test skips a triangle that no lane passes with a branch.
  static constexpr bool kSkipsFailedTriangles = true;

  static V Set1(float x) { return _mm256_set1_ps(x); }
  // Broadcast straight from memory: a load, where broadcasting a register
  // would take the shuffle port the arithmetic also needs.
  static V Broadcast(const float& x) {
    V r;
    asm("vbroadcastss %1, %0" : "=x"(r) : "m"(x));
    return r;
  }
  static V Zero() { return _mm256_setzero_ps(); }
  static bool NoLanes(M m) { return _mm256_movemask_ps(m) == 0; }
  static V AllOnes() { return _mm256_castsi256_ps(_mm256_set1_epi32(-1)); }
  static V Add(V a, V b) { return _mm256_add_ps(a, b); }
  static V Sub(V a, V b) { return _mm256_sub_ps(a, b); }
  static V Mul(V a, V b) { return _mm256_mul_ps(a, b); }
  static V Min(V a, V b) { return _mm256_min_ps(a, b); }
  static V Max(V a, V b) { return _mm256_max_ps(a, b); }
  static V Abs(V a) { return _mm256_and_ps(a, _mm256_castsi256_ps(_mm256_set1_epi32(0x7FFFFFFF))); }
  static V And(V a, V b) { return _mm256_and_ps(a, b); }
  static V Or(V a, V b) { return _mm256_or_ps(a, b); }
  static V AndNot(V a, V b) { return _mm256_andnot_ps(a, b); }  // ~a & b
  static V CmpLt(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_LT_OS); }
  static V CmpLe(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_LE_OS); }
  // The lanes of `within` where a is below b, where it is not (a NaN is not
  // below) and where it is at most b.
  static M WhereBelow(M within, V a, V b) { return And(within, CmpLt(a, b)); }
  static M WhereNotBelow(M within, V a, V b) { return AndNot(CmpLt(a, b), within); }
  static M WhereAtMost(M within, V a, V b) { return And(within, CmpLe(a, b)); }
  // Masks are all ones or all zeros per lane, so the sign bit decides.
  static V Select(V mask, V a, V b) { return _mm256_blendv_ps(b, a, mask); }
  static V Rcp(V a) { return _mm256_rcp_ps(a); }
  static V Load(const float* p) { return _mm256_loadu_ps(p); }
  static void Store(float* p, V a) { _mm256_storeu_ps(p, a); }
  static V Div(V a, V b) { return _mm256_div_ps(a, b); }
  static M CmpGt(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_GT_OS); }
  static M CmpGe(V a, V b) { return _mm256_cmp_ps(a, b, _CMP_GE_OS); }
  static M MaskFromBits(int32_t laneBits) {
    const __m256i bit = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(_mm256_set1_epi32(laneBits), bit), bit));
  }
  static V Index(int32_t i) { return _mm256_castsi256_ps(_mm256_set1_epi32(i)); }
  static V Keep(M mask, V a) { return And(mask, a); }  // a, 0.0 outside the mask
  static M SelectMask(M mask, M a, M b) { return Select(mask, a, b); }
  static int32_t LaneBits(M mask) { return _mm256_movemask_ps(mask); }

  // All lanes of the kernels that have a set lane in `laneBits`.
  static int32_t KernelsOfLanes(int32_t laneBits) {
    return ((laneBits & 0xF) != 0 ? 0xF : 0) | ((laneBits & 0xF0) != 0 ? 0xF0 : 0);
  }

  // The vector of kernels[0 .. kKernels), and kernel j of a vector.
  static V Join(const __m128* kernels) { return _mm256_set_m128(kernels[1], kernels[0]); }
  static __m128 Part(V v, int32_t j) { return j == 0 ? _mm256_castps256_ps128(v) : _mm256_extractf128_ps(v, 1); }
};
