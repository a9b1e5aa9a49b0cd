// The eye-ray paths' arithmetic on SSE vectors of four lanes (for the packet
// path, one four-ray kernel per vector).  Every operation is the plain
// single-precision one of its lane.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "raycast/ray_math.h"

struct SseLanes {
  using V = __m128;
  using M = V;  // lane masks: all ones or all zeros per lane
  static constexpr int32_t kLanes = 4;
  static constexpr int32_t kKernels = 1;  // four-ray kernels per vector
  // The leaf test skips a triangle that no lane passes with a branch.
  static constexpr bool kSkipsFailedTriangles = true;

  static V Set1(float x) { return _mm_set1_ps(x); }
  static V Broadcast(const float& x) { return _mm_set1_ps(x); }
  static bool NoLanes(M m) { return _mm_movemask_ps(m) == 0; }
  static V Zero() { return _mm_setzero_ps(); }
  static V Add(V a, V b) { return _mm_add_ps(a, b); }
  static V Sub(V a, V b) { return _mm_sub_ps(a, b); }
  static V Mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V Min(V a, V b) { return _mm_min_ps(a, b); }
  static V Max(V a, V b) { return _mm_max_ps(a, b); }
  static V Abs(V a) { return _mm_and_ps(a, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF))); }
  static V And(V a, V b) { return _mm_and_ps(a, b); }
  static V Or(V a, V b) { return _mm_or_ps(a, b); }
  static V AndNot(V a, V b) { return _mm_andnot_ps(a, b); }  // ~a & b
  static V CmpLt(V a, V b) { return _mm_cmplt_ps(a, b); }
  static V CmpLe(V a, V b) { return _mm_cmple_ps(a, b); }
  // The lanes of `within` where a is below b, where it is not (a NaN is not
  // below) and where it is at most b.
  static M WhereBelow(M within, V a, V b) { return And(within, CmpLt(a, b)); }
  static M WhereNotBelow(M within, V a, V b) { return AndNot(CmpLt(a, b), within); }
  static M WhereAtMost(M within, V a, V b) { return And(within, CmpLe(a, b)); }
  static V Select(V mask, V a, V b) { return ::Select(mask, a, b); }
  static V Rcp(V a) { return _mm_rcp_ps(a); }
  static V Load(const float* p) { return _mm_loadu_ps(p); }
  static void Store(float* p, V a) { _mm_storeu_ps(p, a); }
  static V Div(V a, V b) { return _mm_div_ps(a, b); }
  static M CmpGt(V a, V b) { return _mm_cmpgt_ps(a, b); }
  static M CmpGe(V a, V b) { return _mm_cmpge_ps(a, b); }
  static M MaskFromBits(int32_t laneBits) { return LaneMaskFromBits(laneBits); }
  static V Index(int32_t i) { return _mm_castsi128_ps(_mm_set1_epi32(i)); }
  static V Keep(M mask, V a) { return And(mask, a); }  // a, 0.0 outside the mask
  static M SelectMask(M mask, M a, M b) { return Select(mask, a, b); }
  static int32_t LaneBits(M mask) { return _mm_movemask_ps(mask); }

  // All lanes of the kernel if `laneBits` has any.
  static int32_t KernelsOfLanes(int32_t laneBits) { return laneBits != 0 ? 0xF : 0; }

  // The vector of kernels[0 .. kKernels), and kernel j of a vector.
  static V Join(const __m128* kernels) { return kernels[0]; }
  static __m128 Part(V v, int32_t) { return v; }
};
