// Nearest hit of each ray by the single-ray path (true divisions, the split
// epsilon).  Works for any block.
//
// Every ray gets exactly its own single-ray walk and tests, so the order in
// which rays are taken does not show in the results.  To share the node
// visits, the rays of each 4 by 4 square of the block whose near children
// agree walk together in the lanes of WalkSingleRayLanes; a ray with no
// such partner walks alone.
#include "raycast/intersect_eye_paths.h"

#include <emmintrin.h>

#include "raycast/clip_single.h"
#include "raycast/eye_lone_ray.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_single.h"
#include "raycast/walk_single_lanes.h"

namespace {

// A group is a 4 by 4 square of the block: four vectors, each a 2 by 2
// square of rays.
constexpr int32_t kVectors = 4;
constexpr int32_t kLanes = 4 * kVectors;

// Rays in lanes, each with its own best; a lane outside the leaf's lanes
// takes nothing.  A lane takes a triangle if its ray crosses inside it and
// its t lies strictly between 0.0 and the lane's best so far, so on a tie
// the earlier triangle stays.
struct EyeLanes {
  const qelrTriangleAccel* accel;
  Rays4 rays[kVectors];
  __m128 best[kVectors], hitU[kVectors], hitV[kVectors];
  __m128 triangle[kVectors];  // indices, as bits
  __m128 taken[kVectors];     // lanes that took a triangle

