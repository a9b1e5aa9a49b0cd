// Box clip of four rays for the packet kernels.
#pragma once

#include <emmintrin.h>

#include "raycast/ray_math.h"
#include "raycast/triangle_test.h"

// Clips each lane's [tmin, tmax] to the box on all three axes, x, y, z in
// order, and forms the inverse directions.  A near-zero component is
// replaced by a small positive one before it is inverted, so every axis is
// clipped and no inverse is infinite; the triangle test keeps the true
// direction.
inline void ClipRays4ToBox(const float* box, const Rays4& rays, __m128& tmin, __m128& tmax, __m128 inverse[3]) {
  const __m128 absMask = _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF));
  for (int32_t k = 0; k < 3; ++k) {
    const __m128 d = rays.direction[k];
    const __m128 tiny = _mm_cmple_ps(_mm_and_ps(d, absMask), _mm_set1_ps(kTinyDirection));
    inverse[k] = RcpNewton(Select(tiny, _mm_set1_ps(kPacketZeroDirection), d));
    const __m128 t1 = _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(box[k]), rays.origin[k]), inverse[k]);
    const __m128 t2 = _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(box[k + 3]), rays.origin[k]), inverse[k]);
    tmin = _mm_max_ps(tmin, _mm_min_ps(t1, t2));
    tmax = _mm_min_ps(tmax, _mm_max_ps(t1, t2));
  }
}
