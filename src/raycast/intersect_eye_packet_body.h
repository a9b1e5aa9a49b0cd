// Nearest hit of each ray, four coherent rays at a time, written once for
// any lanes type (SseLanes, Avx2Lanes, Avx512Lanes); each form is built in a
// file of its own.
//
// Every four-ray kernel (one row of a tile, the rays of one octant) gets
// exactly its own walk and tests.  The kernels of one tile and octant walk
// the tree together in WalkPacketRows, so that a node visit serves all of
// them, and share each triangle's record; each kernel's results are still
// those of its own walk.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "raycast/clip_packet4.h"
#include "raycast/packet_tiles.h"
#include "raycast/ray_block.h"
#include "raycast/ray_math.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_packet_rows.h"

namespace eye_packet_detail {
// Each form's file gets its own copy of these, built for its processor.
namespace {

// The values of one kernel at its start, four lanes each.
struct KernelStart {
  __m128 direction[3];
  __m128 inverse[3];
  __m128 tmin, tmax, active;
  __m128 best, triangle;
};

// Sets up the kernel of the row at `at` with the lanes of `laneBits`: the
// clip to the box and the starting values.  Returns false when no lane
// enters the box; the row is then left untouched.
inline bool StartKernel(const EyeBlock& b, int64_t at, __m128 laneMask, KernelStart& s) {
  Rays4 rays;
  for (int32_t k = 0; k < 3; ++k) {
    rays.origin[k] = _mm_set1_ps(b.eye[k]);
    rays.direction[k] = _mm_load_ps(b.direction[k] + at);
    s.direction[k] = rays.direction[k];
  }
  // Lanes outside the mask start from an empty interval, so they never
  // become active.
  const __m128 entryDist = _mm_load_ps(b.dist + at);
  s.tmin = _mm_setzero_ps();
  s.tmax = _mm_and_ps(entryDist, laneMask);
  ClipRays4ToBox(b.context->pBound, rays, s.tmin, s.tmax, s.inverse);
  s.active = _mm_cmplt_ps(s.tmin, s.tmax);
  if (_mm_movemask_ps(s.active) == 0) return false;

  // Lanes outside the mask get best 0.0: they can accept nothing.
  s.best = _mm_and_ps(entryDist, laneMask);
  s.triangle =
      _mm_and_ps(_mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(b.triangle + at))), laneMask);
  s.tmax = _mm_add_ps(s.tmax, _mm_set1_ps(kIntervalPad));
  return true;
}

// Lanes in the mask take the kernel's results, a miss included; the others
// keep all four of their values.
inline void FinishKernel(const EyeBlock& b, int64_t at, __m128 laneMask, __m128 best, __m128 hitU, __m128 hitV,
                         __m128 triangle) {
  float* dist = b.dist + at;
  float* hit0 = b.hit[0] + at;
  float* hit1 = b.hit[1] + at;
  __m128i* tri = reinterpret_cast<__m128i*>(b.triangle + at);
  _mm_store_ps(dist, Select(laneMask, best, _mm_load_ps(dist)));
  _mm_store_ps(hit0, Select(laneMask, hitU, _mm_load_ps(hit0)));
  _mm_store_ps(hit1, Select(laneMask, hitV, _mm_load_ps(hit1)));
  _mm_store_si128(tri, _mm_castps_si128(Select(laneMask, triangle, _mm_castsi128_ps(_mm_load_si128(tri)))));
}

// The kernels of one tile and octant, L::kKernels to a vector.  Lanes of a
// kernel outside its mask, and kernels that did not start, have best 0.0
// and so can accept nothing.
template <class L>
struct EyeKernels {
  using V = typename L::V;
  using M = typename L::M;
  static constexpr int32_t kVectors = 4 / L::kKernels;

  const qelrTriangleAccel* accel;
  const float* eye;
  V direction[kVectors][3];
  V best[kVectors], hitU[kVectors], hitV[kVectors];
  V triangle[kVectors];  // indices, as bits

  // Every triangle is tested on all four lanes of each kernel given, active
  // or not.
  void VisitLeaf(const qelrKDNode* leaf, int32_t kernels) {
    // The lanes of each vector's kernels, the same for every triangle.
    int32_t sets[kVectors];
    M setLanes[kVectors];
    for (int32_t v = 0; v < kVectors; ++v) {
      sets[v] = (kernels >> (L::kKernels * v)) & ((1 << L::kKernels) - 1);
      setLanes[v] = L::KernelLanes(sets[v]);
    }
    // The results in locals for the leaf, so that they can stay in
    // registers from one triangle to the next.
    V nearest[kVectors], nearestU[kVectors], nearestV[kVectors], nearestTriangle[kVectors];
    for (int32_t v = 0; v < kVectors; ++v) {
      nearest[v] = best[v], nearestU[v] = hitU[v], nearestV[v] = hitV[v], nearestTriangle[v] = triangle[v];
    }
    ForEachLeafTriangle(leaf, [&](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      const TriangleFromEye<L> tri = PacketTriangle<L>(a, eye);
      for (int32_t v = 0; v < kVectors; ++v) {
        if (sets[v] == 0) continue;
        const LaneCrossing<L> c = CrossTrianglePacketLanes(tri, direction[v]);
        const V D = c.D, P = c.P, Q = c.Q, R = c.R, T = tri.T;
        // A lane passes unless one of R * P, R * Q, P * Q is below 0, so a
        // NaN passes; the tests of t keep such lanes from being accepted.
        const V zero = L::Zero();
        const M anyNegative =
            L::Or(L::Or(L::CmpLt(L::Mul(R, P), zero), L::CmpLt(L::Mul(R, Q), zero)), L::CmpLt(L::Mul(P, Q), zero));
        const M pass = L::AndNot(anyNegative, setLanes[v]);
        if (L::NoLanes(pass)) continue;
        // Approximate reciprocal, cleared where the lane failed, then one
        // Newton step.
        const V r = L::Keep(pass, L::Rcp(D));
        const V inverseD = L::Sub(L::Add(r, r), L::Mul(L::Mul(r, r), D));
        const V t = L::Mul(T, inverseD);
        const M accept = L::And(pass, L::And(L::CmpLt(t, nearest[v]), L::CmpLt(zero, t)));
        nearest[v] = L::Select(accept, t, nearest[v]);
        nearestU[v] = L::Select(accept, L::Mul(P, inverseD), nearestU[v]);
        nearestV[v] = L::Select(accept, L::Mul(Q, inverseD), nearestV[v]);
        nearestTriangle[v] = L::Select(accept, L::Index(index), nearestTriangle[v]);
      }
      return false;
    });
    for (int32_t v = 0; v < kVectors; ++v) {
      best[v] = nearest[v], hitU[v] = nearestU[v], hitV[v] = nearestV[v], triangle[v] = nearestTriangle[v];
    }
  }

