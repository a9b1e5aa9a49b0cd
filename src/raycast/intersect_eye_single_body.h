// Nearest hit of each ray by the single-ray path (true divisions, the split
// epsilon), written once for any lanes type (SseLanes, Avx2Lanes,
// Avx512Lanes); each form is built in a file of its own.  Works for any
// block.
//
// Every ray gets exactly its own single-ray walk and tests, so the order in
// which rays are taken does not show in the results.  To share the node
// visits, the rays of each 4 by 4 square of the block whose near children
// agree walk together in the lanes of WalkSingleRayLanes; a ray with no
// such partner walks alone.
#pragma once

#include <cstdint>
#include <cstring>
#include <emmintrin.h>

#include "raycast/clip_single.h"
#include "raycast/eye_lone_ray.h"
#include "raycast/ray_block.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_single.h"
#include "raycast/walk_single_lanes.h"

namespace eye_single_detail {
// Each form's file gets its own copy of these, built for its processor.
namespace {

// A group is a 4 by 4 square of the block, taken as four 2 by 2 squares.
constexpr int32_t kGroupLanes = 16;

// The rays of one group.
struct RayGroup {
  int64_t ray[kGroupLanes];  // ray index of each lane
  int32_t count;             // lanes in use, from lane 0
};

// Each 2 by 2 square clipped in four lanes.
struct ClippedGroup {
  ClippedRays4 part[4];
  int32_t live;
  int32_t NearCode(int32_t j) const { return part[j / 4].NearCode(j % 4); }
};

// Rays in lanes, each with its own best; a lane outside the leaf's lanes
// takes nothing.  A lane takes a triangle if its ray crosses inside it and
// its t lies strictly between 0.0 and the lane's best so far, so on a tie
// the earlier triangle stays.
template <class L>
struct EyeLanes {
  using V = typename L::V;
  using M = typename L::M;
  static constexpr int32_t kVectors = kGroupLanes / L::kLanes;
  static constexpr int32_t kVectorLanes = (1 << L::kLanes) - 1;

  const qelrTriangleAccel* accel;
  const float* eye;
  V direction[kVectors][3];
  V best[kVectors], hitU[kVectors], hitV[kVectors];
  V triangle[kVectors];  // indices, as bits
  int32_t taken = 0;     // lanes that took a triangle

