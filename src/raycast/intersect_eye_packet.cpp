// Nearest hit of each ray, four coherent rays at a time.
//
// Every four-ray kernel (one row of a tile, the rays of one octant) gets
// exactly its own walk and tests.  The kernels of one tile and octant walk
// the tree together in WalkPacketRows, so that a node visit serves all of
// them; each kernel's results are still those of its own walk.
#include "raycast/clip_packet4.h"
#include "raycast/intersect_eye_paths.h"
#include "raycast/packet_tiles.h"
#include "raycast/ray_math.h"
#include "raycast/triangle_test.h"
#include "raycast/walk_packet_rows.h"

namespace {

struct EyeBlock {
  const float* eye;
  const float* const* direction;
  float* dist;
  float* const* hit;
  int32_t* triangle;
  const qelrSceneContext* context;
};

// What one kernel keeps for its four lanes.  Lanes outside the kernel's
// mask have best 0.0 and so can accept nothing.
struct EyeKernel4 {
  int64_t at;  // the row's first ray
  __m128 laneMask;
  __m128 entryDist;
  Rays4 rays;
  __m128 best;
  __m128 hitU;
  __m128 hitV;
  __m128 triangle;  // indices, as bits
};

// The kernels of one tile and octant.
struct EyeKernels {
  const qelrTriangleAccel* accel;
  EyeKernel4 kernel[4];

  // Every triangle is tested on all four lanes of each kernel given, active
  // or not.
  void VisitLeaf(const qelrKDNode* leaf, int32_t kernels) {
    ForEachLeafTriangle(leaf, [&](int32_t index) {
      const qelrTriangleAccel& a = accel[index];
      if (!IsUsableTriangle(a)) return false;
      const TriangleRecord4 record(a);
      for (int32_t q = 0; q < 4; ++q) {
        if (((kernels >> q) & 1) == 0) continue;
        EyeKernel4& h = kernel[q];
        TriangleCrossing4 c;
        if (!CrossTriangle4(record, h.rays, c)) continue;
        const __m128 accept =
            _mm_and_ps(c.pass, _mm_and_ps(_mm_cmplt_ps(c.t, h.best), _mm_cmplt_ps(_mm_setzero_ps(), c.t)));
        h.best = Select(accept, c.t, h.best);
        h.hitU = Select(accept, _mm_mul_ps(c.P, c.inverseD), h.hitU);
        h.hitV = Select(accept, _mm_mul_ps(c.Q, c.inverseD), h.hitV);
        h.triangle = Select(accept, _mm_castsi128_ps(_mm_set1_epi32(index)), h.triangle);
      }
      return false;
    });
  }

  // A lane goes on to the next far child only if that child could still
  // hold something nearer than its best hit.
  __m128 ResumeLanes(int32_t q, __m128 tmax) const { return _mm_cmplt_ps(tmax, kernel[q].best); }
};

// Sets up the kernel of the row at `at` with the lanes of `laneBits`: the
// clip to the box and the starting values.  Returns false when no lane
// enters the box; the row is then left untouched.
bool StartKernel(const EyeBlock& b, int64_t at, int32_t laneBits, EyeKernel4& h, PacketWalkLanes& walk) {
  h.at = at;
  h.laneMask = LaneMaskFromBits(laneBits);
  for (int32_t k = 0; k < 3; ++k) {
    h.rays.origin[k] = _mm_set1_ps(b.eye[k]);
    h.rays.direction[k] = _mm_load_ps(b.direction[k] + at);
  }
  // Lanes outside the mask start from an empty interval, so they never
  // become active.
  h.entryDist = _mm_load_ps(b.dist + at);
  walk.tmin = _mm_setzero_ps();
  walk.tmax = _mm_and_ps(h.entryDist, h.laneMask);
  ClipRays4ToBox(b.context->pBound, h.rays, walk.tmin, walk.tmax, walk.inverse);
  walk.active = _mm_cmplt_ps(walk.tmin, walk.tmax);
  if (_mm_movemask_ps(walk.active) == 0) return false;

  // Lanes outside the mask get best 0.0: they can accept nothing.
  h.best = _mm_and_ps(h.entryDist, h.laneMask);
  h.triangle =
      _mm_and_ps(_mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(b.triangle + at))), h.laneMask);
  h.hitU = _mm_setzero_ps();
  h.hitV = _mm_setzero_ps();
  walk.tmax = _mm_add_ps(walk.tmax, _mm_set1_ps(kIntervalPad));
  return true;
}

// Lanes in the mask take the kernel's results, a miss included; the others
// keep all four of their values.
void FinishKernel(const EyeBlock& b, const EyeKernel4& h) {
  const int64_t at = h.at;
  float* hit0 = b.hit[0] + at;
  float* hit1 = b.hit[1] + at;
  __m128i* tri = reinterpret_cast<__m128i*>(b.triangle + at);
  _mm_store_ps(b.dist + at, Select(h.laneMask, h.best, h.entryDist));
  _mm_store_ps(hit0, Select(h.laneMask, h.hitU, _mm_load_ps(hit0)));
  _mm_store_ps(hit1, Select(h.laneMask, h.hitV, _mm_load_ps(hit1)));
  _mm_store_si128(tri, _mm_castps_si128(Select(h.laneMask, h.triangle, _mm_castsi128_ps(_mm_load_si128(tri)))));
}

// The rows of a tile that hold rays of `octant`, as kernels walking
// together.
void TraceOctant(const EyeBlock& b, int64_t tileStart, int32_t width, const TileOctants& g, int32_t octant) {
  EyeKernels h;
  h.accel = b.context->pAccel;
  PacketWalkLanes walk[4];
  int32_t kernels = 0;
  for (int32_t row = 0; row < 4; ++row) {
    if (g.rowLanes[octant][row] == 0) continue;
    const int64_t at = tileStart + static_cast<int64_t>(row) * width;
    if (StartKernel(b, at, g.rowLanes[octant][row], h.kernel[row], walk[row])) kernels |= 1 << row;
  }
  if (kernels == 0) return;
  WalkPacketRows(b.context->pRootNode, octant, b.eye, walk, kernels, h);
  for (int32_t row = 0; row < 4; ++row)
    if (((kernels >> row) & 1) != 0) FinishKernel(b, h.kernel[row]);
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
      for (int32_t code = g.lowest; code <= g.highest; ++code) TraceOctant(b, tileStart, size.width, g, code);
    }
  }
}
