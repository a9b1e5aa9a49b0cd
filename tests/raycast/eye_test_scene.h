// Random scenes (simple-mode trees or blocks laid out by hand) and random
// blocks of eye rays for the eye-ray tests.
#pragma once

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "hand_block.h"
#include "qelr.h"
#include "reference_raycast.h"
#include "test_util.h"

namespace eye_test {

using qt::Bits;

// A random scene of triangles of a few units in a box around the origin,
// with its records, its box, and a tree (simple mode or by hand).
struct TestScene {
  std::vector<float> vertices;
  std::vector<int32_t> triangles;
  std::vector<qelrTriangleAccel> accel;
  float box[6];
  qelrKDNode* simpleTree = nullptr;
  std::vector<int32_t> handBlock;
  std::vector<hand::Node> handNodes;
  qelrSceneContext context;

  // `copies` above 1 lists every triangle that many times (simple trees
  // only), next to each other or a whole list apart, so that hits tie.
  TestScene(qt::Rng& rng, int triangleCount, bool byHand, int copies = 1) {
    for (int t = 0; t < triangleCount; ++t) {
      float center[3];
      for (float& c : center) c = rng.Uniform(-4, 4);
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k) vertices.push_back(center[k] + rng.Uniform(-1.5f, 1.5f));
      // Now and then an axis-aligned, flat or degenerate triangle.
      if (rng.Chance(0.1)) {
        const int k = rng.Int(0, 2);
        for (int j = 0; j < 3; ++j) vertices[vertices.size() - 9 + 3 * j + k] = center[k];
      }
      if (rng.Chance(0.03))
        for (int k = 0; k < 3; ++k) vertices[vertices.size() - 3 + k] = vertices[vertices.size() - 6 + k];
      if (rng.Chance(0.02)) vertices[vertices.size() - 1 - rng.Int(0, 8)] = std::numeric_limits<float>::quiet_NaN();
      for (int j = 0; j < 3; ++j) triangles.push_back(3 * t + j);
      triangles.push_back(0);
    }
    if (copies > 1) {
      const std::vector<int32_t> once = triangles;
      const bool adjacent = rng.Chance(0.5);
      triangles.clear();
      for (int a = 0; a < copies * triangleCount; ++a) {
        const int t = adjacent ? a / copies : a % triangleCount;
        triangles.insert(triangles.end(), &once[4 * t], &once[4 * t + 4]);
      }
      triangleCount *= copies;
    }
    accel.resize(triangleCount);
    EXPECT_EQ(qelrTriangleAccelInit(accel.data(), vertices.data(), triangles.data(), triangleCount), StatusOk);
    EXPECT_EQ(qelrSetBoundBox_32f(vertices.data(), int(vertices.size() / 3), box), StatusOk);
    const qelrKDNode* root;
    if (byHand) {
      hand::TreeMaker maker(vertices.data(), triangles.data(), triangleCount, rng);
      handNodes = maker.Make(box, rng.Int(1, 10));
      handBlock = hand::Layout(handNodes);
      root = reinterpret_cast<const qelrKDNode*>(handBlock.data());
    } else {
      qelrKDTreeBuildParams p{};
      p.mode = KDTreeModeSimple;
      int32_t size = 0;
      EXPECT_EQ(qelrKDTreeBuildAlloc(&simpleTree, vertices.data(), triangles.data(), int(vertices.size() / 3),
                                     triangleCount, &size, &p),
                StatusOk);
      root = simpleTree;
    }
    context.pBound = box;
    context.pAccel = accel.data();
    context.pRootNode = root;
  }
  ~TestScene() { qelrKDTreeFree(simpleTree); }
  ref::Scene Ref() const { return ref::Scene{box, accel.data(), context.pRootNode}; }
};

// A block of rays in guarded planes, with the caller's previous contents.
struct RayBlock {
  int width, height, n;
  qt::GuardedBuffer<float> dx, dy, dz, dist, hu, hv;
  qt::GuardedBuffer<int32_t> tri;
  RayBlock(int w, int h, size_t offset)
      : width(w), height(h), n(w * h), dx(n, offset), dy(n, offset), dz(n, offset), dist(n, offset),
        hu(n, offset), hv(n, offset), tri(n, offset) {}
  const float* dirs[3] = {dx.data(), dy.data(), dz.data()};
  float* hits[2] = {hu.data(), hv.data()};
  const float* const* Dirs() const { return dirs; }
  float* const* Hits() const { return hits; }
  bool GuardsIntact() const {
    return dx.GuardsIntact() && dy.GuardsIntact() && dz.GuardsIntact() && dist.GuardsIntact() && hu.GuardsIntact() &&
           hv.GuardsIntact() && tri.GuardsIntact();
  }
};

