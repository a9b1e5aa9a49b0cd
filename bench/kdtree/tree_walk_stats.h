// A plain front-to-back walk of a tree block that counts what a ray costs:
// nodes visited and triangles tested until the nearest hit is certain.
// Used to report a tree's quality beside the timings.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qelr.h"

struct WalkCounts {
  double nodes = 0, triangles = 0;
  int64_t rays = 0;
};

namespace walk_detail {

inline const qelrKDNode* At(const qelrKDNode* node, int64_t bytes) {
  return reinterpret_cast<const qelrKDNode*>(reinterpret_cast<const uint8_t*>(node) + bytes);
}

// The triangle indices of a leaf, whatever its form.
inline int LeafTriangles(const qelrKDNode* leaf, std::vector<int32_t>* out) {
  out->clear();
  const int32_t data = leaf->data, link = leaf->link;
  if (data == 0) return 0;
  if (data > 0) {
    const int32_t* list = reinterpret_cast<const int32_t*>(At(leaf, -static_cast<int64_t>(link & -4)));
    out->assign(list, list + data);
  } else {
    const int32_t count = data & 3;
    const int32_t mid = static_cast<int32_t>((static_cast<uint32_t>(data) >> 2) & 0x1FFFFFFFu);
    const int32_t low = link & 0x7FFFFFFF;
    if (count == 1) out->push_back(low);
    if (count == 2) out->insert(out->end(), {low, mid});
    if (count == 3) out->insert(out->end(), {mid - (low >> 16), mid, mid + (link & 0xFFFF)});
  }
  return static_cast<int>(out->size());
}

// Ray against triangle in double precision; the distance or -1.
inline double Hit(const float* o, const float* d, const float* a, const float* b, const float* c) {
  double e1[3], e2[3], p[3], q[3], s[3];
  for (int k = 0; k < 3; ++k) {
    e1[k] = double(b[k]) - a[k];
    e2[k] = double(c[k]) - a[k];
    s[k] = double(o[k]) - a[k];
  }
  p[0] = d[1] * e2[2] - d[2] * e2[1];
  p[1] = d[2] * e2[0] - d[0] * e2[2];
  p[2] = d[0] * e2[1] - d[1] * e2[0];
  const double det = e1[0] * p[0] + e1[1] * p[1] + e1[2] * p[2];
  if (det == 0) return -1;
  const double u = (s[0] * p[0] + s[1] * p[1] + s[2] * p[2]) / det;
  if (u < 0 || u > 1) return -1;
  q[0] = s[1] * e1[2] - s[2] * e1[1];
  q[1] = s[2] * e1[0] - s[0] * e1[2];
  q[2] = s[0] * e1[1] - s[1] * e1[0];
  const double v = (d[0] * q[0] + d[1] * q[1] + d[2] * q[2]) / det;
  if (v < 0 || u + v > 1) return -1;
  const double t = (e2[0] * q[0] + e2[1] * q[1] + e2[2] * q[2]) / det;
  return t > 0 ? t : -1;
}

}  // namespace walk_detail

// Walks one ray from `origin` along `direction` through the tree over the
// scene box `box`; adds its costs to `counts` and returns the nearest
// triangle or -1.
inline int32_t WalkRay(const qelrKDNode* root, const float box[6], const float* vertices,
                       const int32_t* triangles, const float origin[3], const float direction[3],
                       WalkCounts* counts) {
  using namespace walk_detail;
  double tNear = 0, tFar = INFINITY;
  for (int k = 0; k < 3; ++k) {
    const double inv = 1.0 / direction[k];
    double t0 = (box[k] - origin[k]) * inv, t1 = (box[k + 3] - origin[k]) * inv;
    if (t0 > t1) std::swap(t0, t1);
    if (!(t0 <= t1)) continue;  // parallel to the slab: 0 * inf
    tNear = std::max(tNear, t0);
    tFar = std::min(tFar, t1);
  }
  ++counts->rays;
  if (tNear > tFar) return -1;
  struct Pending {
    const qelrKDNode* node;
    double tNear, tFar;
  };
  Pending stack[64];
  int depth = 0;
  const qelrKDNode* node = root;
  double best = INFINITY;
  int32_t bestTriangle = -1;
  std::vector<int32_t> list;
  for (;;) {
    counts->nodes += 1;
    if (node->link >= 0) {
      const int axis = node->link & 3;
      float split;
      std::memcpy(&split, &node->data, 4);
      const qelrKDNode* pair = At(node, node->link & ~7);
      const bool belowFirst = origin[axis] < split || (origin[axis] == split && direction[axis] <= 0);
      const qelrKDNode* nearChild = belowFirst ? pair : pair + 1;
      const qelrKDNode* farChild = belowFirst ? pair + 1 : pair;
      const double t = (double(split) - origin[axis]) / direction[axis];
      if (t > tFar || t <= 0) {
        node = nearChild;
      } else if (t < tNear) {
        node = farChild;
      } else {
        stack[depth++] = {farChild, t, tFar};
        node = nearChild;
        tFar = t;
      }
      continue;
    }
    const int n = LeafTriangles(node, &list);
    counts->triangles += n;
    for (int32_t index : list) {
      const int32_t* tri = triangles + 4 * static_cast<int64_t>(index);
      const double t = Hit(origin, direction, vertices + 3 * tri[0], vertices + 3 * tri[1],
                           vertices + 3 * tri[2]);
      if (t > 0 && t < best) {
        best = t;
        bestTriangle = index;
      }
    }
    if (best <= tFar || depth == 0) return bestTriangle;
    --depth;
    node = stack[depth].node;
    tNear = stack[depth].tNear;
    tFar = stack[depth].tFar;
  }
}
