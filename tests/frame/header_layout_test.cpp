// Sizes and offsets of the records a caller lays out in memory, and the
// values of the public constants.  The pointer-free records are fixed to the
// byte; records with pointers are checked for this 64-bit platform.
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qelr.h"

static_assert(sizeof(qelStatus) == 4, "qelStatus is a 32-bit value");
static_assert(offsetof(qelrVersionRecord, targetCode) == 16, "version record layout");
static_assert(sizeof(void*) == 8, "the pointer-bearing layouts below are the 64-bit ones");

template <typename A, typename B>
constexpr bool kSame = std::is_same<A, B>::value;

// Triangle record: ten 32-bit words, read by field name by the ray test.
static_assert(sizeof(qelrTriangleAccel) == 40, "triangle record is 40 bytes");
static_assert(kSame<decltype(qelrTriangleAccel::axes), uint32_t>, "axes is unsigned");
static_assert(offsetof(qelrTriangleAccel, axes) == 0, "word 0");
static_assert(offsetof(qelrTriangleAccel, normalU) == 4, "word 1");
static_assert(offsetof(qelrTriangleAccel, pointK) == 8, "word 2");
static_assert(offsetof(qelrTriangleAccel, normalW) == 12, "word 3");
static_assert(offsetof(qelrTriangleAccel, pointU) == 16, "word 4");
static_assert(offsetof(qelrTriangleAccel, pointW) == 20, "word 5");
static_assert(offsetof(qelrTriangleAccel, edge2U) == 24, "word 6");
static_assert(offsetof(qelrTriangleAccel, edge2W) == 28, "word 7");
static_assert(offsetof(qelrTriangleAccel, edge1U) == 32, "word 8");
static_assert(offsetof(qelrTriangleAccel, edge1W) == 36, "word 9");

// Tree node: two signed words; the node kind is read from their signs.
static_assert(sizeof(qelrKDNode) == 8, "tree node is 8 bytes");
static_assert(offsetof(qelrKDNode, link) == 0 && offsetof(qelrKDNode, data) == 4, "link, data");
static_assert(kSame<decltype(qelrKDNode::link), int32_t> && kSame<decltype(qelrKDNode::data), int32_t>,
              "node words are signed");

// Build parameters: four 32-bit fields, then the clip box pointer.
static_assert(offsetof(qelrKDTreeBuildParams, mode) == 0, "mode");
static_assert(offsetof(qelrKDTreeBuildParams, depthLimit) == 4, "depthLimit");
static_assert(offsetof(qelrKDTreeBuildParams, qualityLevel) == 8, "qualityLevel");
static_assert(offsetof(qelrKDTreeBuildParams, memoryLimit) == 12, "memoryLimit");
static_assert(offsetof(qelrKDTreeBuildParams, clipBox) == 16, "clipBox");
static_assert(sizeof(qelrKDTreeBuildParams) == 24, "build parameters");
static_assert(kSame<decltype(qelrKDTreeBuildParams::mode), uint32_t> &&
                  kSame<decltype(qelrKDTreeBuildParams::depthLimit), uint32_t> &&
                  kSame<decltype(qelrKDTreeBuildParams::qualityLevel), float> &&
                  kSame<decltype(qelrKDTreeBuildParams::memoryLimit), uint32_t>,
              "a depth limit of 4294967295 must compare as unsigned");

// Value structures passed by value: plain signed 32-bit fields in order.
static_assert(sizeof(qelrSize) == 8, "qelrSize");
static_assert(offsetof(qelrSize, width) == 0 && offsetof(qelrSize, height) == 4, "qelrSize fields");
static_assert(sizeof(qelrVolume) == 12, "qelrVolume");
static_assert(offsetof(qelrVolume, width) == 0 && offsetof(qelrVolume, height) == 4 &&
                  offsetof(qelrVolume, depth) == 8,
              "qelrVolume fields");
static_assert(sizeof(qelrCuboid) == 24, "qelrCuboid");
static_assert(offsetof(qelrCuboid, x) == 0 && offsetof(qelrCuboid, y) == 4 && offsetof(qelrCuboid, z) == 8 &&
                  offsetof(qelrCuboid, width) == 12 && offsetof(qelrCuboid, height) == 16 &&
                  offsetof(qelrCuboid, depth) == 20,
              "qelrCuboid fields");
static_assert(sizeof(qelrPoint3D) == 12, "qelrPoint3D");
static_assert(offsetof(qelrPoint3D, x) == 0 && offsetof(qelrPoint3D, y) == 4 && offsetof(qelrPoint3D, z) == 8,
              "qelrPoint3D fields");

// Scene context: three pointers.
static_assert(offsetof(qelrSceneContext, pBound) == 0 && offsetof(qelrSceneContext, pAccel) == 8 &&
                  offsetof(qelrSceneContext, pRootNode) == 16 && sizeof(qelrSceneContext) == 24,
              "scene context");

// SH state: the header is 32 bytes on 64-bit, which is also the whole
// closed-form state; the recurrence tables follow it in the same block.
static_assert(sizeof(qelrSHState) == 32, "SH state header");
static_assert(offsetof(qelrSHState, order) == 0 && offsetof(qelrSHState, mode) == 4 &&
                  offsetof(qelrSHState, recurA) == 8 && offsetof(qelrSHState, recurB) == 16,
              "SH state fields");
static_assert(kSame<decltype(qelrSHState::order), uint32_t> && kSame<decltype(qelrSHState::mode), int32_t>,
              "SH state field types");

// Constants.
static_assert(InterNearest == 1 && InterLinear == 2 && InterCubic == 4 && InterCubicBSpline == 5 &&
                  InterCubicCatmullRom == 6 && InterCubicB05C03 == 7,
              "interpolation codes");
static_assert(SHModeClosedForm == 0 && SHModeRecurrence == 1, "SH modes");
static_assert(KDTreeModeSimple == 0x499D3DC2 && KDTreeModeCost == 0x2D07705B, "KD-tree build modes");
