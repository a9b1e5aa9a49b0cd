/* Compiled as strict C99 with warnings as errors: the header must be C, and
 * a C caller must reach every family with its own arrays and no casts.
 * Only compiled, never linked or run. */
#include <stddef.h>

#include "qelr.h"

int qelrHeaderUsableFromC(void);
int qelrHeaderUsableFromC(void) {
  const qelrVersionRecord* version = qelrGetLibVersion();
  return version->major;
}

/* Rays: a block of directions written by one call is read by the next
 * through the const view of the same planes. */
qelStatus qelrHeaderTraceFromC(const qelrSceneContext* scene, float* directions[3], float* dist,
                               float* hit[2], int32_t* triangle);
qelStatus qelrHeaderTraceFromC(const qelrSceneContext* scene, float* directions[3], float* dist,
                               float* hit[2], int32_t* triangle) {
  static const float eye[3] = {0.0f, 0.0f, 0.0f};
  static const float origin[3] = {-1.0f, -1.0f, 1.0f};
  static const float stepX[3] = {0.125f, 0.0f, 0.0f};
  static const float stepY[3] = {0.0f, 0.125f, 0.0f};
  const float* readDirections[3];
  qelrSize block = {16, 16};
  qelStatus status = qelrCastEye_32f(origin, stepX, stepY, 0, 0, block, directions, block);
  readDirections[0] = directions[0];
  readDirections[1] = directions[1];
  readDirections[2] = directions[2];
  if (status == StatusOk) {
    status = qelrIntersectEyeSO_32f(eye, readDirections, dist, hit, triangle, scene, block);
  }
  return status;
}

/* KD-tree: build, then release. */
qelStatus qelrHeaderBuildFromC(const float* vertices, const int32_t* triangles, int32_t vertexCount,
                               int32_t triangleCount);
qelStatus qelrHeaderBuildFromC(const float* vertices, const int32_t* triangles, int32_t vertexCount,
                               int32_t triangleCount) {
  qelrKDTreeBuildParams params = {KDTreeModeSimple, 0, 0.0f, 0, NULL};
  qelrKDNode* tree = NULL;
  int32_t treeSize = 0;
  qelStatus status =
      qelrKDTreeBuildAlloc(&tree, vertices, triangles, vertexCount, triangleCount, &treeSize, &params);
  qelrKDTreeFree(tree);
  return status;
}

/* Spherical harmonics: the state lives in the caller's block. */
qelStatus qelrHeaderShFromC(void* block, const float* x, const float* y, const float* z, float* dst);
qelStatus qelrHeaderShFromC(void* block, const float* x, const float* y, const float* z, float* dst) {
  qelrSHState* state = (qelrSHState*)block;
  qelStatus status = qelrSHInit_32f(state, 3, SHModeRecurrence);
  if (status == StatusOk) {
    status = qelrSH_32f(x, y, z, 1, dst, 3, state);
  }
  return status;
}

/* Volumes: sizes and regions travel by value, planes by arrays. */
qelStatus qelrHeaderVolumeFromC(const float* srcPlanes[], float* dstPlanes[], uint8_t* buffer);
qelStatus qelrHeaderVolumeFromC(const float* srcPlanes[], float* dstPlanes[], uint8_t* buffer) {
  qelrVolume volume = {8, 8, 8};
  qelrCuboid region = {0, 0, 0, 8, 8, 8};
  int32_t size = 0;
  qelStatus status = qelrResizeGetBufSize(region, region, 1, InterLinear, &size);
  if (status == StatusOk) {
    status = qelrResize_32f_C1PV(srcPlanes, volume, 32, region, dstPlanes, 32, region, 1.0, 1.0, 1.0,
                                 0.0, 0.0, 0.0, InterLinear, buffer);
  }
  return status;
}
