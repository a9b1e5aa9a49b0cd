// Sizes and offsets of the records a caller lays out in memory, and the
// values of the public constants.  The pointer-free records are fixed to the
// byte; records with pointers are checked for this 64-bit platform.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qelr.h"

#define QELR_AT(T, field, offset) (offsetof(T, field) == (offset))
#define QELR_TYPE(T, field, type) std::is_same<decltype(T::field), type>::value

static_assert(sizeof(qelStatus) == 4 && sizeof(void*) == 8 && QELR_AT(qelrVersionRecord, targetCode, 16), "");

// Triangle record: ten 32-bit words, read by field name by the ray test.
static_assert(sizeof(qelrTriangleAccel) == 40 && QELR_TYPE(qelrTriangleAccel, axes, uint32_t) &&
                  QELR_AT(qelrTriangleAccel, axes, 0) && QELR_AT(qelrTriangleAccel, normalU, 4) &&
                  QELR_AT(qelrTriangleAccel, pointK, 8) && QELR_AT(qelrTriangleAccel, normalW, 12) &&
                  QELR_AT(qelrTriangleAccel, pointU, 16) && QELR_AT(qelrTriangleAccel, pointW, 20) &&
                  QELR_AT(qelrTriangleAccel, edge2U, 24) && QELR_AT(qelrTriangleAccel, edge2W, 28) &&
                  QELR_AT(qelrTriangleAccel, edge1U, 32) && QELR_AT(qelrTriangleAccel, edge1W, 36),
              "triangle record");
// Tree node: two signed words; the node kind is read from their signs.
static_assert(sizeof(qelrKDNode) == 8 && QELR_AT(qelrKDNode, link, 0) && QELR_AT(qelrKDNode, data, 4) &&
                  QELR_TYPE(qelrKDNode, link, int32_t) && QELR_TYPE(qelrKDNode, data, int32_t),
              "tree node");
// Build parameters: a depth limit of 4294967295 must compare as unsigned.
static_assert(sizeof(qelrKDTreeBuildParams) == 24 && QELR_AT(qelrKDTreeBuildParams, mode, 0) &&
                  QELR_AT(qelrKDTreeBuildParams, depthLimit, 4) && QELR_AT(qelrKDTreeBuildParams, qualityLevel, 8) &&
                  QELR_AT(qelrKDTreeBuildParams, memoryLimit, 12) && QELR_AT(qelrKDTreeBuildParams, clipBox, 16) &&
                  QELR_TYPE(qelrKDTreeBuildParams, mode, uint32_t) &&
                  QELR_TYPE(qelrKDTreeBuildParams, depthLimit, uint32_t) &&
                  QELR_TYPE(qelrKDTreeBuildParams, qualityLevel, float) &&
                  QELR_TYPE(qelrKDTreeBuildParams, memoryLimit, uint32_t),
              "build parameters");
// Value structures passed by value: plain signed 32-bit fields in order.
static_assert(sizeof(qelrSize) == 8 && QELR_AT(qelrSize, width, 0) && QELR_AT(qelrSize, height, 4) &&
                  sizeof(qelrVolume) == 12 && QELR_AT(qelrVolume, height, 4) && QELR_AT(qelrVolume, depth, 8) &&
                  sizeof(qelrCuboid) == 24 && QELR_AT(qelrCuboid, y, 4) && QELR_AT(qelrCuboid, z, 8) &&
                  QELR_AT(qelrCuboid, width, 12) && QELR_AT(qelrCuboid, height, 16) &&
                  QELR_AT(qelrCuboid, depth, 20) && sizeof(qelrPoint3D) == 12 && QELR_AT(qelrPoint3D, y, 4) &&
                  QELR_AT(qelrPoint3D, z, 8),
              "value structures");
static_assert(QELR_AT(qelrSceneContext, pBound, 0) && QELR_AT(qelrSceneContext, pAccel, 8) &&
                  QELR_AT(qelrSceneContext, pRootNode, 16) && sizeof(qelrSceneContext) == 24,
              "scene context");
// SH state: a 32-byte header on 64-bit (the whole closed-form state).
static_assert(sizeof(qelrSHState) == 32 && QELR_AT(qelrSHState, order, 0) && QELR_AT(qelrSHState, mode, 4) &&
                  QELR_AT(qelrSHState, recurA, 8) && QELR_AT(qelrSHState, recurB, 16) &&
                  QELR_TYPE(qelrSHState, order, uint32_t) && QELR_TYPE(qelrSHState, mode, int32_t),
              "SH state");

static_assert(InterNearest == 1 && InterLinear == 2 && InterCubic == 4 && InterCubicBSpline == 5 &&
                  InterCubicCatmullRom == 6 && InterCubicB05C03 == 7 && SHModeClosedForm == 0 &&
                  SHModeRecurrence == 1 && KDTreeModeSimple == 0x499D3DC2 && KDTreeModeCost == 0x2D07705B,
              "constants");
