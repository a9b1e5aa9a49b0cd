// qelrKDTreeBuildAlloc: checks the build request in its fixed order, then
// hands it to the builder of the chosen mode.  qelrKDTreeFree gives a block
// back.
#include "frame/qelr_internal.h"
#include "kdtree/kd_build_node.h"
#include "kdtree/kd_simple_builder.h"

namespace {

constexpr uint32_t kMaxDepthLimit = 50;
// The memory limit, in MiB, shifted left by 19 must reach this: 32 MiB at
// least.  The shift drops high bits, so some large limits fail as well.
constexpr uint32_t kLeastHalfBudget = 0x1000000u;

}  // namespace

extern "C" qelStatus qelrKDTreeBuildAlloc_impl(qelrKDNode** tree, const float* vertices, const int32_t* triangles,
                                               int32_t vertexCount, int32_t triangleCount, int32_t* treeSize,
                                               const qelrKDTreeBuildParams* params) {
  if (tree == nullptr || vertices == nullptr || triangles == nullptr || treeSize == nullptr)
    return StatusNullPointer;
  if (vertexCount < 0 || triangleCount < 0) return StatusBadSize;
  if (params == nullptr) return StatusNullPointer;

  if (params->mode == static_cast<uint32_t>(KDTreeModeSimple)) {
    if (params->depthLimit > kMaxDepthLimit) return StatusOutOfRange;
    return ownKDBuildSimple(triangleCount, tree, treeSize);
  }

  if (params->mode == static_cast<uint32_t>(KDTreeModeCost)) {
    if (params->depthLimit > kMaxDepthLimit) return StatusOutOfRange;
    // A NaN quality passes both tests.
    if (params->qualityLevel < 0.0f) return StatusOutOfRange;
    if (params->qualityLevel > 1.0f) return StatusOutOfRange;
    if ((params->memoryLimit << 19) < kLeastHalfBudget) return StatusNoMemory;
    const uint32_t byteLimit = params->memoryLimit << 20;  // may wrap to a small value
    return ownKDBuildCost(tree, vertices, triangles, vertexCount, triangleCount, treeSize, params, byteLimit);
  }

  return StatusBadArgument;
}

// Neither tests the pointer nor clears anything.
extern "C" void qelrKDTreeFree_impl(qelrKDNode* tree) { ownFree(tree); }
