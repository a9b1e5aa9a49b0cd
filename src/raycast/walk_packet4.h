// Front-to-back walk of the KD-tree block by four rays at once.
//
// All four lanes share one near-far order, given by an octant code (bit k
// set: the direction is negative on axis k, so the upper child is near).
// Each lane keeps its own interval; `active` marks the lanes whose interval
// still takes part.  The split test has no epsilon.
//
// The policy supplies what differs between the ray functions:
//   bool VisitLeaf(const qelrKDNode* leaf, __m128 active)
//       tests the leaf's triangles; true ends the walk at once.
//   __m128 ResumeLanes(__m128 tmax)
//       after a leaf, the lanes that go on to the next far child; no lane
//       ends the walk.
//   void AfterPop(__m128& tmin, __m128& tmax)
//       may restrict the interval just taken from the stack.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "kdtree/kd_block.h"
#include "raycast/walk_single.h"

template <class Policy>
inline void WalkPacket4(const qelrKDNode* root, int32_t octant, const __m128 origin[3],
                        const __m128 inverse[3], __m128 tmin, __m128 tmax, __m128 active,
                        Policy& policy) {
  struct Entry {
    __m128 tmax;
    const qelrKDNode* node;
  };
  Entry stack[kWalkStackDepth];
  int32_t depth = 0;
  const qelrKDNode* node = root;
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const __m128 t = _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(InteriorSplit(node)), origin[k]), inverse[k]);
      const qelrKDNode* children = InteriorChildren(node);
      const int32_t nearIndex = (octant >> k) & 1;
      const qelrKDNode* nearNode = children + nearIndex;
      const qelrKDNode* farNode = children + (1 - nearIndex);
      if (_mm_movemask_ps(_mm_and_ps(active, _mm_cmple_ps(tmin, t))) == 0) {
        node = farNode;
        continue;
      }
      if (_mm_movemask_ps(_mm_and_ps(active, _mm_cmple_ps(t, tmax))) != 0) {
        // Deeper than the stack is not a valid block: drop the far child.
        if (depth < kWalkStackDepth) stack[depth++] = Entry{tmax, farNode};
        const __m128 m = _mm_min_ps(tmax, t);
        active = _mm_and_ps(active, _mm_cmple_ps(tmin, m));
        tmax = _mm_max_ps(m, tmin);
      }
      node = nearNode;
    }
    if (policy.VisitLeaf(node, active)) return;
    if (depth == 0) return;
    active = policy.ResumeLanes(tmax);
    if (_mm_movemask_ps(active) == 0) return;
    tmin = tmax;
    --depth;
    node = stack[depth].node;
    tmax = stack[depth].tmax;
    policy.AfterPop(tmin, tmax);
  }
}
