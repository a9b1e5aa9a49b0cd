// The cost-driven builder up to the in-memory tree: the budget test, the
// context, the first references and the walk.
#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

qelStatus localKDBuildInMemory(const float* vertices, const int32_t* triangles,
                               int32_t vertexCount, int32_t triangleCount,
                               const KDCostSettings& settings, KDCostContext** context) {
  *context = nullptr;
  if (settings.byteLimit < localKDBudgetNeed(triangleCount, vertexCount)) return StatusNoMemory;

  KDCostContext* c = nullptr;
  qelStatus status = localKDCreateContext(settings.byteLimit, triangleCount, vertexCount, &c);
  if (status != StatusOk) return status;
  c->qualityScale = localQualityScale(settings.qualityLevel);
  c->depthLimit = settings.depthLimit;
  c->keepSortedEvents = settings.keepSortedEvents;

  status = localKDFirstReferences(c, vertices, triangles, vertexCount, triangleCount,
                                  settings.clipBox);
  if (status == StatusOk) status = localKDGrowTree(c);
  if (status != StatusOk) {
    localKDReleaseContext(c);
    return status;
  }
  *context = c;
  return StatusOk;
}
