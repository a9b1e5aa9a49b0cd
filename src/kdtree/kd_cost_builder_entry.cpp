// ownKDBuildCost: the cost-driven builder from the build entry's point of
// view: build the in-memory tree, give up the working memory, pack.
#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

qelStatus localKDFinishBuild(KDCostContext* context, qelrKDNode** tree, int32_t* treeSize) {
  // The polygons, pools and event arrays go first, so that the final block
  // is not held beside them.
  localKDReleaseWorkingMemory(context);
  const qelStatus status = ownKDPackTree(context->root, tree, treeSize);
  localKDReleaseContext(context);
  return status;
}

qelStatus ownKDBuildCost(qelrKDNode** tree, const float* vertices, const int32_t* triangles,
                         int32_t vertexCount, int32_t triangleCount, int32_t* treeSize,
                         const qelrKDTreeBuildParams* params, uint32_t byteLimit) {
  KDCostSettings settings;
  settings.depthLimit = params->depthLimit;
  settings.qualityLevel = params->qualityLevel;
  settings.byteLimit = byteLimit;
  settings.clipBox = params->clipBox;
  KDCostContext* context = nullptr;
  const qelStatus status =
      localKDBuildInMemory(vertices, triangles, vertexCount, triangleCount, settings, &context);
  if (status != StatusOk) return status;
  return localKDFinishBuild(context, tree, treeSize);
}
