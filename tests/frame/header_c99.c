/* Compiled as strict C99 with warnings as errors, never linked: a C caller
 * reaches every family with its own arrays and no casts. */
#include <stddef.h>

#include "qelr.h"

qelStatus qelrHeaderUsableFromC(const qelrSceneContext* scene, float* directions[3], float* dist, float* hit[2],
                                int32_t* triangle, const float* vertices, const int32_t* triangles,
                                void* shBlock, const float* srcPlanes[], float* dstPlanes[], uint8_t* buffer);
qelStatus qelrHeaderUsableFromC(const qelrSceneContext* scene, float* directions[3], float* dist, float* hit[2],
                                int32_t* triangle, const float* vertices, const int32_t* triangles,
                                void* shBlock, const float* srcPlanes[], float* dstPlanes[], uint8_t* buffer) {
  /* Rays: directions written by one call are read by the next through a
   * const view of the same planes. */
  static const float eye[3] = {0.0f, 0.0f, 0.0f}, origin[3] = {-1.0f, -1.0f, 1.0f};
  static const float stepX[3] = {0.125f, 0.0f, 0.0f}, stepY[3] = {0.0f, 0.125f, 0.0f};
  const float* readDirections[3];
  qelrSize block = {16, 16};
  qelrKDTreeBuildParams params = {KDTreeModeSimple, 0, 0.0f, 0, NULL};
  qelrKDNode* tree = NULL;
  int32_t treeSize = 0, size = 0;
  qelrSHState* state = (qelrSHState*)shBlock;
  qelrVolume volume = {8, 8, 8};
  qelrCuboid region = {0, 0, 0, 8, 8, 8};
  qelStatus status = qelrCastEye_32f(origin, stepX, stepY, 0, 0, block, directions, block);
  readDirections[0] = directions[0];
  readDirections[1] = directions[1];
  readDirections[2] = directions[2];
  status |= qelrIntersectEyeSO_32f(eye, readDirections, dist, hit, triangle, scene, block);
  status |= qelrKDTreeBuildAlloc(&tree, vertices, triangles, 3, 1, &treeSize, &params);
  qelrKDTreeFree(tree);
  status |= qelrSHInit_32f(state, 3, SHModeRecurrence);
  status |= qelrSH_32f(vertices, vertices + 1, vertices + 2, 1, dist, 3, state);
  status |= qelrResizeGetBufSize(region, region, 1, InterLinear, &size);
  status |= qelrResize_32f_C1PV(srcPlanes, volume, 32, region, dstPlanes, 32, region, 1.0, 1.0, 1.0, 0.0, 0.0,
                                0.0, InterLinear, buffer);
  return status + qelrGetLibVersion()->major;
}
