// Failures in the middle of the walk release every block taken: the budget
// running out with frames waiting on the stack, and a split whose counts
// cannot be reproduced.  (The budget edges and the core failing each
// allocation in turn are tested through the build entry.)
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
