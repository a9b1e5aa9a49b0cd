// Eye directions and the eye-ray nearest-hit search, both paths, against the
// scalar models of reference_raycast.h, on simple-mode trees and on blocks
// laid out by hand.
#include <algorithm>
#include <cstring>
#include <vector>

#include "eye_test_scene.h"
#include "hand_block.h"
#include "qelr.h"
#include "reference_raycast.h"
#include "test_util.h"

namespace {

using qt::Bits;
using qt::SameBits;
using eye_test::FillRays;
using eye_test::RandomEye;
using eye_test::RayBlock;
using eye_test::SameResults;
using eye_test::TestScene;

TEST(CastEye, BothFormsMatchTheirModels) {
  qt::Rng rng(31);
  const float origin[3] = {-1.25f, 0.7f, 1.0f};
  const float stepX[3] = {0.0123f, 0.0007f, -0.0001f};
  const float stepY[3] = {0.0003f, -0.0117f, 0.0002f};
  for (int width : {1, 3, 4, 5, 8, 12, 16}) {
    for (int height : {1, 2, 7}) {
      for (size_t offset : {0, 4, 12}) {
        const int n = width * height;
        qt::GuardedBuffer<float> x(n, offset), y(n, offset), z(n, offset);
        float* planes[3] = {x.data(), y.data(), z.data()};
        const int blockCol = rng.Int(0, 20), blockRow = rng.Int(0, 20);
        const qelrSize blockSize{rng.Int(1, 64), rng.Int(1, 64)};
        ASSERT_EQ(qelrCastEye_32f(origin, stepX, stepY, blockCol, blockRow, blockSize, planes, qelrSize{width, height}),
                  StatusOk);
        std::vector<float> e(3 * n);
        float* expected[3] = {&e[0], &e[n], &e[2 * n]};
        const int col0 = blockCol * blockSize.width, row0 = blockRow * blockSize.height;
        (width % 4 == 0 ? ref::CastEyeVector : ref::CastEyeScalar)(origin, stepX, stepY, col0, row0, width, height,
                                                                   expected);
        for (int k = 0; k < 3; ++k)
          ASSERT_TRUE(SameBits(expected[k], planes[k], n)) << width << "x" << height << " offset " << offset << " k " << k;
        EXPECT_TRUE(x.GuardsIntact() && y.GuardsIntact() && z.GuardsIntact());
      }
    }
  }
}

TEST(CastEye, EmptySizesWriteNothingAndOnlyPDirectionIsTested) {
  const float v[3] = {0.1f, 0.2f, 0.3f};
  float untouched[4] = {9, 9, 9, 9};
  float* p[3] = {untouched, untouched, untouched};
  EXPECT_EQ(qelrCastEye_32f(v, v, v, 0, 0, qelrSize{4, 4}, p, qelrSize{0, 4}), StatusOk);
  EXPECT_EQ(qelrCastEye_32f(v, v, v, 0, 0, qelrSize{4, 4}, p, qelrSize{4, -1}), StatusOk);
  EXPECT_EQ(untouched[0], 9.0f);
  EXPECT_EQ(qelrCastEye_32f(v, v, v, 0, 0, qelrSize{4, 4}, nullptr, qelrSize{4, 4}), StatusNullPointer);
  EXPECT_EQ(qelrCastEye_32f(nullptr, nullptr, nullptr, 0, 0, qelrSize{4, 4}, p, qelrSize{0, 0}), StatusOk);
}

// Runs the export on the block and the matching model on a copy.
::testing::AssertionResult RunAndCompare(const TestScene& s, const float eye[3], RayBlock& b, bool packetPath) {
  std::vector<float> dist(b.dist.data(), b.dist.data() + b.n), hu(b.hu.data(), b.hu.data() + b.n),
      hv(b.hv.data(), b.hv.data() + b.n);
  std::vector<int32_t> tri(b.tri.data(), b.tri.data() + b.n);
  const float* const* dirs = b.Dirs();
  if (packetPath) {
    float* hits[2] = {hu.data(), hv.data()};
    ref::PacketBlock(s.Ref(), eye, dirs, dist.data(), hits, tri.data(), b.width, b.height);
  } else {
    for (int i = 0; i < b.n; ++i) {
      const float d[3] = {dirs[0][i], dirs[1][i], dirs[2][i]};
      ref::SingleRay(s.Ref(), eye, d, dist[i], hu[i], hv[i], tri[i]);
    }
  }
  const qelStatus status =
      qelrIntersectEyeSO_32f(eye, b.Dirs(), b.dist.data(), b.Hits(), b.tri.data(), &s.context, qelrSize{b.width, b.height});
  if (status != StatusOk) return ::testing::AssertionFailure() << "status " << status;
  if (!b.GuardsIntact()) return ::testing::AssertionFailure() << "wrote outside the planes";
  return SameResults(dist.data(), hu.data(), hv.data(), tri.data(), b);
}

// Random scenes, eyes and blocks, every other one on a hand-laid tree.
// Packet blocks: sides multiples of 4, aligned planes.  Single-ray blocks:
// sides that are not multiples of 4, or planes off 16 bytes, or both; the
// first is 6x4 and aligned (width 6 is not a packet block either).
void CompareOnRandomBlocks(uint64_t seed, bool packetPath) {
  qt::Rng rng(seed);
  int hits = 0;
  for (int round = 0; round < 300; ++round) {
    TestScene s(rng, rng.Int(1, 60), round % 2 == 1);
    float eye[3];
    RandomEye(rng, s, eye);
    int width = 4 * rng.Int(1, 4), height = 4 * rng.Int(1, 3);
    size_t offset = 0;
    if (!packetPath) {
      width = round % 3 == 0 ? width : rng.Int(1, 11);
      height = rng.Int(1, 9);
      offset = (width % 4 == 0 && height % 4 == 0) ? 4 * rng.Int(1, 3) : 4 * rng.Int(0, 3);
      if (round == 0) width = 6, height = 4, offset = 0;
    }
    RayBlock b(width, height, offset);
    FillRays(rng, b, eye, s.vertices);
    ASSERT_TRUE(RunAndCompare(s, eye, b, packetPath)) << "round " << round;
    for (int i = 0; i < b.n; ++i) hits += b.tri[i] >= 0;
  }
  EXPECT_GT(hits, 100);  // the scenes are hit, not only missed
}

TEST(IntersectEye, SingleRayPathMatchesModel) { CompareOnRandomBlocks(41, false); }
TEST(IntersectEye, PacketPathMatchesModel) { CompareOnRandomBlocks(42, true); }

// Every triangle listed two or three times: equal distances, where only the
// first copy in list order may be taken, within a group of four triangles
// and across groups.
TEST(IntersectEye, TiesKeepTheEarlierTriangle) {
  qt::Rng rng(46);
  int hits = 0;
  for (int round = 0; round < 120; ++round) {
    const bool packetPath = round % 2 == 0;
    TestScene s(rng, rng.Int(1, 9), false, rng.Int(2, 3));
    float eye[3];
    RandomEye(rng, s, eye);
    RayBlock b(packetPath ? 8 : 7, 4, packetPath ? 0 : 4);
    FillRays(rng, b, eye, s.vertices);
    ASSERT_TRUE(RunAndCompare(s, eye, b, packetPath)) << "round " << round;
    for (int i = 0; i < b.n; ++i) hits += b.tri[i] >= 0;
  }
  EXPECT_GT(hits, 200);
}

TEST(IntersectEye, PacketPathMissesAndDisabledRays) {
  qt::Rng rng(44);
  TestScene s(rng, 20, false);
  const float eye[3] = {0, 0, -20};
  RayBlock b(4, 4, 0);
  auto run = [&] {
    ASSERT_EQ(qelrIntersectEyeSO_32f(eye, b.Dirs(), b.dist.data(), b.Hits(), b.tri.data(), &s.context, qelrSize{4, 4}),
              StatusOk);
  };
  // All limits 0.0: the tile is skipped, pTriangle is -1, pHit kept.
  for (int i = 0; i < 16; ++i) b.dx[i] = 0.01f, b.dy[i] = 0.02f, b.dz[i] = 1.0f, b.dist[i] = 0.0f, b.hu[i] = 7.0f;
  run();
  for (int i = 0; i < 16; ++i) EXPECT_TRUE(b.tri[i] == -1 && b.hu[i] == 7.0f) << i;
  // One active ray (5): the rays of its row and octant get pHit 0.0 and
  // keep pDist; rays of other rows or octants keep pHit.
  b.dx[6] = -0.01f;
  b.dist[5] = 1e30f;
  run();
  for (int i : {4, 7}) EXPECT_TRUE(Bits(b.hu[i]) == 0 && b.dist[i] == 0.0f) << i;
  for (int i : {0, 3, 6, 8, 15}) EXPECT_EQ(b.hu[i], 7.0f) << i;
}

// Large triangles parallel to the xy plane at the given heights, a block of
// one split at z = 5 with one leaf on each side, and 16 equal rays along
// +z from (-1, -2, eyeZ).  Returns the triangle each path reports.
struct SplitCase {
  std::vector<int32_t> below, above;
  float eyeZ;
  float boxTopZ;
  float limit;
};

struct Layered {
  std::vector<float> v;
  std::vector<int32_t> t;
  std::vector<qelrTriangleAccel> accel;
  explicit Layered(std::initializer_list<float> heights) {
    int i = 0;
    for (float z : heights) {
      const float corners[9] = {-10, -10, z, 10, -10, z, -10, 10, z};
      v.insert(v.end(), corners, corners + 9);
      t.insert(t.end(), {3 * i, 3 * i + 1, 3 * i + 2, 0});
      ++i;
    }
    accel.resize(i);
    qelrTriangleAccelInit(accel.data(), v.data(), t.data(), i);
  }
};

// Both paths on the same case: {single-ray triangle, packet triangle}.
std::pair<int32_t, int32_t> RunSplitCase(const Layered& scene, const SplitCase& c) {
  // Root, padding, the pair, then the lists (all leaves as lists or empty).
  std::vector<int32_t> block(8 + c.below.size() + c.above.size() + 2, 0);
  float split = 5.0f;
  std::memcpy(&block[1], &split, 4);
  block[0] = 16 | 2;
  int32_t list = 32;
  block[4] = 16 - list, block[5] = int32_t(c.below.size());
  for (size_t j = 0; j < c.below.size(); ++j) block[8 + j] = c.below[j];
  list += 4 * int32_t(c.below.size());
  block[6] = 24 - list, block[7] = int32_t(c.above.size());
  for (size_t j = 0; j < c.above.size(); ++j) block[8 + c.below.size() + j] = c.above[j];
  const float box[6] = {-3, -3, -1, 3, 3, c.boxTopZ};
  const qelrSceneContext context{box, scene.accel.data(), reinterpret_cast<const qelrKDNode*>(block.data())};

  const float eye[3] = {-1.0f, -2.0f, c.eyeZ};
  alignas(16) float dx[16] = {}, dy[16] = {}, dz[16], dist[16], hu[16], hv[16];
  alignas(16) int32_t tri[16];
  for (float& d : dz) d = 1.0f;
  const float* dirs[3] = {dx, dy, dz};
  float* hits[2] = {hu, hv};
  int32_t found[2];
  int path = 0;
  for (qelrSize size : {qelrSize{1, 16}, qelrSize{4, 4}}) {
    for (float& d : dist) d = c.limit;
    EXPECT_EQ(qelrIntersectEyeSO_32f(eye, dirs, dist, hits, tri, &context, size), StatusOk);
    for (int i = 1; i < 16; ++i) EXPECT_EQ(tri[i], tri[0]);
    found[path++] = tri[0];
  }
  return {found[0], found[1]};
}

TEST(IntersectEye, SplitTestDetailsOnAHandBlock) {
  // Triangles 0..3 at z = 3, 2, 6, 8, their normals along +z like the rays:
  // every hit here is on a back face.
  const Layered scene({3.0f, 2.0f, 6.0f, 8.0f});
  using Found = std::pair<int32_t, int32_t>;
  // The limit is exclusive.  The packet path's t is 3 times the refined
  // 12-bit reciprocal of 1, which may lie just below 3.
  EXPECT_EQ(RunSplitCase(scene, {{0}, {}, 0.0f, 10.0f, 3.0f * ref::RcpNewton(1.0f)}), Found(-1, -1));
  EXPECT_EQ(RunSplitCase(scene, {{0}, {}, 0.0f, 10.0f, 3.0f}).first, -1);
  // A triangle through the eye is not hit: t must be above 0.
  EXPECT_EQ(RunSplitCase(scene, {{0}, {}, 3.0f, 10.0f, 1e30f}), Found(-1, -1));
  EXPECT_EQ(RunSplitCase(scene, {{0}, {}, 0.0f, 10.0f, 3.001f}), Found(0, 0));
  // After a hit nearer than the split, the walk ends: the upper leaf's
  // triangle at z = 2 is never tested.
  EXPECT_EQ(RunSplitCase(scene, {{0}, {1}, 0.0f, 10.0f, 1e30f}), Found(0, 0));
  // The eye a hair above the split: the single-ray test's epsilon still
  // visits the lower child first, the packet path goes to the upper only.
  EXPECT_EQ(RunSplitCase(scene, {{2}, {3}, 5.000005f, 10.0f, 1e30f}), Found(2, 3));
  // The box ends just short of the split.  0.0001 is added to the far end of
  // the interval, and the single-ray test allows 1e-5 more.
  EXPECT_EQ(RunSplitCase(scene, {{}, {2}, 0.0f, 5.0f - 5e-5f, 1e30f}), Found(2, 2));
  EXPECT_EQ(RunSplitCase(scene, {{}, {2}, 0.0f, 5.0f - 1.05e-4f, 1e30f}), Found(2, -1));
  EXPECT_EQ(RunSplitCase(scene, {{}, {2}, 0.0f, 5.0f - 1.15e-4f, 1e30f}), Found(-1, -1));  // 1.5e-5 short
  EXPECT_EQ(RunSplitCase(scene, {{}, {2}, 0.0f, 5.0f - 2e-4f, 1e30f}), Found(-1, -1));
}

}  // namespace