// Directions at the scene's triangles from the eye, coherent in some
// blocks, with axis-parallel, near-zero, signed-zero, reversed, huge,
// infinite and NaN components mixed in, and limits of every kind.
inline void FillRays(qt::Rng& rng, RayBlock& b, const float eye[3], const std::vector<float>& vertices) {  // 9 floats per triangle
  const int triangleCount = int(vertices.size() / 9);
  auto aimAtTriangle = [&](float d[3], float jitter) {
    const float* v = &vertices[9 * rng.Int(0, triangleCount - 1)];
    for (int k = 0; k < 3; ++k) d[k] = (v[k] + v[3 + k] + v[6 + k]) / 3 + rng.Uniform(-jitter, jitter) - eye[k];
  };
  const bool coherent = rng.Chance(0.5);
  float aim[3];
  aimAtTriangle(aim, 0.3f);
  for (int i = 0; i < b.n; ++i) {
    float d[3];
    if (coherent)
      for (int k = 0; k < 3; ++k) d[k] = aim[k] + rng.Uniform(-0.3f, 0.3f);
    else
      aimAtTriangle(d, 0.3f);
    switch (rng.Int(0, 16)) {
      case 0: d[rng.Int(0, 2)] = 0.0f; break;
      case 1: d[rng.Int(0, 2)] = -0.0f; break;
      case 2: d[rng.Int(0, 2)] = rng.Chance(0.5) ? 1e-7f : -1.1920929e-7f; break;
      case 3: d[rng.Int(0, 2)] = 2e-7f; break;
      case 4: for (float& c : d) c = -c; break;  // away from the scene
      case 5: { const int k = rng.Int(0, 2); for (int j = 0; j < 3; ++j) if (j != k) d[j] = 0.0f; } break;
      case 6: d[rng.Int(0, 2)] = std::numeric_limits<float>::quiet_NaN(); break;
      case 7: d[rng.Int(0, 2)] = rng.Chance(0.5) ? 1e30f : -std::numeric_limits<float>::infinity(); break;
      default: break;
    }
    b.dx[i] = d[0], b.dy[i] = d[1], b.dz[i] = d[2];
    switch (rng.Int(0, 9)) {
      case 0: b.dist[i] = 0.0f; break;
      case 1: b.dist[i] = -1.0f; break;
      case 2: b.dist[i] = rng.Uniform(0.1f, 1.0f); break;
      case 3: b.dist[i] = std::numeric_limits<float>::infinity(); break;
      default: b.dist[i] = 3.4028235e38f; break;
    }
    b.hu[i] = rng.Uniform(-9, -8);
    b.hv[i] = rng.Uniform(8, 9);
    b.tri[i] = rng.Int(-5, 1000);
  }
}

inline ::testing::AssertionResult SameResults(const float* dist, const float* hu, const float* hv, const int32_t* tri,
                                       RayBlock& b) {
  for (int i = 0; i < b.n; ++i)
    if (tri[i] != b.tri[i] || Bits(dist[i]) != Bits(b.dist[i]) || Bits(hu[i]) != Bits(b.hu[i]) ||
        Bits(hv[i]) != Bits(b.hv[i]))
      return ::testing::AssertionFailure() << "ray " << i << " of " << b.width << "x" << b.height << ": expected "
                                           << tri[i] << " " << qt::Show(dist[i]) << " " << qt::Show(hu[i]) << " "
                                           << qt::Show(hv[i]) << ", got " << b.tri[i] << " " << qt::Show(b.dist[i])
                                           << " " << qt::Show(b.hu[i]) << " " << qt::Show(b.hv[i]);
  return ::testing::AssertionSuccess();
}

// Inside or outside the box; on hand trees now and then a hair off a split
// plane, where the split test's epsilon decides.
inline void RandomEye(qt::Rng& rng, const TestScene& s, float eye[3]) {
  for (int k = 0; k < 3; ++k) eye[k] = rng.Chance(0.3) ? rng.Uniform(-3, 3) : rng.Uniform(-12, 12);
  for (const hand::Node& n : s.handNodes)
    if (!n.leaf && rng.Chance(0.3)) {
      eye[n.axis] = n.split + rng.Uniform(-3e-5f, 3e-5f);
      break;
    }
}

}  // namespace eye_test