  void VisitLeaf(const qelrKDNode* leaf, int32_t laneBits) {
    if (IsEmptyListLeaf(leaf)) return;
    ForEachLeafTriangle(leaf, [&](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      const TriangleRecord4 record(a);
      for (int32_t v = 0; v < kVectors; ++v) {
        const int32_t bits = (laneBits >> (4 * v)) & 15;
        if (bits == 0) continue;
        const SingleCrossing4 c = CrossTriangleSingle4(record, rays[v]);
        const __m128 inside = _mm_and_ps(LaneMaskFromBits(bits), c.inside);
        if (_mm_movemask_ps(inside) == 0) continue;  // most triangles: no division
        const __m128 t = _mm_div_ps(c.T, c.D);
        const __m128 accept =
            _mm_and_ps(inside, _mm_and_ps(_mm_cmpgt_ps(best[v], t), _mm_cmpgt_ps(t, _mm_setzero_ps())));
        if (_mm_movemask_ps(accept) == 0) continue;
        best[v] = Select(accept, t, best[v]);
        hitU[v] = Select(accept, _mm_div_ps(c.P, c.D), hitU[v]);
        hitV[v] = Select(accept, _mm_div_ps(c.Q, c.D), hitV[v]);
        triangle[v] = Select(accept, _mm_castsi128_ps(_mm_set1_epi32(index)), triangle[v]);
        taken[v] = _mm_or_ps(taken[v], accept);
      }
      return false;
    });
  }
  __m128 Best(int32_t v) const { return best[v]; }
};

// The planes of a call, and the rays of one group in its lanes.
struct EyeBlock {
  const float* eye;
  const float* const* direction;
  float* dist;
  float* const* hit;
  int32_t* triangle;
  const qelrSceneContext* context;
};

struct RayGroup {
  int64_t ray[kLanes];  // ray index of each lane
  int32_t count;   // lanes in use, from lane 0
};

struct ClippedGroup {
  ClippedRays4 part[kVectors];
  int32_t live;
  int32_t NearCode(int32_t j) const { return part[j / 4].NearCode(j % 4); }
};

// The rays of `laneBits`, which share their near children, in the lanes.
void WalkTogether(const EyeBlock& b, const RayGroup& g, const ClippedGroup& r, int32_t laneBits) {
  EyeLanes h;
  h.accel = b.context->pAccel;
  __m128 inverse[kVectors][3], tmin[kVectors], tmax[kVectors];
  for (int32_t v = 0; v < kVectors; ++v) {
    for (int32_t k = 0; k < 3; ++k) {
      h.rays[v].origin[k] = _mm_set1_ps(b.eye[k]);
      h.rays[v].direction[k] = r.part[v].direction[k];
      inverse[v][k] = r.part[v].inverse[k];
    }
    tmin[v] = r.part[v].tmin;
    tmax[v] = r.part[v].tmax;
    alignas(16) float best[4];
    for (int32_t j = 0; j < 4; ++j) best[j] = ((laneBits >> (4 * v + j)) & 1) ? b.dist[g.ray[4 * v + j]] : 0.0f;
    h.best[v] = _mm_load_ps(best);
    h.hitU[v] = h.hitV[v] = h.triangle[v] = h.taken[v] = _mm_setzero_ps();
  }
  const int32_t lead = __builtin_ctz(static_cast<uint32_t>(laneBits));
  const ClippedRays4& leadPart = r.part[lead / 4];
  const int32_t nearChild[3] = {(leadPart.upperFirst[0] >> (lead % 4)) & 1, (leadPart.upperFirst[1] >> (lead % 4)) & 1,
                                (leadPart.upperFirst[2] >> (lead % 4)) & 1};
  WalkSingleRayLanes<kVectors>(b.context->pRootNode, nearChild, b.eye, inverse, tmin, tmax, laneBits, kSplitEpsilon, h);

  // A ray that took a triangle gets its results; the others keep theirs.
  for (int32_t v = 0; v < kVectors; ++v) {
    alignas(16) float best[4], hitU[4], hitV[4];
    alignas(16) int32_t index[4];
    _mm_store_ps(best, h.best[v]);
    _mm_store_ps(hitU, h.hitU[v]);
    _mm_store_ps(hitV, h.hitV[v]);
    _mm_store_si128(reinterpret_cast<__m128i*>(index), _mm_castps_si128(h.triangle[v]));
    const int32_t taken = _mm_movemask_ps(h.taken[v]) & (laneBits >> (4 * v));
    for (int32_t j = 0; j < 4; ++j) {
      if (((taken >> j) & 1) == 0) continue;
      const int64_t i = g.ray[4 * v + j];
      b.dist[i] = best[j];
      b.hit[0][i] = hitU[j];
      b.hit[1][i] = hitV[j];
      b.triangle[i] = index[j];
    }
  }
}

// Lane j of the clipped rays as a ray of its own.
void WalkLaneAlone(const EyeBlock& b, const RayGroup& g, const ClippedGroup& cg, int32_t lane) {
  const ClippedRays4& r = cg.part[lane / 4];
  const int32_t j = lane % 4;
  alignas(16) float lanes[8][4];
  for (int32_t k = 0; k < 3; ++k) {
    _mm_store_ps(lanes[k], r.direction[k]);
    _mm_store_ps(lanes[3 + k], r.inverse[k]);
  }
  _mm_store_ps(lanes[6], r.tmin);
  _mm_store_ps(lanes[7], r.tmax);
  SingleRay ray;
  for (int32_t k = 0; k < 3; ++k) {
    ray.origin[k] = b.eye[k];
    ray.direction[k] = lanes[k][j];
    ray.inverse[k] = lanes[3 + k][j];
    ray.nearChild[k] = (r.upperFirst[k] >> j) & 1;
  }
  const int64_t i = g.ray[lane];
  TraceLoneEyeRay(b.context, ray, lanes[6][j], lanes[7][j], b.dist + i, b.hit[0] + i, b.hit[1] + i, b.triangle + i);
}

// Every ray of the group gets exactly its own walk.
void TraceGroup(const EyeBlock& b, const float lower[3], const float upper[3], const RayGroup& g) {
  ClippedGroup cg;
  cg.live = 0;
  for (int32_t v = 0; v < kVectors; ++v) {
    // Each ray clipped as by itself; a ray whose interval is empty is done.
    alignas(16) float lane[4][4] = {};  // x, y, z, limit; unused lanes 0.0
    int32_t count = 0;
    for (int32_t j = 0; j < 4 && 4 * v + j < g.count; ++j, ++count) {
      const int64_t i = g.ray[4 * v + j];
      b.triangle[i] = -1;
      for (int32_t k = 0; k < 3; ++k) lane[k][j] = b.direction[k][i];
      lane[3][j] = b.dist[i];
    }
    ClippedRays4& r = cg.part[v];
    for (int32_t k = 0; k < 3; ++k) r.direction[k] = _mm_load_ps(lane[k]);
    r.tmin = _mm_setzero_ps();
    r.tmax = _mm_load_ps(lane[3]);
    ClipSingleRays4FromEye(lower, upper, (1 << count) - 1, r);
    r.tmax = _mm_add_ps(r.tmax, _mm_set1_ps(kIntervalPad));
    cg.live |= r.live << (4 * v);
  }

  // Rays with the same near children walk together.
  int32_t live = cg.live;
  while (live != 0) {
    const int32_t lead = __builtin_ctz(static_cast<uint32_t>(live));
    int32_t lanes = 0;
    for (int32_t j = lead; j < g.count; ++j)
      if (((live >> j) & 1) != 0 && cg.NearCode(j) == cg.NearCode(lead)) lanes |= 1 << j;
    live &= ~lanes;
    if (lanes == (1 << lead))
      WalkLaneAlone(b, g, cg, lead);
    else
      WalkTogether(b, g, cg, lanes);
  }
}

}  // namespace

void IntersectEyeSingleRays(const float* pEye, const float* const pDirection[3], float* pDist,
                            float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                            qelrSize size) {
  const float* bound = pContext->pBound;
  float lower[3], upper[3];
  for (int32_t k = 0; k < 3; ++k) {
    lower[k] = bound[k] - pEye[k];
    upper[k] = bound[k + 3] - pEye[k];
  }
  const EyeBlock b{pEye, pDirection, pDist, pHit, pTriangle, pContext};
  // Groups of four 2 by 2 squares in a 4 by 4 square.
  for (int32_t row = 0; row < size.height; row += 4) {
    for (int32_t col = 0; col < size.width; col += 4) {
      RayGroup g;
      g.count = 0;
      for (int32_t sq = 0; sq < 4; ++sq) {
        const int32_t r0 = row + 2 * (sq / 2), c0 = col + 2 * (sq % 2);
        for (int32_t dy = 0; dy < 2 && r0 + dy < size.height; ++dy)
          for (int32_t dx = 0; dx < 2 && c0 + dx < size.width; ++dx)
            g.ray[g.count++] = static_cast<int64_t>(r0 + dy) * size.width + c0 + dx;
      }
      TraceGroup(b, lower, upper, g);
    }
  }
}
