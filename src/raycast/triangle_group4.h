// One ray against up to four triangles at once: lane j runs the single-ray
// test of triangle j with the very operations of CrossTriangle, so every
// lane's D, T, P and Q carry the bits the scalar test would give.  What a
// caller does with the lanes (nearest, any, every hit) stays its own, and it
// must take them in lane order to keep the list order of the leaf.
#pragma once

#include <cstdint>
#include <emmintrin.h>
#include <tmmintrin.h>

#include "kdtree/kd_block.h"
#include "qelr.h"

struct TriangleGroup4 {
  const qelrTriangleAccel* record[4];
  int32_t index[4];
  int32_t count;  // lanes from `count` on hold the empty record
};

struct TriangleGroupCrossing4 {
  __m128 inside;  // usable records whose P, Q and R agree in sign (a NaN fails)
  __m128 D, T, P, Q;
};

namespace triangle_group_detail {

// An all-zero record: `axes` 0 marks it unusable, so a padding lane never
// passes.
inline const qelrTriangleAccel kEmptyRecord = {};

// pshufb control that moves float number axis[j] of a vector into lane j.
inline __m128i AxisPicker(__m128i axis) {
  const __m128i firstByte = _mm_slli_epi32(axis, 2);
  const __m128i spread =
      _mm_shuffle_epi8(firstByte, _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12));
  return _mm_add_epi8(spread, _mm_setr_epi8(0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3));
}

inline __m128 PickAxis(__m128 xyz, __m128i picker) {
  return _mm_castsi128_ps(_mm_shuffle_epi8(_mm_castps_si128(xyz), picker));
}

}  // namespace triangle_group_detail

// Calls visit(group) for the leaf's triangles four at a time, in list
// order; the last group may be short.  Empty leaves make no call.
template <class VisitGroup>
inline void ForEachLeafGroup4(const qelrKDNode* leaf, const qelrTriangleAccel* accel, VisitGroup&& visit) {
  TriangleGroup4 group;
  group.count = 0;
  ForEachLeafTriangle(leaf, [&](int32_t index) {
    group.record[group.count] = accel + index;
    group.index[group.count] = index;
    if (++group.count == 4) {
      visit(group);
      group.count = 0;
    }
    return false;
  });
  if (group.count == 0) return;
  for (int32_t j = group.count; j < 4; ++j) group.record[j] = &triangle_group_detail::kEmptyRecord;
  visit(group);
}

// `origin` and `direction` hold x, y, z in lanes 0-2 (lane 3 is not read
// by a usable record).
inline TriangleGroupCrossing4 CrossTriangleGroup4(const TriangleGroup4& g, __m128 origin, __m128 direction) {
  using namespace triangle_group_detail;
  const qelrTriangleAccel* const* r = g.record;
  // Rows of the four records, turned into one vector per field.
  auto words = [&](int32_t record, int32_t first) {
    return _mm_loadu_ps(reinterpret_cast<const float*>(r[record]) + first);
  };
  __m128 a0 = words(0, 0), a1 = words(1, 0), a2 = words(2, 0), a3 = words(3, 0);
  _MM_TRANSPOSE4_PS(a0, a1, a2, a3);
  const __m128i axes = _mm_castps_si128(a0);
  const __m128 normalU = a1, pointK = a2, normalW = a3;
  __m128 b0 = words(0, 4), b1 = words(1, 4), b2 = words(2, 4), b3 = words(3, 4);
  _MM_TRANSPOSE4_PS(b0, b1, b2, b3);
  const __m128 pointU = b0, pointW = b1, edge2U = b2, edge2W = b3;
  auto lastTwo = [&](int32_t a, int32_t b) {  // words 8-9, no read past the record
    const __m128 low = _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&r[a]->edge1U));
    return _mm_loadh_pi(low, reinterpret_cast<const __m64*>(&r[b]->edge1U));
  };
  const __m128 edge1Of01 = lastTwo(0, 1), edge1Of23 = lastTwo(2, 3);
  const __m128 edge1U = _mm_shuffle_ps(edge1Of01, edge1Of23, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 edge1W = _mm_shuffle_ps(edge1Of01, edge1Of23, _MM_SHUFFLE(3, 1, 3, 1));

  // Each lane's axes: bits 0-1 w, bits 2-3 u, bits 4-5 k.
  const __m128i three = _mm_set1_epi32(3);
  const __m128i pickK = AxisPicker(_mm_and_si128(_mm_srli_epi32(axes, 4), three));
  const __m128i pickU = AxisPicker(_mm_and_si128(_mm_srli_epi32(axes, 2), three));
  const __m128i pickW = AxisPicker(_mm_and_si128(axes, three));
  const __m128 du = PickAxis(direction, pickU), dw = PickAxis(direction, pickW), dk = PickAxis(direction, pickK);
  const __m128 ou = PickAxis(origin, pickU), ow = PickAxis(origin, pickW), ok = PickAxis(origin, pickK);

  TriangleGroupCrossing4 c;
  c.D = _mm_add_ps(_mm_add_ps(_mm_mul_ps(normalU, du), _mm_mul_ps(normalW, dw)), dk);
  const __m128 pu = _mm_sub_ps(pointU, ou);
  const __m128 pw = _mm_sub_ps(pointW, ow);
  c.T = _mm_sub_ps(_mm_add_ps(_mm_add_ps(pointK, _mm_mul_ps(normalU, pu)), _mm_mul_ps(normalW, pw)), ok);
  const __m128 xu = _mm_sub_ps(_mm_mul_ps(du, c.T), _mm_mul_ps(pu, c.D));
  const __m128 xw = _mm_sub_ps(_mm_mul_ps(dw, c.T), _mm_mul_ps(pw, c.D));
  c.P = _mm_sub_ps(_mm_mul_ps(edge2W, xu), _mm_mul_ps(edge2U, xw));
  c.Q = _mm_sub_ps(_mm_mul_ps(edge1U, xw), _mm_mul_ps(edge1W, xu));
  const __m128 R = _mm_sub_ps(_mm_sub_ps(c.D, c.P), c.Q);
  const __m128 zero = _mm_setzero_ps();
  const __m128 usable = _mm_castsi128_ps(
      _mm_xor_si128(_mm_cmpeq_epi32(axes, _mm_setzero_si128()), _mm_set1_epi32(-1)));
  const __m128 signsAgree =
      _mm_and_ps(_mm_and_ps(_mm_cmpge_ps(_mm_mul_ps(R, c.P), zero), _mm_cmpge_ps(_mm_mul_ps(c.P, c.Q), zero)),
                 _mm_cmpge_ps(_mm_mul_ps(R, c.Q), zero));
  c.inside = _mm_and_ps(usable, signsAgree);
  return c;
}
