// The axis tables of a resize: for each destination coordinate of a box,
// the source sample it reads and, for the interpolating codes, the fraction
// of the way to the next one.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "frame/qelr_internal.h"

// One axis of a box: destination coordinates first .. first + count - 1.
struct AxisMap {
  int32_t first;
  int32_t count;
  double inv;  // 1 / factor
  double off;  // (0 - shift) / factor
};

inline int32_t TruncateToInt(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }

// Offsets are products in 32-bit arithmetic, wrapping like the tables' type.
inline int32_t WrapMul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Nearest: sample k covers [k, k + 1), and 1e-10 sends a position that
// falls on a boundary to the lower sample.  Writes trunc(pos) * multiplier.
// The v8 build converts two coordinates at a time in packed doubles, the s8
// build one at a time; the values are the same.
template <Variant V>
void BuildNearestAxis(const AxisMap& m, int32_t multiplier, int32_t* out) {
  const double off = m.off - 1e-10;
  int32_t j = 0;
  if constexpr (V == Variant::V8) {
    const __m128d half = _mm_set1_pd(0.5), inv = _mm_set1_pd(m.inv), shift = _mm_set1_pd(off);
    for (; j + 2 <= m.count; j += 2) {
      const __m128d i = _mm_cvtepi32_pd(_mm_setr_epi32(m.first + j, m.first + j + 1, 0, 0));
      const __m128i index = _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(_mm_add_pd(i, half), inv), shift));
      out[j] = WrapMul(_mm_cvtsi128_si32(index), multiplier);
      out[j + 1] = WrapMul(_mm_cvtsi128_si32(_mm_srli_si128(index, 4)), multiplier);
    }
  }
  for (; j < m.count; ++j) {
    const double pos = (double(m.first + j) + 0.5) * m.inv + off;
    out[j] = WrapMul(TruncateToInt(pos), multiplier);
  }
}

// Linear and cubic: sample k has its centre at k.  Calls
// visit(j, floor(pos), pos - floor(pos), pos) for each coordinate of the
// axis, in order; `off - 0.5` is formed once, ahead of the loop.
template <Variant V, typename Visit>
void ForEachSourcePosition(const AxisMap& m, Visit visit) {
  const double off = m.off - 0.5;
  int32_t j = 0;
  if constexpr (V == Variant::V8) {
    const __m128d half = _mm_set1_pd(0.5), inv = _mm_set1_pd(m.inv), shift = _mm_set1_pd(off);
    const __m128d one = _mm_set1_pd(1.0);
    for (; j + 2 <= m.count; j += 2) {
      const __m128d i = _mm_cvtepi32_pd(_mm_setr_epi32(m.first + j, m.first + j + 1, 0, 0));
      const __m128d pos = _mm_add_pd(_mm_mul_pd(_mm_add_pd(i, half), inv), shift);
      // floor: truncate, then step down where truncation went up.
      const __m128d cut = _mm_cvtepi32_pd(_mm_cvttpd_epi32(pos));
      const __m128d floor = _mm_sub_pd(cut, _mm_and_pd(_mm_cmpgt_pd(cut, pos), one));
      const __m128d fraction = _mm_sub_pd(pos, floor);
      const __m128i index = _mm_cvttpd_epi32(floor);
      double p[2], f[2];
      _mm_storeu_pd(p, pos);
      _mm_storeu_pd(f, fraction);
      visit(j, _mm_cvtsi128_si32(index), f[0], p[0]);
      visit(j + 1, _mm_cvtsi128_si32(_mm_srli_si128(index, 4)), f[1], p[1]);
    }
  }
  for (; j < m.count; ++j) {
    const double pos = (double(m.first + j) + 0.5) * m.inv + off;
    double floor = double(TruncateToInt(pos));
    if (floor > pos) floor -= 1.0;
    visit(j, TruncateToInt(floor), pos - floor, pos);
  }
}

// Destination samples before the source's first centre (pos < 0) and from
// its last centre on (pos >= size - 1).  Positions grow with the
// coordinate, so the low samples come first and the high ones last.
struct LinearBands {
  int32_t low;
  int32_t high;
};

// Fills `offsets` with floor(pos) * multiplier and hands each fraction to
// `storeWeight(j, fraction)`; counts the bands on the way.
template <Variant V, typename StoreWeight>
LinearBands BuildLinearAxis(const AxisMap& m, int32_t sourceExtent, int32_t multiplier,
                            int32_t* offsets, StoreWeight storeWeight) {
  LinearBands bands{0, 0};
  const double lastCentre = double(sourceExtent - 1);
  ForEachSourcePosition<V>(m, [&](int32_t j, int32_t index, double fraction, double pos) {
    offsets[j] = WrapMul(index, multiplier);
    storeWeight(j, fraction);
    if (pos < 0.0) ++bands.low;
    if (pos >= lastCentre) ++bands.high;
  });
  return bands;
}