  // A lane goes on to the next far child only if that child could still
  // hold something nearer than its best hit.
  M ResumeLanes(int32_t v, V tmax) const { return L::CmpLt(tmax, best[v]); }
};

// The rows of a tile that hold rays of `octant`, as kernels walking
// together.
template <class L>
void TraceOctant(const EyeBlock& b, int64_t tileStart, int32_t width, const TileOctants& g, int32_t octant) {
  constexpr int32_t kVectors = 4 / L::kKernels;
  // Each field of the four kernels; a kernel that does not run keeps zeros.
  KernelStart s[4] = {};
  __m128 laneMask[4];
  int32_t kernels = 0;
  for (int32_t row = 0; row < 4; ++row) {
    if (g.rowLanes[octant][row] == 0) continue;
    laneMask[row] = LaneMaskFromBits(g.rowLanes[octant][row]);
    if (StartKernel(b, tileStart + static_cast<int64_t>(row) * width, laneMask[row], s[row])) kernels |= 1 << row;
    else s[row] = KernelStart{};
  }
  if (kernels == 0) return;

  EyeKernels<L> h;
  h.accel = b.context->pAccel;
  h.eye = b.eye;
  PacketWalkLanes<L> walk[kVectors];
  for (int32_t v = 0; v < kVectors; ++v) {
    const KernelStart* first = s + L::kKernels * v;
    auto join = [&](__m128 KernelStart::*field) {
      __m128 parts[L::kKernels];
      for (int32_t j = 0; j < L::kKernels; ++j) parts[j] = first[j].*field;
      return L::Join(parts);
    };
    for (int32_t k = 0; k < 3; ++k) {
      __m128 direction[L::kKernels], inverse[L::kKernels];
      for (int32_t j = 0; j < L::kKernels; ++j) direction[j] = first[j].direction[k], inverse[j] = first[j].inverse[k];
      h.direction[v][k] = L::Join(direction);
      walk[v].inverse[k] = L::Join(inverse);
    }
    walk[v].tmin = join(&KernelStart::tmin);
    walk[v].tmax = join(&KernelStart::tmax);
    __m128 active[L::kKernels];
    for (int32_t j = 0; j < L::kKernels; ++j) active[j] = first[j].active;
    walk[v].active = L::JoinMask(active);
    h.best[v] = join(&KernelStart::best);
    h.triangle[v] = join(&KernelStart::triangle);
    h.hitU[v] = h.hitV[v] = L::Zero();
  }
  WalkPacketRows<L>(b.context->pRootNode, octant, b.eye, walk, kernels, h);
  for (int32_t row = 0; row < 4; ++row) {
    if (((kernels >> row) & 1) == 0) continue;
    const int32_t v = row / L::kKernels, j = row % L::kKernels;
    FinishKernel(b, tileStart + static_cast<int64_t>(row) * width, laneMask[row], L::Part(h.best[v], j),
                 L::Part(h.hitU[v], j), L::Part(h.hitV[v], j), L::Part(h.triangle[v], j));
  }
}

}  // namespace
}  // namespace eye_packet_detail

template <class L>
void IntersectEyePacketsWith(const float* pEye, const float* const pDirection[3], float* pDist, float* const pHit[2],
                             int32_t* pTriangle, const qelrSceneContext* pContext, qelrSize size) {
  using namespace eye_packet_detail;
  const int64_t rayCount = static_cast<int64_t>(size.width) * size.height;
  for (int64_t i = 0; i < rayCount; ++i) pTriangle[i] = -1;

  const EyeBlock b{pEye, pDirection, pDist, pHit, pTriangle, pContext};

  for (int32_t tileRow = 0; tileRow < size.height; tileRow += 4) {
    for (int32_t tileCol = 0; tileCol < size.width; tileCol += 4) {
      const int64_t tileStart = static_cast<int64_t>(tileRow) * size.width + tileCol;
      if (!TileHasPositiveLimit(pDist + tileStart, size.width)) continue;
      const TileOctants g = GroupTileByOctant(pDirection, tileStart, size.width);
      for (int32_t code = g.lowest; code <= g.highest; ++code) TraceOctant<L>(b, tileStart, size.width, g, code);
    }
  }
}
