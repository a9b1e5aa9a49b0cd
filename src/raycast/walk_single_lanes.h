// Several single rays walked through the KD-tree block together, in N
// vectors of L::kLanes lanes (lane j of vector v is bit kLanes * v + j of a
// lane set).
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
//   V Best(int32_t v) const
//       the best distance of each lane of vector v, which ends the lane's
//       walk after a leaf once its interval reaches it.
#pragma once

#include <cstdint>

#include "kdtree/kd_block.h"
#include "raycast/ray_math.h"
#include "raycast/walk_single.h"

template <class L, int32_t N, class Policy>
inline void WalkSingleRayLanes(const qelrKDNode* root, const int32_t nearChild[3], const float origin[3],
                               const typename L::V inverse[][3], const typename L::V tmin0[],
                               const typename L::V tmax0[], int32_t laneBits, float splitEpsilon, Policy& policy) {
  using V = typename L::V;
  using M = typename L::M;
  constexpr int32_t kLanes = L::kLanes;
  // A far child kept for later, with the lanes that go on there: those that
  // went both ways at its parent (they pushed it on their own stacks, and
  // resume with tmin = tmax, tmax = the saved one) and those that went to
  // the far side only (they resume with their interval as it was).
  struct Entry {
    V tmax[N];
    const qelrKDNode* node;
    int32_t bothWays;
    int32_t farOnly;
  };
  Entry stack[kWalkStackDepth];
  int32_t depth = 0;
  V tmin[N], tmax[N];
  V ownDepth[N];  // each lane's own stack depth, counted in floats (exact)
  for (int32_t v = 0; v < N; ++v) {
    tmin[v] = tmin0[v];
    tmax[v] = tmax0[v];
    ownDepth[v] = L::Zero();
  }
  const V one = L::Set1(1.0f);
  int32_t ended = 0;
  int32_t active = laneBits;
  const NearChildOffsets nearOffsets(nearChild);
  const V epsilon = L::Set1(splitEpsilon);
  const qelrKDNode* node = root;
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const V offset = L::Set1(InteriorSplit(node) - origin[k]);
      const qelrKDNode* children = InteriorChildren(node);
      // Each lane's choice, as in the single-ray walk: far only, near only,
      // or both (then tmax shrinks to the split).
      V t[N];
      int32_t farBits = 0, nearBits = 0;
      for (int32_t v = 0; v < N; ++v) {
        t[v] = L::Mul(offset, inverse[v][k]);
        farBits |= L::LaneBits(L::CmpGt(L::Sub(tmin[v], t[v]), epsilon)) << (kLanes * v);
        nearBits |= L::LaneBits(L::CmpGt(L::Sub(t[v], tmax[v]), epsilon)) << (kLanes * v);
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
        const M both = L::MaskFromBits(bothWays >> (kLanes * v));
        tmax[v] = L::Select(both, L::Max(tmin[v], L::Min(t[v], tmax[v])), tmax[v]);
        ownDepth[v] = L::Select(both, L::Add(ownDepth[v], one), ownDepth[v]);
      }
      active = nearOnly | bothWays;
      node = nearOffsets.Near(children, k);
    }
    policy.VisitLeaf(node, active);
    // The lanes of this leaf end when their own stack is empty or when their
    // interval reaches their best distance.
    int32_t done = 0;
    for (int32_t v = 0; v < N; ++v) {
      const M emptyStack = L::CmpLe(ownDepth[v], L::Zero());
      done |= L::LaneBits(L::Or(emptyStack, L::CmpGe(tmax[v], policy.Best(v)))) << (kLanes * v);
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
        const M own = L::MaskFromBits(resumeOwn >> (kLanes * v));
        tmin[v] = L::Select(own, tmax[v], tmin[v]);
        tmax[v] = L::Select(own, e.tmax[v], tmax[v]);
        ownDepth[v] = L::Select(own, L::Sub(ownDepth[v], one), ownDepth[v]);
      }
      node = e.node;
      break;
    }
  }
}
