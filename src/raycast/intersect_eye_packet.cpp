// Nearest hit of each ray, four coherent rays at a time.
#include "raycast/clip_packet4.h"
#include "raycast/intersect_eye_paths.h"
#include "raycast/packet_tiles.h"
#include "raycast/ray_math.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_packet4.h"

namespace {

// What the eye kernel keeps for its four lanes while it walks.  Lanes
// outside the kernel's mask have best 0.0 and so can accept nothing.
struct EyeHits4 {
  const qelrTriangleAccel* accel;
  Rays4 rays;
  __m128 best;
  __m128 hitU;
  __m128 hitV;
  __m128 triangle;  // indices, as bits

  // Every triangle is tested on all four lanes, active or not.
  bool VisitLeaf(const qelrKDNode* leaf, __m128) {
    ForEachLeafTriangle(leaf, [this](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      TriangleCrossing4 c;
      if (!CrossTriangle4(a, rays, c)) return false;
      const __m128 accept = _mm_and_ps(
          c.pass, _mm_and_ps(_mm_cmplt_ps(c.t, best), _mm_cmplt_ps(_mm_setzero_ps(), c.t)));
      best = Select(accept, c.t, best);
      hitU = Select(accept, _mm_mul_ps(c.P, c.inverseD), hitU);
      hitV = Select(accept, _mm_mul_ps(c.Q, c.inverseD), hitV);
      triangle = Select(accept, _mm_castsi128_ps(_mm_set1_epi32(index)), triangle);
      return false;
    });
    return false;
  }

  // A lane goes on to the next far child only if that child could still
  // hold something nearer than its best hit.
  __m128 ResumeLanes(__m128 tmax) const { return _mm_cmplt_ps(tmax, best); }
  void AfterPop(__m128&, __m128&) const {}
};

struct EyeBlock {
  const float* eye;
  const float* const* direction;
  float* dist;
  float* const* hit;
  int32_t* triangle;
  const qelrSceneContext* context;
};

// One row of a tile, the lanes of `laneBits`, all of the octant `octant`.
void EyeKernel4(const EyeBlock& b, int64_t at, int32_t laneBits, int32_t octant) {
  const __m128 laneMask = LaneMaskFromBits(laneBits);
  EyeHits4 h;
  h.accel = b.context->pAccel;
  for (int32_t k = 0; k < 3; ++k) {
    h.rays.origin[k] = _mm_set1_ps(b.eye[k]);
    h.rays.direction[k] = _mm_load_ps(b.direction[k] + at);
  }

  // Clip to the box.  Lanes outside the mask start from an empty interval,
  // so they never become active.
  const __m128 entryDist = _mm_load_ps(b.dist + at);
  __m128 tmin = _mm_setzero_ps();
  __m128 tmax = _mm_and_ps(entryDist, laneMask);
  __m128 inverse[3];
  ClipRays4ToBox(b.context->pBound, h.rays, tmin, tmax, inverse);
  const __m128 active = _mm_cmplt_ps(tmin, tmax);
  if (_mm_movemask_ps(active) == 0) return;

  // Lanes outside the mask get best 0.0: they can accept nothing.
  h.best = _mm_and_ps(entryDist, laneMask);
  h.triangle = _mm_and_ps(_mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(b.triangle + at))), laneMask);
  h.hitU = _mm_setzero_ps();
  h.hitV = _mm_setzero_ps();
  tmax = _mm_add_ps(tmax, _mm_set1_ps(kIntervalPad));

  WalkPacket4(b.context->pRootNode, octant, h.rays.origin, inverse, tmin, tmax, active, h);

  // Lanes in the mask take the kernel's results, a miss included; the
  // others keep all four of their values.
  float* hit0 = b.hit[0] + at;
  float* hit1 = b.hit[1] + at;
  __m128i* tri = reinterpret_cast<__m128i*>(b.triangle + at);
  _mm_store_ps(b.dist + at, Select(laneMask, h.best, entryDist));
  _mm_store_ps(hit0, Select(laneMask, h.hitU, _mm_load_ps(hit0)));
  _mm_store_ps(hit1, Select(laneMask, h.hitV, _mm_load_ps(hit1)));
  _mm_store_si128(tri, _mm_castps_si128(Select(laneMask, h.triangle, _mm_castsi128_ps(_mm_load_si128(tri)))));
}

}  // namespace

void IntersectEyePackets(const float* pEye, const float* const pDirection[3], float* pDist,
                         float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                         qelrSize size) {
  const int64_t rayCount = static_cast<int64_t>(size.width) * size.height;
  for (int64_t i = 0; i < rayCount; ++i) pTriangle[i] = -1;

  const EyeBlock b{pEye, pDirection, pDist, pHit, pTriangle, pContext};

  for (int32_t tileRow = 0; tileRow < size.height; tileRow += 4) {
    for (int32_t tileCol = 0; tileCol < size.width; tileCol += 4) {
      const int64_t tileStart = static_cast<int64_t>(tileRow) * size.width + tileCol;
      if (!TileHasPositiveLimit(pDist + tileStart, size.width)) continue;
      const TileOctants g = GroupTileByOctant(pDirection, tileStart, size.width);
      for (int32_t code = g.lowest; code <= g.highest; ++code)
        for (int32_t row = 0; row < 4; ++row)
          if (g.rowLanes[code][row] != 0)
            EyeKernel4(b, tileStart + static_cast<int64_t>(row) * size.width, g.rowLanes[code][row], code);
    }
  }
}
