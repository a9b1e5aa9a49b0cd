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
const float kNaN = std::numeric_limits<float>::quiet_NaN();

qelrKDTreeBuildParams Params(uint32_t mode, uint32_t depth = 10, float quality = 0.5f, uint32_t memory = 64) {
  qelrKDTreeBuildParams p;
  std::memset(&p, 0, sizeof p);
  p.mode = mode, p.depthLimit = depth, p.qualityLevel = quality, p.memoryLimit = memory;
  return p;
}

// Runs the entry with sentinels in the outputs; a failure must leave them
// alone.  nulls: bit 0 tree, 1 vertices, 2 triangles, 3 size.
qelStatus Build(const qelrKDTreeBuildParams* params, int32_t vertexCount = 3, int32_t triangleCount = 1,
                int nulls = 0) {
  qelrKDNode* const sentinel = reinterpret_cast<qelrKDNode*>(uintptr_t(0x1234));
  qelrKDNode* tree = sentinel;
  int32_t size = -77;
  const qelStatus s = qelrKDTreeBuildAlloc(nulls & 1 ? nullptr : &tree, nulls & 2 ? nullptr : kVertices,
                                           nulls & 4 ? nullptr : kTriangles, vertexCount, triangleCount,
                                           nulls & 8 ? nullptr : &size, params);
  if (s != StatusOk) {
    EXPECT_TRUE(tree == sentinel && size == -77) << "outputs written on failure";
  } else {
    qelrKDTreeFree(tree);
  }
  return s;
}

TEST(KDTreeBuildAlloc, ChecksComeInTheDocumentedOrder) {
  const qelrKDTreeBuildParams simple = Params(KDTreeModeSimple);
  for (int nulls : {1, 2, 4, 8}) EXPECT_EQ(Build(&simple, 3, 1, nulls), StatusNullPointer) << nulls;
  // Counts are tested before params is.
  EXPECT_EQ(Build(nullptr, -1, 1), StatusBadSize);
  EXPECT_EQ(Build(nullptr, 3, -1), StatusBadSize);
  EXPECT_EQ(Build(nullptr, 3, 1), StatusNullPointer);

  // A memory limit of 31 MiB fails after every other test has passed, so
  // StatusNoMemory shows that the earlier tests let the value through.
  // Quality is read only in cost mode; a limit of 50 is the deepest allowed.
  const uint32_t simpleMode = KDTreeModeSimple, costMode = KDTreeModeCost;
  const struct {
    qelrKDTreeBuildParams params;
    qelStatus expected;
  } cases[] = {
      {Params(0, 99), StatusBadArgument},  // unknown mode before depth
      {Params(simpleMode, 51), StatusOutOfRange},
      {Params(simpleMode, 4294967295u), StatusOutOfRange},
      {Params(costMode, 51, 0.5f, 31), StatusOutOfRange},
      {Params(costMode, 4294967295u, 0.5f, 31), StatusOutOfRange},
      {Params(simpleMode, 50), StatusOk},
      {Params(costMode, 50, 0.5f, 31), StatusNoMemory},
      {Params(costMode, 10, 0.0f, 31), StatusNoMemory},
      {Params(costMode, 10, 1.0f, 31), StatusNoMemory},
      {Params(costMode, 10, kNaN, 31), StatusNoMemory},
      {Params(costMode, 10, -0.5f, 64), StatusOutOfRange},
      {Params(costMode, 10, 1.5f, 64), StatusOutOfRange},
      {Params(costMode, 10, -std::numeric_limits<float>::infinity(), 64), StatusOutOfRange},
      {Params(costMode, 10, 0.5f, 0), StatusNoMemory},
      {Params(costMode, 10, 0.5f, 8192), StatusNoMemory},  // the shifted limit wraps
      {Params(costMode, 10, 0.5f, 8192 + 31), StatusNoMemory},
      {Params(simpleMode, 10, 7.0f, 0), StatusOk},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Build(&c.params), c.expected) << "mode " << c.params.mode << " depth " << c.params.depthLimit
                                            << " quality " << c.params.qualityLevel << " memory "
                                            << c.params.memoryLimit;
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
    // Link -16 whatever the count: an empty leaf or a list leaf, never packed.
    EXPECT_EQ(blk::Link(tree), -16);
    EXPECT_EQ(blk::Data(tree), count);
    EXPECT_TRUE(blk::Link(tree + 1) == 0 && blk::Data(tree + 1) == 0);
    std::vector<int32_t> expected(count);
    for (int32_t i = 0; i < count; ++i) expected[i] = i;
    EXPECT_EQ(blk::LeafTriangles(tree), expected);
    qelrKDTreeFree(tree);
    EXPECT_EQ(standinLiveBlocks(), live);
  }
  const int64_t live = standinLiveBlocks();
  standinFailAllocAt(1);
  EXPECT_EQ(Build(&p, 3, 5), StatusNoMemory);
  standinFailAllocAt(0);
  EXPECT_EQ(standinLiveBlocks(), live);
}

}  // namespace
