// The nearest hit of one eye ray walked by itself.
#include "raycast/eye_lone_ray.h"

#include <emmintrin.h>

#include "raycast/triangle_group4.h"

namespace {

// A triangle is taken, as everywhere in the single-ray path, if the ray
// crosses inside it and its t lies strictly between 0.0 and the best so
// far, so on a tie the earlier triangle stays.
struct EyeRay {
  const qelrTriangleAccel* accel;
  __m128 origin, direction;  // x, y, z, 0
  float* dist;               // this ray's entries of the planes
  float* hitU;
  float* hitV;
  int32_t* triangle;
};

// One ray alone: the leaf's triangles in list order, four to a group.
// Returns the new best distance.  Out of line, so that the walk keeps its
// registers.
__attribute__((noinline)) float NearestInLeaf(const EyeRay& ray, const qelrKDNode* leaf, float best) {
  ForEachLeafGroup4(leaf, ray.accel, [&](const TriangleGroup4& group) {
    const TriangleGroupCrossing4 c = CrossTriangleGroup4(group, ray.origin, ray.direction);
    const __m128 t = _mm_div_ps(c.T, c.D);
    // Lanes that could be taken against the best at the group's start; the
    // scan below takes them in list order against the best as it shrinks.
    int32_t lanes = _mm_movemask_ps(
        _mm_and_ps(c.inside, _mm_and_ps(_mm_cmpgt_ps(_mm_set1_ps(best), t), _mm_cmpgt_ps(t, _mm_setzero_ps()))));
    if (lanes == 0) return;
    alignas(16) float tLane[4], P[4], Q[4], D[4];
    _mm_store_ps(tLane, t);
    int32_t taken = -1;
    for (; lanes != 0; lanes &= lanes - 1) {
      const int32_t j = __builtin_ctz(static_cast<uint32_t>(lanes));
      if (best > tLane[j]) {
        best = tLane[j];
        taken = j;
      }
    }
    _mm_store_ps(P, c.P);
    _mm_store_ps(Q, c.Q);
    _mm_store_ps(D, c.D);
    *ray.dist = best;
    *ray.hitU = P[taken] / D[taken];
    *ray.hitV = Q[taken] / D[taken];
    *ray.triangle = group.index[taken];
  });
  return best;
}

}  // namespace

void TraceLoneEyeRay(const qelrSceneContext* context, const SingleRay& ray, float tmin, float tmax, float* dist,
                     float* hitU, float* hitV, int32_t* triangle) {
  const EyeRay eyeRay{context->pAccel,
                      _mm_setr_ps(ray.origin[0], ray.origin[1], ray.origin[2], 0.0f),
                      _mm_setr_ps(ray.direction[0], ray.direction[1], ray.direction[2], 0.0f),
                      dist,
                      hitU,
                      hitV,
                      triangle};
  float best = *dist;  // the limit, lowered by every hit
  WalkSingleRay(context->pRootNode, ray, tmin, tmax, kSplitEpsilon, best, [&](const qelrKDNode* leaf) {
    if (!IsEmptyListLeaf(leaf)) best = NearestInLeaf(eyeRay, leaf, best);
    return false;
  });
}

