// The in-memory tree shared by the cost-driven builder and the packing step
// that writes it out as the flat tree block.
#pragma once

#include <cstdint>

#include "qelr.h"

struct qelrKDNode;
struct qelrKDTreeBuildParams;

// One node record.  The two children of an interior node are adjacent
// records (target points at the first).  A leaf's target is its list of
// `value.count` triangle indices; while a node waits to be processed it is
// a leaf whose target is its reference list.
struct KDBuildNode {
  int32_t kind;  // 0, 1, 2: interior node splitting x, y, z; 3: leaf
  union {
    float split;    // interior: split position on the axis
    int32_t count;  // leaf: number of triangles
  } value;
  void* target;
};

constexpr int32_t kKDLeafKind = 3;

// Writes the tree under `root` into one new block.  On success stores the
// block in *tree and its byte size in *treeSize; on StatusNoMemory leaves
// both untouched.
qelStatus ownKDPackTree(const KDBuildNode* root, qelrKDNode** tree, int32_t* treeSize);

// The cost-driven builder, called by the build entry once every argument
// check has passed; `byteLimit` is the memory limit in bytes (32-bit
// arithmetic, so it may have wrapped).  Writes *tree and *treeSize only on
// success.
qelStatus ownKDBuildCost(qelrKDNode** tree, const float* vertices, const int32_t* triangles,
                         int32_t vertexCount, int32_t triangleCount, int32_t* treeSize,
                         const qelrKDTreeBuildParams* params, uint32_t byteLimit);
