// Several single rays walked through the KD-tree block together, in N
// vectors of four lanes (lane j of vector v is bit 4v + j of a lane set).
//
// Every lane makes exactly the walk that WalkSingleRay would make for its
// ray alone: its own interval, the split epsilon, its own stack and its own
// end after a leaf.  The lanes share one near-far order (their rays' near
// children agree on every axis), so a depth-first walk of the union of their
// paths meets each lane's nodes in that lane's own order.  A lane takes part
// only at the nodes of its own walk; elsewhere its interval is left alone.
// One node visit then serves every lane that passes through it.
//
// The policy supplies the leaf work:
//   void VisitLeaf(const qelrKDNode* leaf, int32_t lanes)
//       tests the leaf's triangles for the lanes given;
//   __m128 Best(int32_t v) const
//       the best distance of each lane of vector v, which ends the lane's
//       walk after a leaf once its interval reaches it.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "kdtree/kd_block.h"
#include "raycast/ray_math.h"
#include "raycast/walk_single.h"

template <int32_t N, class Policy>
inline void WalkSingleRayLanes(const qelrKDNode* root, const int32_t nearChild[3], const float origin[3],
                               const __m128 inverse[][3], const __m128 tmin0[], const __m128 tmax0[],
                               int32_t laneBits, float splitEpsilon, Policy& policy) {
  // A far child kept for later, with the lanes that go on there: those that
  // went both ways at its parent (they pushed it on their own stacks, and
  // resume with tmin = tmax, tmax = the saved one) and those that went to
  // the far side only (they resume with their interval as it was).
  struct Entry {
    __m128 tmax[N];
    const qelrKDNode* node;
    int32_t bothWays;
    int32_t farOnly;
  };
  Entry stack[kWalkStackDepth];
  int32_t depth = 0;
  __m128 tmin[N], tmax[N];
  __m128i ownDepth[N];  // each lane's own stack depth
  for (int32_t v = 0; v < N; ++v) {
    tmin[v] = tmin0[v];
    tmax[v] = tmax0[v];
    ownDepth[v] = _mm_setzero_si128();
  }
  int32_t ended = 0;
  int32_t active = laneBits;
  const NearChildOffsets nearOffsets(nearChild);
  const __m128 epsilon = _mm_set1_ps(splitEpsilon);
  const qelrKDNode* node = root;
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const __m128 offset = _mm_set1_ps(InteriorSplit(node) - origin[k]);
      const qelrKDNode* children = InteriorChildren(node);
      // Each lane's choice, as in the single-ray walk: far only, near only,
      // or both (then tmax shrinks to the split).
      __m128 t[N];
      int32_t farBits = 0, nearBits = 0;
      for (int32_t v = 0; v < N; ++v) {
        t[v] = _mm_mul_ps(offset, inverse[v][k]);
        farBits |= _mm_movemask_ps(_mm_cmpgt_ps(_mm_sub_ps(tmin[v], t[v]), epsilon)) << (4 * v);
        nearBits |= _mm_movemask_ps(_mm_cmpgt_ps(_mm_sub_ps(t[v], tmax[v]), epsilon)) << (4 * v);
      }
      const int32_t farOnly = farBits & active;
      const int32_t nearOnly = nearBits & active & ~farOnly;
      const int32_t bothWays = active & ~farOnly & ~nearOnly;
      if ((nearOnly | bothWays) == 0) {
        node = nearOffsets.Far(children, k);
        continue;
      }
      if ((farOnly | bothWays) == 0) {
        node = nearOffsets.Near(children, k);
        continue;
      }
      // A tree deeper than the stack is not a valid block; its far
      // children are dropped rather than written past the stack.
      if (depth < kWalkStackDepth) {
        Entry& e = stack[depth++];
        for (int32_t v = 0; v < N; ++v) e.tmax[v] = tmax[v];
        e.node = nearOffsets.Far(children, k);
        e.bothWays = bothWays;
        e.farOnly = farOnly;
      }
      for (int32_t v = 0; v < N; ++v) {
        const __m128 both = LaneMaskFromBits(bothWays >> (4 * v));
        tmax[v] = Select(both, _mm_max_ps(tmin[v], _mm_min_ps(t[v], tmax[v])), tmax[v]);
        ownDepth[v] = _mm_sub_epi32(ownDepth[v], _mm_castps_si128(both));
      }
      active = nearOnly | bothWays;
      node = nearOffsets.Near(children, k);
    }
    policy.VisitLeaf(node, active);
    // The lanes of this leaf end when their own stack is empty or when their
    // interval reaches their best distance.
    int32_t done = 0;
    for (int32_t v = 0; v < N; ++v) {
      const __m128 emptyStack = _mm_castsi128_ps(_mm_cmpeq_epi32(ownDepth[v], _mm_setzero_si128()));
      done |= _mm_movemask_ps(_mm_or_ps(emptyStack, _mm_cmpge_ps(tmax[v], policy.Best(v)))) << (4 * v);
    }
    ended |= active & done;
    // On to the latest far child that a lane still goes to.
    for (;;) {
      if (depth == 0) return;
      const Entry& e = stack[--depth];
      const int32_t resumeOwn = e.bothWays & ~ended;
      active = (resumeOwn | e.farOnly) & ~ended;
      if (active == 0) continue;
      for (int32_t v = 0; v < N; ++v) {
        const __m128 own = LaneMaskFromBits(resumeOwn >> (4 * v));
        tmin[v] = Select(own, tmax[v], tmin[v]);
        tmax[v] = Select(own, e.tmax[v], tmax[v]);
        ownDepth[v] = _mm_add_epi32(ownDepth[v], _mm_castps_si128(own));
      }
      node = e.node;
      break;
    }
  }
}
