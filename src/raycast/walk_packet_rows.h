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
// The lanes type L (SseLanes, Avx2Lanes, Avx512Lanes) holds L::kKernels
// kernels in a vector; kernel q is part q % kKernels of vector
// q / kKernels.  A set of kernels is held as the lanes of its kernels
// (bit 4q + j for lane j of kernel q), so that it turns into a lane mask,
// and a lane mask into the set of kernels that it touches, in a few
// integer operations: the walk's decisions at one node feed the next
// node's through these.
//
// The policy supplies the leaf work:
//   void VisitLeaf(const qelrKDNode* leaf, int32_t kernels)
//       tests the leaf's triangles for the kernels given;
//   M ResumeLanes(int32_t vector, V tmax)
//       after a leaf, the lanes of the vector's kernels that go on to their
//       next far child.
#pragma once

#include <cstdint>

#include "kdtree/kd_block.h"
#include "raycast/walk_single.h"

// What the walk keeps of one vector of kernels: the inverse directions of
// its lanes, their intervals and the lanes still taking part in the split
// decisions.
template <class L>
struct PacketWalkLanes {
  typename L::V inverse[3];
  typename L::V tmin, tmax;
  typename L::M active;
};

template <class L, class Policy>
inline void WalkPacketRows(const qelrKDNode* root, int32_t octant, const float origin[3], PacketWalkLanes<L> lanes[],
                           int32_t kernels, Policy& policy) {
  using V = typename L::V;
  using M = typename L::M;
  constexpr int32_t kVectors = 4 / L::kKernels;
  constexpr int32_t kWhole = (1 << L::kLanes) - 1;
  auto lanesOf = [](int32_t set, int32_t v) { return (set >> (L::kLanes * v)) & kWhole; };
  // A vector whose kernels take no part in an update is skipped where
  // there are several vectors; with one, the masked update costs less than
  // a branch that is often mispredicted.
  auto untouched = [](int32_t set) { return kVectors > 1 && set == 0; };

  // A far child kept for later, with the kernels that go on there: those
  // that kept it on their own stacks (they resume with tmin = tmax and the
  // saved tmax) and those that went to the far side only (they resume with
  // their interval as it was).  `owners` holds the kernels that have this
  // entry or one below it on their own stacks; the bottom slot holds no
  // far child, only the empty set, so that a kernel's own stack is empty
  // exactly when it is not in the top entry's owners.
  struct Entry {
    V tmax[kVectors];
    const qelrKDNode* node;
    int32_t pushed;
    int32_t farOnly;
    int32_t owners;
  };
  // The bottom slot, the entries, and a spare slot for a push that is not
  // kept.
  Entry stack[kWalkStackDepth + 2];
  stack[0].owners = 0;
  int32_t depth = 0;
  int32_t ended = 0;
  int32_t present = kernels;  // the kernels whose walks pass through `node`
  const qelrKDNode* node = root;
  const int32_t nearChild[3] = {octant & 1, (octant >> 1) & 1, (octant >> 2) & 1};
  const NearChildOffsets nearOffsets(nearChild);
  for (;;) {
    while (IsInterior(node)) {
      const int32_t k = InteriorAxis(node);
      const V offset = L::Set1(InteriorSplit(node) - origin[k]);
      const qelrKDNode* children = InteriorChildren(node);
      const qelrKDNode* nearNode = nearOffsets.Near(children, k);
      const qelrKDNode* farNode = nearOffsets.Far(children, k);
      // Whether any kernel here goes near is read straight from the
      // compares, so that the far-only case is known as early as can be.
      V t[kVectors] = {};
      M nearLanes[kVectors];
      bool nearAny = false;
      for (int32_t v = 0; v < kVectors; ++v) {
        const int32_t set = lanesOf(present, v);
        if (set == 0) continue;
        const PacketWalkLanes<L>& l = lanes[v];
        t[v] = L::Mul(offset, l.inverse[k]);
        nearLanes[v] = L::WhereAtMost(L::And(l.active, L::MaskFromBits(set)), l.tmin, t[v]);
        nearAny |= !L::NoLanes(nearLanes[v]);
      }
      if (!nearAny) {
        node = farNode;
        continue;
      }
      int32_t nearToo = 0, farToo = 0;
      for (int32_t v = 0; v < kVectors; ++v) {
        if (lanesOf(present, v) == 0) continue;
        const PacketWalkLanes<L>& l = lanes[v];
        nearToo |= L::KernelsOfLanes(L::LaneBits(nearLanes[v])) << (L::kLanes * v);
        farToo |= L::KernelsOfLanes(L::LaneBits(L::WhereAtMost(l.active, t[v], l.tmax))) << (L::kLanes * v);
      }
      const int32_t farOnly = present & ~nearToo;
      const int32_t pushed = nearToo & farToo;
      const int32_t nearOnly = nearToo & ~farToo;
      // On to the near child.  Whether a kernel also goes to the far one
      // is no branch: the far child is written to the stack in any case
      // and kept only if some kernel goes there, and only the kernels that
      // keep it on their own stacks narrow their intervals.
      const bool keep = (farOnly | pushed) != 0;
      Entry& e = stack[depth + 1];
      e.node = farNode;
      e.pushed = pushed;
      e.farOnly = farOnly;
      e.owners = stack[depth].owners | pushed;
      for (int32_t v = 0; v < kVectors; ++v) e.tmax[v] = lanes[v].tmax;
      // A tree deeper than the stack is not a valid block; its far
      // children are dropped rather than written past the stack.
      depth += static_cast<int32_t>(keep & (depth < kWalkStackDepth));
      for (int32_t v = 0; v < kVectors; ++v) {
        const int32_t set = lanesOf(pushed, v);
        if (untouched(set)) continue;
        PacketWalkLanes<L>& l = lanes[v];
        const M narrowed = L::MaskFromBits(set);
        const V m = L::Min(l.tmax, t[v]);
        l.active = L::SelectMask(narrowed, L::And(l.active, L::CmpLe(l.tmin, m)), l.active);
        l.tmax = L::Select(narrowed, L::Max(m, l.tmin), l.tmax);
      }
      present = nearOnly | pushed;
      node = nearNode;
    }
    policy.VisitLeaf(node, present);
    const int32_t goOn = present & stack[depth].owners;
    ended |= present & ~goOn;
    for (int32_t v = 0; v < kVectors; ++v) {
      const int32_t set = lanesOf(goOn, v);
      if (untouched(set)) continue;
      const M resume = policy.ResumeLanes(v, lanes[v].tmax);
      lanes[v].active = L::SelectMask(L::MaskFromBits(set), resume, lanes[v].active);
      ended |= (set & ~L::KernelsOfLanes(L::LaneBits(resume))) << (L::kLanes * v);
    }
    // On to the latest far child that a kernel still goes to.
    for (;;) {
      if (depth == 0) return;
      const Entry& e = stack[depth--];
      const int32_t resumePushed = e.pushed & ~ended;
      present = (resumePushed | e.farOnly) & ~ended;
      if (present == 0) continue;
      for (int32_t v = 0; v < kVectors; ++v) {
        const int32_t set = lanesOf(resumePushed, v);
        if (untouched(set)) continue;
        PacketWalkLanes<L>& l = lanes[v];
        const M resumed = L::MaskFromBits(set);
        l.tmin = L::Select(resumed, l.tmax, l.tmin);
        l.tmax = L::Select(resumed, e.tmax[v], l.tmax);
      }
      node = e.node;
      break;
    }
  }
}
