// Box clip of single rays that start at the eye, shared by the nearest-hit
// and multiple-hit searches.  Four rays are clipped at once, each lane doing
// exactly the single-ray clip of its own ray.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "raycast/ray_math.h"

// Up to four rays of a block, clipped to the box.
struct ClippedRays4 {
  __m128 direction[3];
  __m128 inverse[3];
  __m128 tmin, tmax;
  int32_t upperFirst[3];  // per axis, bit j: ray j's near child is the upper one
  int32_t live;           // bit j: ray j's interval is not empty

  // The near children of ray j as a code of three bits (bit k: axis k).
  int32_t NearCode(int32_t j) const {
    return ((upperFirst[0] >> j) & 1) | (((upperFirst[1] >> j) & 1) << 1) | (((upperFirst[2] >> j) & 1) << 2);
  }
};

// Clips [tmin, tmax] of the rays of `laneBits` to the box, given relative to
// the origin by its lower and upper corners, axis by axis in the order x,
// y, z, and forms their inverses and near children.  A near-zero component
// is not clipped at all: its huge inverse stands in for infinity in the
// split tests, and its lower child comes first.  A ray is dropped from
// `live` as soon as an axis leaves its interval empty.
inline void ClipSingleRays4FromEye(const float lower[3], const float upper[3], int32_t laneBits, ClippedRays4& r) {
  const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
  const __m128 allOnes = _mm_castsi128_ps(_mm_set1_epi32(-1));
  int32_t empty = 0;
  for (int32_t k = 0; k < 3; ++k) {
    const __m128 d = r.direction[k];
    const __m128 tiny = _mm_cmple_ps(_mm_and_ps(d, absMask), _mm_set1_ps(kTinyDirection));
    // True divisions, as the single ray makes them; a tiny lane's are not used.
    const __m128 t1 = _mm_div_ps(_mm_set1_ps(upper[k]), d);
    const __m128 t2 = _mm_div_ps(_mm_set1_ps(lower[k]), d);
    r.inverse[k] = Select(tiny, _mm_set1_ps(kSingleZeroInverse), _mm_div_ps(_mm_set1_ps(1.0f), d));
    // 0.0 <= d fails for a negative or NaN component: the upper child first.
    r.upperFirst[k] = _mm_movemask_ps(_mm_andnot_ps(tiny, _mm_xor_ps(_mm_cmple_ps(_mm_setzero_ps(), d), allOnes)));
    r.tmin = Select(tiny, r.tmin, _mm_max_ps(r.tmin, _mm_min_ps(t1, t2)));
    r.tmax = Select(tiny, r.tmax, _mm_min_ps(r.tmax, _mm_max_ps(t1, t2)));
    empty |= _mm_movemask_ps(_mm_andnot_ps(tiny, _mm_cmpgt_ps(r.tmin, r.tmax)));
  }
  r.live = laneBits & ~empty;
}