  void VisitLeaf(const qelrKDNode* leaf, int32_t laneBits) {
    if (IsEmptyListLeaf(leaf)) return;
    ForEachLeafTriangle(leaf, [&](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      const TriangleFromEye<L> tri = SingleRayTriangle<L>(a, eye);
      const V zero = L::Zero();
      for (int32_t v = 0; v < kVectors; ++v) {
        const int32_t bits = (laneBits >> (L::kLanes * v)) & kVectorLanes;
        if (bits == 0) continue;
        const LaneCrossing<L> c = CrossTriangleSingleLanes(tri, direction[v]);
        const V D = c.D, P = c.P, Q = c.Q, R = c.R, T = tri.T;
        // R * P, P * Q and R * Q all at least 0 (a NaN fails).
        const M signsAgree = L::And(L::And(L::CmpGe(L::Mul(R, P), zero), L::CmpGe(L::Mul(P, Q), zero)),
                                    L::CmpGe(L::Mul(R, Q), zero));
        const M inside = L::And(L::MaskFromBits(bits), signsAgree);
        if (L::LaneBits(inside) == 0) continue;  // most triangles: no division
        const V t = L::Div(T, D);
        const M accept = L::And(inside, L::And(L::CmpGt(best[v], t), L::CmpGt(t, zero)));
        const int32_t acceptBits = L::LaneBits(accept);
        if (acceptBits == 0) continue;
        best[v] = L::Select(accept, t, best[v]);
        hitU[v] = L::Select(accept, L::Div(P, D), hitU[v]);
        hitV[v] = L::Select(accept, L::Div(Q, D), hitV[v]);
        triangle[v] = L::Select(accept, L::Index(index), triangle[v]);
        taken |= acceptBits << (L::kLanes * v);
      }
      return false;
    });
  }
  V Best(int32_t v) const { return best[v]; }
};

// The rays of `laneBits`, which share their near children, in the lanes.
template <class L>
void WalkTogether(const EyeBlock& b, const RayGroup& g, const ClippedGroup& r, int32_t laneBits) {
  using V = typename L::V;
  constexpr int32_t kVectors = EyeLanes<L>::kVectors;
  // The group's lanes side by side, to be loaded kLanes at a time.
  alignas(64) float direction[3][kGroupLanes], inverse[3][kGroupLanes], tmin[kGroupLanes], tmax[kGroupLanes];
  alignas(64) float best[kGroupLanes];
  for (int32_t part = 0; part < 4; ++part) {
    for (int32_t k = 0; k < 3; ++k) {
      _mm_store_ps(direction[k] + 4 * part, r.part[part].direction[k]);
      _mm_store_ps(inverse[k] + 4 * part, r.part[part].inverse[k]);
    }
    _mm_store_ps(tmin + 4 * part, r.part[part].tmin);
    _mm_store_ps(tmax + 4 * part, r.part[part].tmax);
  }
  for (int32_t j = 0; j < kGroupLanes; ++j) best[j] = ((laneBits >> j) & 1) ? b.dist[g.ray[j]] : 0.0f;

  EyeLanes<L> h;
  h.accel = b.context->pAccel;
  h.eye = b.eye;
  V inverseV[kVectors][3], tminV[kVectors], tmaxV[kVectors];
  for (int32_t v = 0; v < kVectors; ++v) {
    const int32_t at = L::kLanes * v;
    for (int32_t k = 0; k < 3; ++k) {
      h.direction[v][k] = L::Load(direction[k] + at);
      inverseV[v][k] = L::Load(inverse[k] + at);
    }
    tminV[v] = L::Load(tmin + at);
    tmaxV[v] = L::Load(tmax + at);
    h.best[v] = L::Load(best + at);
    h.hitU[v] = h.hitV[v] = h.triangle[v] = L::Zero();
  }
  const int32_t lead = __builtin_ctz(static_cast<uint32_t>(laneBits));
  const ClippedRays4& leadPart = r.part[lead / 4];
  const int32_t nearChild[3] = {(leadPart.upperFirst[0] >> (lead % 4)) & 1, (leadPart.upperFirst[1] >> (lead % 4)) & 1,
                                (leadPart.upperFirst[2] >> (lead % 4)) & 1};
  WalkSingleRayLanes<L, kVectors>(b.context->pRootNode, nearChild, b.eye, inverseV, tminV, tmaxV, laneBits,
                                  kSplitEpsilon, h);

  // A ray that took a triangle gets its results; the others keep theirs.
  const int32_t taken = h.taken & laneBits;
  if (taken == 0) return;
  alignas(64) float hitU[kGroupLanes], hitV[kGroupLanes], index[kGroupLanes];
  for (int32_t v = 0; v < kVectors; ++v) {
    const int32_t at = L::kLanes * v;
    L::Store(best + at, h.best[v]);
    L::Store(hitU + at, h.hitU[v]);
    L::Store(hitV + at, h.hitV[v]);
    L::Store(index + at, h.triangle[v]);
  }
  for (int32_t j = 0; j < kGroupLanes; ++j) {
    if (((taken >> j) & 1) == 0) continue;
    const int64_t i = g.ray[j];
    b.dist[i] = best[j];
    b.hit[0][i] = hitU[j];
    b.hit[1][i] = hitV[j];
    std::memcpy(b.triangle + i, index + j, sizeof(int32_t));
  }
}

// Lane j of the clipped rays as a ray of its own.
inline void WalkLaneAlone(const EyeBlock& b, const RayGroup& g, const ClippedGroup& cg, int32_t lane) {
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
template <class L>
void TraceGroup(const EyeBlock& b, const float lower[3], const float upper[3], const RayGroup& g) {
  ClippedGroup cg;
  cg.live = 0;
  for (int32_t v = 0; v < 4; ++v) {
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
      WalkTogether<L>(b, g, cg, lanes);
  }
}

}  // namespace
}  // namespace eye_single_detail

template <class L>
void IntersectEyeSingleRaysWith(const float* pEye, const float* const pDirection[3], float* pDist,
                                float* const pHit[2], int32_t* pTriangle, const qelrSceneContext* pContext,
                                qelrSize size) {
  using namespace eye_single_detail;
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
      TraceGroup<L>(b, lower, upper, g);
    }
  }
}
