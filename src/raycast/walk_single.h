// Front-to-back walk of the KD-tree block by one ray.
//
// The caller has clipped the ray to its interval [tmin, tmax] and formed the
// inverse direction and the near-child choice of each axis.  The walk visits
// the leaves that the interval crosses, nearest first, and hands each to the
// caller's visitor.  What is tested in a leaf and what counts as the best
// distance belong to the caller.
#pragma once

#include <cstdint>

#include "kdtree/kd_block.h"
#include "raycast/ray_math.h"

// Far children kept for later; a tree built with a depth limit of at most 50
// never needs more.
constexpr int32_t kWalkStackDepth = 50;

struct SingleRay {
  float origin[3];
  float direction[3];
  float inverse[3];
  int32_t nearChild[3];  // 1 where the direction is negative: the upper child comes first
};

// The near child of each axis as a byte offset into the child pair, packed
// into one word (8 at bit 8k + 3 when the upper child is near on axis k), so
// that the next node's address needs no memory read of its own.
class NearChildOffsets {
 public:
  explicit NearChildOffsets(const int32_t nearChild[3])
      : bits_(static_cast<uint32_t>(nearChild[0] << 3) | static_cast<uint32_t>(nearChild[1] << 11) |
              static_cast<uint32_t>(nearChild[2] << 19)) {}
  const qelrKDNode* Near(const qelrKDNode* children, int32_t axis) const { return At(children, Offset(axis)); }
  const qelrKDNode* Far(const qelrKDNode* children, int32_t axis) const { return At(children, Offset(axis) ^ 8u); }

 private:
  uint32_t Offset(int32_t axis) const { return (bits_ >> (8 * axis)) & 8u; }
  static const qelrKDNode* At(const qelrKDNode* children, uint32_t offset) {
    return reinterpret_cast<const qelrKDNode*>(reinterpret_cast<const char*>(children) + offset);
  }
  uint32_t bits_;
};

// A leaf whose `data` is 0 lists no triangle; walks skip it without a call.
inline bool IsEmptyListLeaf(const qelrKDNode* leaf) { return NodeData(leaf) == 0; }

// visitLeaf(leaf) returns true to end the walk at once (any-hit).  After each
// leaf the walk also ends when the interval just finished reaches `best`,
// which the visitor may have lowered.  A split is taken as missed on one side
// only if it lies beyond the interval by more than `splitEpsilon`.
template <class VisitLeaf>
inline void WalkSingleRay(const qelrKDNode* root, const SingleRay& ray, float tmin, float tmax,
                          float splitEpsilon, const float& best, VisitLeaf&& visitLeaf) {
  struct Entry {
    const qelrKDNode* node;
    float tmax;
  };
  Entry stack[kWalkStackDepth];
  int32_t depth = 0;
  const NearChildOffsets nearOffsets(ray.nearChild);
  const qelrKDNode* node = root;
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const float t = (InteriorSplit(node) - ray.origin[k]) * ray.inverse[k];
      const qelrKDNode* children = InteriorChildren(node);
      const qelrKDNode* nearNode = nearOffsets.Near(children, k);
      const qelrKDNode* farNode = nearOffsets.Far(children, k);
      if (tmin - t > splitEpsilon) {
        node = farNode;
      } else if (t - tmax > splitEpsilon) {
        node = nearNode;
      } else {
        // A tree deeper than the stack is not a valid block; its far
        // children are dropped rather than written past the stack.
        if (depth < kWalkStackDepth) stack[depth++] = Entry{farNode, tmax};
        tmax = MaxF(tmin, MinF(t, tmax));
        node = nearNode;
      }
    }
    if (visitLeaf(node)) return;
    if (depth == 0) return;
    if (tmax >= best) return;
    tmin = tmax;
    --depth;
    node = stack[depth].node;
    tmax = stack[depth].tmax;
  }
}
