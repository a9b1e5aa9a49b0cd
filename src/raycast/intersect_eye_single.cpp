// Nearest hit of each ray, one ray at a time.  Works for any block.
#include "raycast/intersect_eye_paths.h"

#include <emmintrin.h>

#include "raycast/clip_single.h"
#include "raycast/triangle_group4.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_single.h"

namespace {

struct EyeRay {
  const qelrTriangleAccel* accel;
  __m128 origin, direction;  // x, y, z, 0
  float* dist;               // this ray's entries of the planes
  float* hitU;
  float* hitV;
  int32_t* triangle;
};

// Tests the leaf's triangles in list order, four to a group, and returns the
// new best distance.  A triangle is taken if the ray crosses inside it and
// its t lies strictly between 0.0 and the best so far; on a tie the earlier
// triangle stays.  Out of line, so that the walk keeps its registers.
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

void IntersectEyeSingleRays(const float* pEye, const float* const pDirection[3], float* pDist,
                            float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                            int64_t rayCount) {
  const float* bound = pContext->pBound;
  const qelrKDNode* root = pContext->pRootNode;
  float lower[3], upper[3];
  for (int32_t k = 0; k < 3; ++k) {
    lower[k] = bound[k] - pEye[k];
    upper[k] = bound[k + 3] - pEye[k];
  }
  const __m128 origin = _mm_setr_ps(pEye[0], pEye[1], pEye[2], 0.0f);

  for (int64_t i = 0; i < rayCount; ++i) {
    pTriangle[i] = -1;
    SingleRay ray;
    for (int32_t k = 0; k < 3; ++k) {
      ray.origin[k] = pEye[k];
      ray.direction[k] = pDirection[k][i];
    }
    float tmin = 0.0f;
    float tmax = pDist[i];
    if (!ClipSingleRayFromEye(lower, upper, ray, tmin, tmax)) continue;
    tmax += kIntervalPad;

    const EyeRay eyeRay{pContext->pAccel,
                        origin,
                        _mm_setr_ps(ray.direction[0], ray.direction[1], ray.direction[2], 0.0f),
                        pDist + i,
                        pHit[0] + i,
                        pHit[1] + i,
                        pTriangle + i};
    float best = pDist[i];  // the limit, lowered by every hit
    WalkSingleRay(root, ray, tmin, tmax, kSplitEpsilon, best, [&](const qelrKDNode* leaf) {
      if (!IsEmptyListLeaf(leaf)) best = NearestInLeaf(eyeRay, leaf, best);
      return false;
    });
  }
}
