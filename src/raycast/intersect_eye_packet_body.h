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
      sets[v] = (kernels >> (L::kLanes * v)) & ((1 << L::kLanes) - 1);
      setLanes[v] = L::MaskFromBits(sets[v]);
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
        // A vector without kernels at this leaf is skipped; a single vector
        // always has some.
        if (kVectors > 1 && sets[v] == 0) continue;
        const LaneCrossing<L> c = CrossTrianglePacketLanes(tri, direction[v]);
        const V D = c.D, P = c.P, Q = c.Q, R = c.R, T = tri.T;
        // A lane passes unless one of R * P, R * Q, P * Q is below 0, so a
        // NaN passes; the tests of t keep such lanes from being accepted.
        // (P * Q first: it does not wait for R.)
        const V zero = L::Zero();
        const M pass = L::WhereNotBelow(
            L::WhereNotBelow(L::WhereNotBelow(setLanes[v], L::Mul(P, Q), zero), L::Mul(R, P), zero), L::Mul(R, Q),
            zero);
        if (L::kSkipsFailedTriangles && L::NoLanes(pass)) continue;
        // Approximate reciprocal and one Newton step.  Lanes that failed are
        // never accepted, so their reciprocals need not be cleared.
        const V inverseD = NewtonStep<L>(L::Rcp(D), D);
        const V t = L::Mul(T, inverseD);
        const M accept = L::WhereBelow(L::WhereBelow(pass, zero, t), t, nearest[v]);
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

// Four rows of a plane from `at`, one row per kernel, as the vector of
// kernels `first` to `first` + L::kKernels - 1.
template <class L>
inline typename L::V KernelRows(const float* plane, int64_t at, int32_t width, int32_t first) {
  __m128 rows[L::kKernels];
  for (int32_t j = 0; j < L::kKernels; ++j) rows[j] = _mm_load_ps(plane + at + static_cast<int64_t>(first + j) * width);
  return L::Join(rows);
}

// Sets up the kernels of the rows of a tile that hold rays of `octant`
// (`rowLanes`: bit 4 * row + lane), all kernels of a vector at once: the
// clip to the box and the starting values.  Returns the kernels that
// started, those with a lane that enters the box, as all their lanes (bit
// 4 * row + lane).  A row whose kernel does not start is left untouched.
template <class L>
int32_t StartKernels(const EyeBlock& b, int64_t tileStart, int32_t width, int32_t rowLanes, EyeKernels<L>& h,
                     PacketWalkLanes<L> walk[]) {
  using V = typename L::V;
  using M = typename L::M;
  constexpr int32_t kVectors = 4 / L::kKernels;
  constexpr int32_t kLanesPerVector = 4 * L::kKernels;
  int32_t kernels = 0;
  for (int32_t v = 0; v < kVectors; ++v) {
    const int32_t first = L::kKernels * v;
    const M laneMask = L::MaskFromBits((rowLanes >> (kLanesPerVector * v)) & ((1 << kLanesPerVector) - 1));
    for (int32_t k = 0; k < 3; ++k) h.direction[v][k] = KernelRows<L>(b.direction[k], tileStart, width, first);
    const V entryDist = KernelRows<L>(b.dist, tileStart, width, first);
    // Lanes outside the mask start from an empty interval, so they never
    // become active.
    PacketWalkLanes<L>& w = walk[v];
    w.tmin = L::Zero();
    w.tmax = L::Keep(laneMask, entryDist);
    ClipPacketLanesToBox<L>(b.context->pBound, b.eye, h.direction[v], w.tmin, w.tmax, w.inverse);
    w.active = L::CmpLt(w.tmin, w.tmax);
    const int32_t started = L::KernelsOfLanes(L::LaneBits(w.active));
    kernels |= started << (kLanesPerVector * v);
    // Lanes outside the mask, and kernels that did not start, get best
    // 0.0: they can accept nothing.
    const M running = L::And(laneMask, L::MaskFromBits(started));
    h.best[v] = L::Keep(running, entryDist);
    h.triangle[v] = L::Keep(running, KernelRows<L>(reinterpret_cast<const float*>(b.triangle), tileStart, width, first));
    h.hitU[v] = h.hitV[v] = L::Zero();
    w.tmax = L::Add(w.tmax, L::Set1(kIntervalPad));
  }
  return kernels;
}

// The rows of a tile that hold rays of `octant`, as kernels walking
// together.
template <class L>
void TraceOctant(const EyeBlock& b, int64_t tileStart, int32_t width, const TileOctants& g, int32_t octant) {
  constexpr int32_t kVectors = 4 / L::kKernels;
  const int32_t rowLanes = g.lanes[octant];
  if (rowLanes == 0) return;
  EyeKernels<L> h;
  h.accel = b.context->pAccel;
  h.eye = b.eye;
  PacketWalkLanes<L> walk[kVectors];
  const int32_t kernels = StartKernels(b, tileStart, width, rowLanes, h, walk);
  if (kernels == 0) return;
  WalkPacketRows<L>(b.context->pRootNode, octant, b.eye, walk, kernels, h);
  for (int32_t row = 0; row < 4; ++row) {
    if (((kernels >> (4 * row)) & 1) == 0) continue;
    const int32_t v = row / L::kKernels, j = row % L::kKernels;
    FinishKernel(b, tileStart + static_cast<int64_t>(row) * width, LaneMaskFromBits((rowLanes >> (4 * row)) & 0xF),
                 L::Part(h.best[v], j), L::Part(h.hitU[v], j), L::Part(h.hitV[v], j), L::Part(h.triangle[v], j));
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
