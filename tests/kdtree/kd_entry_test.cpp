// The build entry's checks in their order, the simple builder and the
// release function, through the exports.
#include <cstring>
#include <vector>

#include "block_reader.h"
#include "qelr.h"
#include "standin_core.h"
#include "test_util.h"

namespace {

const float kVertices[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
const int32_t kTriangles[4] = {0, 1, 2, 0};

qelrKDTreeBuildParams Params(uint32_t mode, uint32_t depth = 10, float quality = 0.5f, uint32_t memory = 64) {
  qelrKDTreeBuildParams p;
  std::memset(&p, 0, sizeof p);
  p.mode = mode;
  p.depthLimit = depth;
  p.qualityLevel = quality;
  p.memoryLimit = memory;
  p.clipBox = nullptr;
  return p;
}

// Runs the entry with sentinels in the outputs and checks that a failure
// leaves them alone.
qelStatus Build(const qelrKDTreeBuildParams* params, int32_t vertexCount = 3, int32_t triangleCount = 1,
                bool nullTree = false, bool nullVertices = false, bool nullTriangles = false, bool nullSize = false) {
  qelrKDNode* tree = reinterpret_cast<qelrKDNode*>(uintptr_t(0x1234));
  int32_t size = -77;
  const qelStatus s = qelrKDTreeBuildAlloc(nullTree ? nullptr : &tree, nullVertices ? nullptr : kVertices,
                                           nullTriangles ? nullptr : kTriangles, vertexCount, triangleCount,
                                           nullSize ? nullptr : &size, params);
  if (s != StatusOk) {
    EXPECT_EQ(tree, reinterpret_cast<qelrKDNode*>(uintptr_t(0x1234)));
    EXPECT_EQ(size, -77);
  } else {
    qelrKDTreeFree(tree);
  }
  return s;
}

TEST(KDTreeBuildAlloc, ChecksComeInTheStatedOrder) {
  const qelrKDTreeBuildParams simple = Params(KDTreeModeSimple);
  EXPECT_EQ(Build(&simple, 3, 1, true), StatusNullPointer);
  EXPECT_EQ(Build(&simple, 3, 1, false, true), StatusNullPointer);
  EXPECT_EQ(Build(&simple, 3, 1, false, false, true), StatusNullPointer);
  EXPECT_EQ(Build(&simple, 3, 1, false, false, false, true), StatusNullPointer);
  // Counts are tested before params is.
  EXPECT_EQ(Build(nullptr, -1, 1), StatusBadSize);
  EXPECT_EQ(Build(nullptr, 3, -1), StatusBadSize);
  EXPECT_EQ(Build(nullptr, 3, 1), StatusNullPointer);
  // An unknown mode wins over a bad depth limit.
  const qelrKDTreeBuildParams unknown = Params(0, 99);
  EXPECT_EQ(Build(&unknown), StatusBadArgument);
}

TEST(KDTreeBuildAlloc, DepthLimitIsTestedInBothModes) {
  for (uint32_t mode : {uint32_t(KDTreeModeSimple), uint32_t(KDTreeModeCost)}) {
    for (uint32_t depth : {51u, 4294967295u}) {
      const qelrKDTreeBuildParams p = Params(mode, depth, 0.5f, 31);
      EXPECT_EQ(Build(&p), StatusOutOfRange) << mode << " " << depth;
    }
  }
  const qelrKDTreeBuildParams simple50 = Params(KDTreeModeSimple, 50);
  EXPECT_EQ(Build(&simple50), StatusOk);
  // In cost mode a limit of 50 passes and the memory test (31 MiB) fails next.
  const qelrKDTreeBuildParams cost50 = Params(KDTreeModeCost, 50, 0.5f, 31);
  EXPECT_EQ(Build(&cost50), StatusNoMemory);
}

TEST(KDTreeBuildAlloc, CostModeQualityAndMemoryChecks) {
  // Each value that passes is followed by a memory limit that fails, which
  // shows that the quality test let it through.
  for (float quality : {0.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    const qelrKDTreeBuildParams p = Params(KDTreeModeCost, 10, quality, 31);
    EXPECT_EQ(Build(&p), StatusNoMemory) << quality;
  }
  for (float quality : {-0.5f, 1.5f, -std::numeric_limits<float>::infinity()}) {
    const qelrKDTreeBuildParams p = Params(KDTreeModeCost, 10, quality, 64);
    EXPECT_EQ(Build(&p), StatusOutOfRange) << quality;
  }
  // Limits below 32 MiB fail, and so do limits whose shifted value wraps.
  for (uint32_t memory : {0u, 31u, 8192u, 8192u + 31u}) {
    const qelrKDTreeBuildParams p = Params(KDTreeModeCost, 10, 0.5f, memory);
    EXPECT_EQ(Build(&p), StatusNoMemory) << memory;
  }
  // Quality is read only in cost mode.
  const qelrKDTreeBuildParams simple = Params(KDTreeModeSimple, 10, 7.0f, 0);
  EXPECT_EQ(Build(&simple), StatusOk);
}

TEST(KDTreeBuildAlloc, SimpleModeIsOneListLeaf) {
  const qelrKDTreeBuildParams p = Params(KDTreeModeSimple);
  for (int32_t count : {0, 1, 2, 3, 7, 1000}) {
    qelrKDNode* tree = nullptr;
    int32_t size = 0;
    const int64_t live = standinLiveBlocks();
    ASSERT_EQ(qelrKDTreeBuildAlloc(&tree, kVertices, kTriangles, 0, count, &size, &p), StatusOk);
    EXPECT_EQ(standinLiveBlocks(), live + 1);
    EXPECT_EQ(size, 16 + 4 * count);
    // The root's link is -16 whatever the count; with no triangles it is
    // an empty leaf, otherwise a list leaf (never packed).
    EXPECT_EQ(blk::Link(tree), -16);
    EXPECT_EQ(blk::Data(tree), count);
    EXPECT_EQ(blk::Link(tree + 1), 0);
    EXPECT_EQ(blk::Data(tree + 1), 0);
    const std::vector<int32_t> list = blk::LeafTriangles(tree);
    ASSERT_EQ(list.size(), size_t(count));
    for (int32_t i = 0; i < count; ++i) EXPECT_EQ(list[i], i);
    qelrKDTreeFree(tree);
    EXPECT_EQ(standinLiveBlocks(), live);
  }
}

TEST(KDTreeBuildAlloc, SimpleModeReportsAFailedAllocation) {
  const qelrKDTreeBuildParams p = Params(KDTreeModeSimple);
  const int64_t live = standinLiveBlocks();
  standinFailAllocAt(1);
  EXPECT_EQ(Build(&p, 3, 5), StatusNoMemory);
  standinFailAllocAt(0);
  EXPECT_EQ(standinLiveBlocks(), live);
}

}  // namespace
