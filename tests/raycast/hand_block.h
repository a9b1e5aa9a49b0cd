// Tree blocks laid out by hand for the ray tests, independent of the
// library's packing step: nodes in breadth-first order (the library packs
// depth-first; a traversal must not care), leaves in all three forms.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "test_util.h"

namespace hand {

struct Node {
  bool leaf = true;
  int axis = 0;
  float split = 0;
  int below = -1, above = -1;    // children, indices into the node vector
  std::vector<int32_t> triangles;
  bool pack = false;             // use the packed form (1 to 3 small indices)
};

// A spatial tree over triangle boxes: each leaf lists the triangles whose
// box meets the leaf's box, so that rays find their hits through it.  Some
// leaves list random triangles instead, and some splits sit just off the
// box's faces: then which leaves a walk visits shows in the hits, and the
// tests see every detail of the split test.
class TreeMaker {
 public:
  TreeMaker(const float* vertices, const int32_t* triangles, int triangleCount, qt::Rng& rng)
      : v_(vertices), t_(triangles), rng_(rng) {
    for (int i = 0; i < triangleCount; ++i) all_.push_back(i);
  }

  std::vector<Node> Make(const float box[6], int maxDepth) {
    nodes_.clear();
    nodes_.emplace_back();
    Grow(0, box, all_, maxDepth);
    return nodes_;
  }

 private:
  void TriBox(int32_t t, float lo[3], float hi[3]) const {
    for (int k = 0; k < 3; ++k) {
      lo[k] = hi[k] = v_[3 * t_[4 * t] + k];
      for (int j = 1; j < 3; ++j) {
        lo[k] = std::min(lo[k], v_[3 * t_[4 * t + j] + k]);
        hi[k] = std::max(hi[k], v_[3 * t_[4 * t + j] + k]);
      }
    }
  }

  void Grow(int index, const float box[6], const std::vector<int32_t>& tris, int depth) {
    if (depth == 0 || tris.size() <= 2 || rng_.Chance(0.15)) {
      Node& n = nodes_[index];
      n.leaf = true;
      n.triangles = tris;
      if (rng_.Chance(0.4)) {
        n.triangles.resize(rng_.Int(0, 4));
        for (int32_t& t : n.triangles) t = all_[rng_.Int(0, int(all_.size()) - 1)];
      }
      // Now and then a triangle twice, or one that lies elsewhere.
      if (!tris.empty() && rng_.Chance(0.1)) n.triangles.push_back(tris[0]);
      if (!all_.empty() && rng_.Chance(0.1)) n.triangles.push_back(all_[rng_.Int(0, int(all_.size()) - 1)]);
      // Packed: 1 to 3 indices, or now and then a packed leaf of count 0,
      // which reads as empty.
      n.pack = n.triangles.size() <= 3 && rng_.Chance(n.triangles.empty() ? 0.3 : 0.7);
      return;
    }
    const int axis = rng_.Int(0, 2);
    float split = box[axis] + rng_.Uniform(0.2f, 0.8f) * (box[axis + 3] - box[axis]);
    if (rng_.Chance(0.2)) split = box[axis + 3 * rng_.Int(0, 1)] + rng_.Uniform(-1e-3f, 1e-3f);
    std::vector<int32_t> below, above;
    for (int32_t t : tris) {
      float lo[3], hi[3];
      TriBox(t, lo, hi);
      if (lo[axis] <= split) below.push_back(t);
      if (hi[axis] >= split) above.push_back(t);
    }
    float boxBelow[6], boxAbove[6];
    std::memcpy(boxBelow, box, sizeof boxBelow);
    std::memcpy(boxAbove, box, sizeof boxAbove);
    boxBelow[axis + 3] = split;
    boxAbove[axis] = split;
    const int b = int(nodes_.size());
    nodes_.emplace_back();
    nodes_.emplace_back();
    Node& n = nodes_[index];
    n.leaf = false;
    n.axis = axis;
    n.split = split;
    n.below = b;
    n.above = b + 1;
    Grow(b, boxBelow, below, depth - 1);
    Grow(b + 1, boxAbove, above, depth - 1);
  }

  const float* v_;
  const int32_t* t_;
  qt::Rng& rng_;
  std::vector<int32_t> all_;
  std::vector<Node> nodes_;
};

inline void Put(std::vector<int32_t>& words, size_t byteOffset, int32_t link, int32_t data) {
  words[byteOffset / 4] = link;
  words[byteOffset / 4 + 1] = data;
}

// Writes the block: root at 0, padding, pairs in breadth-first order, lists.
// The result is 8-byte aligned storage as words.
inline std::vector<int32_t> Layout(const std::vector<Node>& nodes) {
  std::vector<size_t> at(nodes.size(), 0);
  std::vector<int> order{0};
  size_t next = 16;
  for (size_t q = 0; q < order.size(); ++q) {
    const Node& n = nodes[order[q]];
    if (n.leaf) continue;
    at[n.below] = next;
    at[n.above] = next + 8;
    next += 16;
    order.push_back(n.below);
    order.push_back(n.above);
  }
  size_t listBytes = 0;
  for (const Node& n : nodes)
    if (n.leaf && !n.pack) listBytes += 4 * n.triangles.size();
  std::vector<int32_t> words((next + listBytes) / 4 + 2, 0);
  size_t list = next;
  for (int i : order) {
    const Node& n = nodes[i];
    if (!n.leaf) {
      int32_t data;
      std::memcpy(&data, &n.split, 4);
      Put(words, at[i], int32_t(at[n.below] - at[i]) | n.axis, data);
    } else if (n.pack) {
      std::vector<int32_t> s = n.triangles;
      const uint32_t top = 0x80000000u;
      if (s.empty()) Put(words, at[i], int32_t(top | 5), int32_t(top | (123u << 2)));
      if (s.size() == 1) Put(words, at[i], int32_t(top | s[0]), int32_t(top | 1));
      if (s.size() == 2) Put(words, at[i], int32_t(top | s[1]), int32_t(top | (uint32_t(s[0]) << 2) | 2));
      if (s.size() == 3) {
        std::sort(s.begin(), s.end());
        Put(words, at[i], int32_t(top | uint32_t(s[1] - s[0]) << 16 | uint32_t(s[2] - s[1])),
            int32_t(top | (uint32_t(s[1]) << 2) | 3));
      }
    } else {
      Put(words, at[i], int32_t(int64_t(at[i]) - int64_t(list)), int32_t(n.triangles.size()));
      for (size_t j = 0; j < n.triangles.size(); ++j) words[list / 4 + j] = n.triangles[j];
      list += 4 * n.triangles.size();
    }
  }
  return words;
}

}  // namespace hand
