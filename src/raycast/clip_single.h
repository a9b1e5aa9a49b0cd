// Box clip of a single ray that starts at the eye, shared by the nearest-hit
// and multiple-hit searches.
#pragma once

#include <cmath>
#include <cstdint>

#include "raycast/ray_math.h"
#include "raycast/walk_single.h"

// Clips [tmin, tmax] to the box, given relative to the origin by its lower
// and upper corners, and fills the ray's inverses and near children.  A
// near-zero component is not clipped at all: its huge inverse stands in for
// infinity in the split tests.  Returns false when the interval is empty.
inline bool ClipSingleRayFromEye(const float lower[3], const float upper[3], SingleRay& ray,
                                 float& tmin, float& tmax) {
  for (int32_t k = 0; k < 3; ++k) {
    const float d = ray.direction[k];
    if (std::fabs(d) <= kTinyDirection) {
      ray.inverse[k] = kSingleZeroInverse;
      ray.nearChild[k] = 0;
      continue;
    }
    const float t1 = upper[k] / d;
    const float t2 = lower[k] / d;
    ray.inverse[k] = 1.0f / d;
    ray.nearChild[k] = (0.0f <= d) ? 0 : 1;  // a NaN takes the upper child first
    tmin = MaxF(tmin, MinF(t1, t2));
    tmax = MinF(tmax, MaxF(t1, t2));
    if (tmin > tmax) return false;
  }
  return true;
}
