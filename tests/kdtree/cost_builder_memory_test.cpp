// The builder's budget and its failure paths: every failure releases every
// block it took, whether the budget, the pools, the core's memory or a
// split's counts fail.
#include <cmath>
#include <limits>

#include "cost_builder_scenes.h"
#include "standin_core.h"

namespace {

constexpr uint32_t kMiB = 1u << 20;

qelStatus BuildAndRelease(const Scene& s, const KDCostSettings& settings) {
  KDCostContext* context = nullptr;
  qelStatus status = localKDBuildInMemory(s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                          s.TriangleCount(), settings, &context);
  if (status == StatusOk) {
    EXPECT_NE(context, nullptr);
    localKDReleaseContext(context);
  } else {
    EXPECT_EQ(context, nullptr);
  }
  return status;
}

Scene OneTriangle() {
  Scene s;
  s.AddVertex(0, 0, 0);
  s.AddVertex(1, 0, 0);
  s.AddVertex(0, 1, 1);
  s.AddTriangle(0, 1, 2);
  return s;
}

TEST(CostBuilderMemory, BudgetEdges) {
  struct Case {
    const char* what;
    Scene scene;
    uint32_t limitMiB;
    qelStatus want;
  };
  Scene empty;
  empty.AddVertex(0, 0, 0);  // read for the box, not counted
  Scene emptyNoVertex;
  emptyNoVertex.vertices = {0, 0, 0};
  const Case cases[] = {
      // 32 MiB is 244 bytes short of the least need.
      {"32 MiB", OneTriangle(), 32, StatusNoMemory},
      // 33 passes the need, but the pools leave no room for a chunk.
      {"33 MiB", OneTriangle(), 33, StatusAllocFailed},
      // An empty scene needs one chunk (the root's pair).
      {"empty, 48", Scene(), 48, StatusAllocFailed},
      {"empty, 49", Scene(), 49, StatusOk},
      // One triangle needs three: a polygon array, a pair, a leaf list.
      {"one triangle, 80", OneTriangle(), 80, StatusAllocFailed},
      {"one triangle, 81", OneTriangle(), 81, StatusOk},
      // 4096 MiB wraps to 0 bytes.
      {"4096 MiB", OneTriangle(), 4096, StatusNoMemory},
  };
  for (const Case& c : cases) {
    Scene s = c.scene;
    if (s.vertices.empty()) s.vertices = {0, 0, 0};  // the box reads one point regardless
    const bool noVertex = c.scene.vertices.empty();
    const int64_t live = standinLiveBlocks();
    KDCostContext* context = nullptr;
    const qelStatus status = localKDBuildInMemory(s.vertices.data(), s.triangles.data(),
                                                  noVertex ? 0 : s.VertexCount(), s.TriangleCount(),
                                                  KDCostSettings{50, 0.5f, c.limitMiB << 20, nullptr},
                                                  &context);
    EXPECT_EQ(status, c.want) << c.what;
    if (context) localKDReleaseContext(context);
    EXPECT_EQ(standinLiveBlocks(), live) << c.what;
  }
}

TEST(CostBuilderMemory, BudgetRunningOutAfterSplitsReleasesEverything) {
  // Budget for two chunks: the polygon arrays and the node pairs fit, the
  // first leaf list does not, with frames still waiting on the stack.
  Scene s = RandomScene(8, 400);
  const int64_t live = standinLiveBlocks();
  EXPECT_EQ(BuildAndRelease(s, KDCostSettings{50, 1.0f, 80 * kMiB, nullptr}), StatusAllocFailed);
  EXPECT_EQ(standinLiveBlocks(), live);
  EXPECT_EQ(BuildAndRelease(s, KDCostSettings{50, 1.0f, 81 * kMiB, nullptr}), StatusOk);
  EXPECT_EQ(standinLiveBlocks(), live);
}

TEST(CostBuilderMemory, EachAllocationFailingInTurnReleasesEverything) {
  Scene s = RandomScene(21, 500);
  const float clip[6] = {1, 1, 1, 9, 9, 9};
  const KDCostSettings settings{50, 1.0f, 200 * kMiB, clip};
  const int64_t live = standinLiveBlocks();
  const int64_t before = standinAllocCalls();
  ASSERT_EQ(BuildAndRelease(s, settings), StatusOk);
  const int64_t calls = standinAllocCalls() - before;
  ASSERT_GE(calls, 18);  // context, 12 event arrays, 2 pools, 3 chunks
  for (int64_t k = 1; k <= calls; ++k) {
    standinFailAllocAt(k);
    EXPECT_EQ(BuildAndRelease(s, settings), StatusNoMemory) << "allocation " << k;
    standinFailAllocAt(0);
    EXPECT_EQ(standinLiveBlocks(), live) << "allocation " << k;
  }
}

TEST(CostBuilderMemory, ASplitThatCannotReproduceItsCountsIsAMismatch) {
  // A triangle whose first corner has a NaN coordinate (not the array's
  // first vertex, so the box stays finite): its extremes on that axis are
  // the NaN, which the search counts above every plane and the partition
  // cuts.  The scene is long in x, so that the root splits on x.
  Scene s = RandomScene(2, 1000);
  for (size_t k = 0; k < s.vertices.size(); k += 3) s.vertices[k] *= 10.0f;
  const int32_t v = s.VertexCount();
  s.AddVertex(std::numeric_limits<float>::quiet_NaN(), 5, 6);
  s.AddVertex(50, 5, 5);
  s.AddVertex(60, 6, 5);
  s.AddTriangle(v, v + 1, v + 2);
  const int64_t live = standinLiveBlocks();
  EXPECT_EQ(BuildAndRelease(s, KDCostSettings{50, 1.0f, 100 * kMiB, nullptr}), StatusBuildMismatch);
  EXPECT_EQ(standinLiveBlocks(), live);
}

}  // namespace
