// Front-to-back walk of the KD-tree block by up to four four-ray kernels at
// once: the rows of one tile that hold rays of one octant.
//
// Each kernel makes exactly the walk that it would make by itself.  Its
// decisions are taken on its own four lanes (no epsilon): if none of its
// active lanes has tmin at most t it goes to the far child only; otherwise
// to the near child, and if one of its active lanes has t at most tmax it
// also keeps the far child on its own stack and narrows its interval.
// After a leaf it ends when its stack is empty or when no lane can still
// find something nearer; otherwise it takes its latest far child.
//
// All kernels share the octant, so a depth-first walk of the union of
// their paths meets each kernel's nodes in that kernel's own order.  A
// kernel takes part only at the nodes of its own walk and is left alone
// elsewhere, so one node visit serves up to sixteen rays.
//
// The policy supplies the leaf work:
//   void VisitLeaf(const qelrKDNode* leaf, int32_t kernels)
//       tests the leaf's triangles for the kernels given (bit q: kernel q);
//   __m128 ResumeLanes(int32_t kernel, __m128 tmax)
//       after a leaf, the lanes of the kernel that go on to its next far
//       child.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "kdtree/kd_block.h"
#include "raycast/walk_single.h"

// What the walk keeps of one kernel: the inverse directions of its lanes,
// their intervals and the lanes still taking part in the split decisions.
struct PacketWalkLanes {
  __m128 inverse[3];
  __m128 tmin, tmax;
  __m128 active;
};

template <class Policy>
inline void WalkPacketRows(const qelrKDNode* root, int32_t octant, const float origin[3], PacketWalkLanes lanes[4],
                           int32_t kernels, Policy& policy) {
  // A far child kept for later, with the kernels that go on there: those
  // that kept it on their own stacks (they resume with tmin = tmax and the
  // saved tmax) and those that went to the far side only (they resume with
  // their interval as it was).
  struct Entry {
    __m128 tmax[4];
    const qelrKDNode* node;
    int32_t pushed;
    int32_t farOnly;
  };
  Entry stack[kWalkStackDepth];
  int32_t depth = 0;
  int32_t ownDepth[4] = {0, 0, 0, 0};
  int32_t ended = 0;
  int32_t present = kernels;  // the kernels whose walks pass through `node`
  const qelrKDNode* node = root;
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const __m128 offset = _mm_sub_ps(_mm_set1_ps(InteriorSplit(node)), _mm_set1_ps(origin[k]));
      const qelrKDNode* children = InteriorChildren(node);
      const int32_t nearIndex = (octant >> k) & 1;
      const qelrKDNode* nearNode = children + nearIndex;
      const qelrKDNode* farNode = children + (1 - nearIndex);
      __m128 t[4] = {};
      int32_t farOnly = 0, pushed = 0;
      for (int32_t q = 0; q < 4; ++q) {
        if (((present >> q) & 1) == 0) continue;
        const PacketWalkLanes& l = lanes[q];
        t[q] = _mm_mul_ps(offset, l.inverse[k]);
        const bool nearToo = _mm_movemask_ps(_mm_and_ps(l.active, _mm_cmple_ps(l.tmin, t[q]))) != 0;
        const bool farToo = _mm_movemask_ps(_mm_and_ps(l.active, _mm_cmple_ps(t[q], l.tmax))) != 0;
        farOnly |= static_cast<int32_t>(!nearToo) << q;
        pushed |= static_cast<int32_t>(nearToo && farToo) << q;
      }
      const int32_t nearOnly = present & ~farOnly & ~pushed;
      if ((nearOnly | pushed) == 0) {
        node = farNode;
        continue;
      }
      if ((farOnly | pushed) == 0) {
        node = nearNode;
        continue;
      }
      // A tree deeper than the stack is not a valid block; its far
      // children are dropped rather than written past the stack.
      if (depth < kWalkStackDepth) {
        Entry& e = stack[depth++];
        e.node = farNode;
        e.pushed = pushed;
        e.farOnly = farOnly;
        for (int32_t q = 0; q < 4; ++q)
          if (((pushed >> q) & 1) != 0) e.tmax[q] = lanes[q].tmax;
      }
      for (int32_t q = 0; q < 4; ++q) {
        if (((pushed >> q) & 1) == 0) continue;
        PacketWalkLanes& l = lanes[q];
        const __m128 m = _mm_min_ps(l.tmax, t[q]);
        l.active = _mm_and_ps(l.active, _mm_cmple_ps(l.tmin, m));
        l.tmax = _mm_max_ps(m, l.tmin);
        ++ownDepth[q];
      }
      present = nearOnly | pushed;
      node = nearNode;
    }
    policy.VisitLeaf(node, present);
    for (int32_t q = 0; q < 4; ++q) {
      if (((present >> q) & 1) == 0) continue;
      if (ownDepth[q] == 0) {
        ended |= 1 << q;
        continue;
      }
      lanes[q].active = policy.ResumeLanes(q, lanes[q].tmax);
      if (_mm_movemask_ps(lanes[q].active) == 0) ended |= 1 << q;
    }
    // On to the latest far child that a kernel still goes to.
    for (;;) {
      if (depth == 0) return;
      const Entry& e = stack[--depth];
      const int32_t resumePushed = e.pushed & ~ended;
      present = (resumePushed | e.farOnly) & ~ended;
      if (present == 0) continue;
      for (int32_t q = 0; q < 4; ++q) {
        if (((resumePushed >> q) & 1) == 0) continue;
        lanes[q].tmin = lanes[q].tmax;
        lanes[q].tmax = e.tmax[q];
        --ownDepth[q];
      }
      node = e.node;
      break;
    }
  }
}
