// Scenes and checks shared by the builder's tests: seeded random triangle
// soups, a walk over the in-memory tree that yields each leaf with its box,
// and an exact-enough triangle/box overlap test.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <cmath>
#include <functional>
#include <vector>

#include "kdtree/kd_cost_builder.h"
#include "test_util.h"

struct Scene {
  std::vector<float> vertices;     // 3 per vertex
  std::vector<int32_t> triangles;  // 4 per triangle, word 3 unused
  int32_t VertexCount() const { return int32_t(vertices.size() / 3); }
  int32_t TriangleCount() const { return int32_t(triangles.size() / 4); }
  void AddVertex(float x, float y, float z) { vertices.insert(vertices.end(), {x, y, z}); }
  void AddTriangle(int32_t a, int32_t b, int32_t c) {
    for (int32_t word : {a, b, c, -7}) triangles.push_back(word);
  }
  const float* Vertex(int32_t index) const { return &vertices[3 * size_t(index)]; }
  // A triangle of its own three new vertices.
  void AddTriangleAt(std::array<float, 9> p) {
    const int32_t v = VertexCount();
    for (int k = 0; k < 3; ++k) AddVertex(p[3 * k], p[3 * k + 1], p[3 * k + 2]);
    AddTriangle(v, v + 1, v + 2);
  }
  std::array<float, 6> Bounds() const {
    std::array<float, 6> box = {INFINITY, INFINITY, INFINITY, -INFINITY, -INFINITY, -INFINITY};
    for (size_t k = 0; k < vertices.size(); ++k)
      box[k % 3] = std::min(box[k % 3], vertices[k]), box[k % 3 + 3] = std::max(box[k % 3 + 3], vertices[k]);
    return box;
  }
};

// Small triangles scattered through a cube, some flat on an axis, some
// sharing vertices on a coarse grid, some large enough to cross many cells.
inline Scene RandomScene(uint64_t seed, int32_t count, float size = 10.0f) {
  qt::Rng rng(seed);
  Scene s;
  for (int32_t t = 0; t < count; ++t) {
    float base[3], p[9];
    for (float& b : base) b = rng.Uniform(0.0f, size);
    const float spread = rng.Chance(0.05) ? size * 0.5f : size * 0.05f;
    const int flat = rng.Chance(0.2) ? rng.Int(0, 2) : -1;
    const bool grid = rng.Chance(0.3);
    for (int k = 0; k < 9; ++k) {
      p[k] = base[k % 3] + rng.Uniform(-spread, spread);
      if (grid) p[k] = std::round(p[k]);
      if (k % 3 == flat) p[k] = base[k % 3];
    }
    s.AddTriangleAt({p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8]});
  }
  return s;
}

using LeafVisitor = std::function<void(const KDBuildNode& leaf, const std::array<float, 6>& box, int depth)>;

// Visits every leaf of the in-memory tree, first child first.
inline void ForEachLeaf(const KDBuildNode& node, std::array<float, 6> box, int depth,
                        const LeafVisitor& visit) {
  if (node.kind == kKDLeafKind) {
    visit(node, box, depth);
    return;
  }
  const KDBuildNode* pair = static_cast<const KDBuildNode*>(node.target);
  std::array<float, 6> below = box, above = box;
  below[node.kind + 3] = node.value.split;
  above[node.kind] = node.value.split;
  ForEachLeaf(pair[0], below, depth + 1, visit);
  ForEachLeaf(pair[1], above, depth + 1, visit);
}

inline std::vector<int32_t> LeafList(const KDBuildNode& leaf) {
  const int32_t* list = static_cast<const int32_t*>(leaf.target);
  return std::vector<int32_t>(list, list + leaf.value.count);
}

// The in-memory tree as plain words, for comparing two builds.
inline void Flatten(const KDBuildNode& node, std::vector<int64_t>* out) {
  out->push_back(node.kind);
  if (node.kind == kKDLeafKind) {
    out->push_back(node.value.count);
    for (int32_t index : LeafList(node)) out->push_back(index);
    return;
  }
  uint32_t bits;
  std::memcpy(&bits, &node.value.split, 4);
  out->push_back(bits);
  const KDBuildNode* pair = static_cast<const KDBuildNode*>(node.target);
  Flatten(pair[0], out);
  Flatten(pair[1], out);
}

// Does the triangle meet the box grown (margin > 0) or shrunk (margin < 0)
// by `margin` on every side?  Separating-axis test in double precision.
inline bool Overlaps(const float* a, const float* b, const float* c, const std::array<float, 6>& box,
                     double margin) {
  // The triangle's own bounds first: most pairs part there.
  for (int k = 0; k < 3; ++k) {
    const double lo = std::min({a[k], b[k], c[k]}), hi = std::max({a[k], b[k], c[k]});
    if (lo > double(box[k + 3]) + margin || hi < double(box[k]) - margin) return false;
  }
  double center[3], half[3], v[3][3];
  for (int k = 0; k < 3; ++k) {
    center[k] = 0.5 * (double(box[k]) + double(box[k + 3]));
    half[k] = 0.5 * (double(box[k + 3]) - double(box[k])) + margin;
    if (half[k] < 0) return false;
    v[0][k] = a[k] - center[k], v[1][k] = b[k] - center[k], v[2][k] = c[k] - center[k];
  }
  auto separated = [&](const double axis[3]) {
    double lo = INFINITY, hi = -INFINITY, r = 0;
    for (int i = 0; i < 3; ++i) {
      double d = v[i][0] * axis[0] + v[i][1] * axis[1] + v[i][2] * axis[2];
      lo = std::min(lo, d);
      hi = std::max(hi, d);
    }
    for (int k = 0; k < 3; ++k) r += half[k] * std::fabs(axis[k]);
    return lo > r || hi < -r;
  };
  auto cross = [](const double* p, const double* q, double* out) {
    out[0] = p[1] * q[2] - p[2] * q[1], out[1] = p[2] * q[0] - p[0] * q[2], out[2] = p[0] * q[1] - p[1] * q[0];
  };
  const double units[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  double e[3][3], axis[3];
  for (int i = 0; i < 3; ++i) {
    if (separated(units[i])) return false;
    for (int k = 0; k < 3; ++k) e[i][k] = v[(i + 1) % 3][k] - v[i][k];
  }
  cross(e[0], e[1], axis);
  if (separated(axis)) return false;
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 3; ++k) {
      cross(e[i], units[k], axis);
      if (separated(axis)) return false;
    }
  return true;
}
