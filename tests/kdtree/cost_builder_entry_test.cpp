// The cost-driven builder through the build entry: worked cases, budget
// edges and failures with the outputs untouched and nothing left allocated,
// and eye rays through its tree against the single-leaf tree of the simple
// mode.
#include <cstring>
#include <vector>

#include "block_reader.h"
#include "cost_builder_scenes.h"
#include "qelr.h"
#include "standin_core.h"

namespace {

qelrKDTreeBuildParams CostParams(uint32_t memoryMiB, uint32_t depth = 50, float quality = 0.5f,
                                 const float* clip = nullptr) {
  return qelrKDTreeBuildParams{KDTreeModeCost, depth, quality, memoryMiB, clip};
}

qelrKDNode* const kUntouched = reinterpret_cast<qelrKDNode*>(uintptr_t(0x5150));

// Builds with sentinels in the outputs; on failure they must be untouched
// and every block given back.  A scene without triangles is built from no
// vertices (through valid pointers).
qelStatus Build(const Scene& s, const qelrKDTreeBuildParams& p, qelrKDNode** tree, int32_t* size) {
  *tree = kUntouched;
  *size = -77;
  const int64_t live = standinLiveBlocks();
  static const float kNoVertex[3] = {0, 0, 0};
  static const int32_t kNoTriangle[4] = {0, 0, 0, 0};
  const bool empty = s.triangles.empty();
  const qelStatus status = qelrKDTreeBuildAlloc(tree, empty ? kNoVertex : s.vertices.data(),
                                                empty ? kNoTriangle : s.triangles.data(),
                                                empty ? 0 : s.VertexCount(), s.TriangleCount(), size, &p);
  if (status != StatusOk) {
    EXPECT_EQ(*tree, kUntouched);
    EXPECT_EQ(*size, -77);
    EXPECT_EQ(standinLiveBlocks(), live);
  } else {
    EXPECT_EQ(standinLiveBlocks(), live + 1);  // the block alone
  }
  return status;
}

TEST(CostBuilderEntry, WorkedCases) {
  qelrKDNode* tree;
  int32_t size;
  // An empty scene: an empty root leaf, 16 bytes.
  ASSERT_EQ(Build(Scene(), CostParams(49), &tree, &size), StatusOk);
  EXPECT_EQ(size, 16);
  EXPECT_EQ(blk::Link(tree), -16);
  EXPECT_EQ(blk::Data(tree), 0);
  qelrKDTreeFree(tree);
  // Everything outside the clip box: the same.
  Scene scene = RandomScene(31, 200);
  const float far[6] = {50, 50, 50, 60, 60, 60};
  ASSERT_EQ(Build(scene, CostParams(100, 50, 0.5f, far), &tree, &size), StatusOk);
  EXPECT_EQ(size, 16);
  EXPECT_EQ(blk::FormOf(tree), blk::Form::Empty);
  qelrKDTreeFree(tree);
  // Depth limit 0: one list leaf of every triangle in order, with one of
  // three equal vertices (flat on every axis) among them.
  scene.AddVertex(5, 5, 5);
  scene.AddTriangle(scene.VertexCount() - 1, scene.VertexCount() - 1, scene.VertexCount() - 1);
  ASSERT_EQ(Build(scene, CostParams(100, 0), &tree, &size), StatusOk);
  ASSERT_EQ(blk::FormOf(tree), blk::Form::List);
  std::vector<int32_t> all(201);
  for (int32_t t = 0; t < 201; ++t) all[t] = t;
  EXPECT_EQ(blk::LeafTriangles(tree), all);
  EXPECT_EQ(size, 16 + 4 * 201);
  qelrKDTreeFree(tree);
}

TEST(CostBuilderEntry, MemoryLimitEdges) {
  Scene one;
  one.AddTriangleAt({0, 0, 0, 1, 0, 0, 0, 1, 1});
  const Scene empty;
  // 32 MiB is 244 bytes short; at 4096 MiB the bytes wrap to 0, at 8192
  // the entry's own test wraps.
  const struct { const Scene* scene; uint32_t mib; qelStatus want; } cases[] = {
      {&one, 31, StatusNoMemory},    {&one, 32, StatusNoMemory},      {&one, 33, StatusAllocFailed},
      {&empty, 48, StatusAllocFailed}, {&empty, 49, StatusOk},        {&one, 80, StatusAllocFailed},
      {&one, 81, StatusOk},          {&one, 4096, StatusNoMemory},    {&one, 8192, StatusNoMemory}};
  for (const auto& c : cases) {
    qelrKDNode* tree;
    int32_t size;
    EXPECT_EQ(Build(*c.scene, CostParams(c.mib), &tree, &size), c.want) << c.mib << " MiB";
    if (c.want == StatusOk) qelrKDTreeFree(tree);
  }
}

TEST(CostBuilderEntry, EachAllocationFailingInTurnLeavesNothing) {
  const Scene s = RandomScene(41, 300);
  const float clip[6] = {1, 1, 1, 9, 9, 9};
  const qelrKDTreeBuildParams p = CostParams(200, 50, 1.0f, clip);
  qelrKDNode* tree;
  int32_t size;
  const int64_t before = standinAllocCalls();
  ASSERT_EQ(Build(s, p, &tree, &size), StatusOk);
  const int64_t calls = standinAllocCalls() - before;
  const std::vector<char> whole(reinterpret_cast<const char*>(tree), reinterpret_cast<const char*>(tree) + size);
  qelrKDTreeFree(tree);
  // The last allocation is the final block, which fails with the same status.
  // The five blocks of sorted events are optional: without one the build
  // sorts node by node, so it succeeds with the same tree.
  int fallbacks = 0;
  for (int64_t k = 1; k <= calls; ++k) {
    standinFailAllocAt(k);
    const qelStatus status = Build(s, p, &tree, &size);
    standinFailAllocAt(0);
    if (status == StatusOk) {
      ++fallbacks;
      EXPECT_EQ(std::vector<char>(reinterpret_cast<const char*>(tree), reinterpret_cast<const char*>(tree) + size),
                whole)
          << "allocation " << k;
      qelrKDTreeFree(tree);
    } else {
      EXPECT_EQ(status, StatusNoMemory) << "allocation " << k << " of " << calls;
    }
  }
  EXPECT_EQ(fallbacks, 5);
}

// Eye rays of one 16 x 16 block through a tree of the scene: the packet
// path, or the single-ray path (a block 15 wide: the same rays, row stride 15).
struct EyeBlock {
  alignas(16) float dir[3][256];
  alignas(16) float dist[256], u[256], v[256];
  alignas(16) int32_t tri[256];
};

void Trace(const Scene& s, const qelrKDNode* tree, const float eye[3], EyeBlock* b, bool packet) {
  std::vector<qelrTriangleAccel> accel(size_t(s.TriangleCount()));
  qelrTriangleAccelInit(accel.data(), s.vertices.data(), s.triangles.data(), s.TriangleCount());
  float box[6];
  qelrSetBoundBox_32f(s.vertices.data(), s.VertexCount(), box);
  const qelrSceneContext context = {box, accel.data(), tree};
  for (float& d : b->dist) d = 3.4028235e38f;
  const float* d[3] = {b->dir[0], b->dir[1], b->dir[2]};
  float* hit[2] = {b->u, b->v};
  qelrIntersectEyeSO_32f(eye, d, b->dist, hit, b->tri, &context, qelrSize{packet ? 16 : 15, 16});
}

TEST(CostBuilderEntry, EyeRaysFindTheSameHitsAsThroughTheSimpleTree) {
  const qelrKDTreeBuildParams simple = {KDTreeModeSimple, 0, 0.0f, 0, nullptr};
  for (int scene = 0; scene < 3; ++scene) {
    const Scene s = RandomScene(61 + scene, scene == 2 ? 3000 : 500);
    qelrKDNode *costTree, *simpleTree;
    int32_t size;
    ASSERT_EQ(Build(s, CostParams(300, 50, scene == 1 ? 0.0f : 1.0f), &costTree, &size), StatusOk);
    ASSERT_EQ(qelrKDTreeBuildAlloc(&simpleTree, s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                   s.TriangleCount(), &size, &simple),
              StatusOk);
    const float eye[3] = {5.0f + scene, 4.0f, -12.0f};
    for (int view = 0; view < 8; ++view) {
      const bool packet = view < 4;
      EyeBlock a, b;
      const float origin[3] = {-0.5f + 0.5f * (view & 1), -0.4f + 0.5f * ((view >> 1) & 1), 1.0f};
      const float stepX[3] = {0.5f / 16, 0, 0}, stepY[3] = {0, 0.5f / 16, 0};
      float* dirs[3] = {a.dir[0], a.dir[1], a.dir[2]};
      qelrCastEye_32f(origin, stepX, stepY, 0, 0, qelrSize{16, 16}, dirs, qelrSize{16, 16});
      std::memcpy(b.dir, a.dir, sizeof a.dir);
      Trace(s, costTree, eye, &a, packet);
      Trace(s, simpleTree, eye, &b, packet);
      int hits = 0;
      for (int i = 0; i < (packet ? 256 : 15 * 16); ++i) {
        hits += b.tri[i] >= 0;
        // Two triangles at one distance (a shared edge) may be found in
        // either order; otherwise the same triangle at the same distance.
        if (a.tri[i] != b.tri[i]) {
          ASSERT_TRUE(a.tri[i] >= 0 && b.tri[i] >= 0) << "ray " << i << ": " << a.tri[i] << " vs " << b.tri[i];
          EXPECT_NEAR(a.dist[i], b.dist[i], 1e-5f * b.dist[i]) << "ray " << i;
        } else {
          EXPECT_EQ(qt::Bits(a.dist[i]), qt::Bits(b.dist[i])) << "ray " << i;
        }
      }
      EXPECT_GT(hits, 10) << "scene " << scene << " view " << view;
    }
    qelrKDTreeFree(costTree);
    qelrKDTreeFree(simpleTree);
  }
}

}  // namespace
