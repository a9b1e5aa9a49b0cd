// Nearest hit of each ray, one ray at a time.  Works for any block.
#include "raycast/intersect_eye_paths.h"

#include "raycast/clip_single.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_single.h"

void IntersectEyeSingleRays(const float* pEye, const float* const pDirection[3], float* pDist,
                            float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                            int64_t rayCount) {
  const float* bound = pContext->pBound;
  const qelrTriangleAccel* accel = pContext->pAccel;
  const qelrKDNode* root = pContext->pRootNode;
  float lower[3], upper[3];
  for (int32_t k = 0; k < 3; ++k) {
    lower[k] = bound[k] - pEye[k];
    upper[k] = bound[k + 3] - pEye[k];
  }

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

    // The limit is read afresh for every triangle: it shrinks with each hit.
    auto testTriangle = [&](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      const TriangleCrossing c = CrossTriangle(a, ray.origin, ray.direction);
      if (!CrossesInside(c)) return false;
      const float t = c.T / c.D;
      if (pDist[i] > t && t > 0.0f) {
        pDist[i] = t;
        pHit[0][i] = c.P / c.D;
        pHit[1][i] = c.Q / c.D;
        pTriangle[i] = index;
      }
      return false;
    };
    WalkSingleRay(root, ray, tmin, tmax, kSplitEpsilon, pDist[i],
                  [&](const qelrKDNode* leaf) { return ForEachLeafTriangle(leaf, testTriangle); });
  }
}
