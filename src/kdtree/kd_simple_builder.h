// The builder of KDTreeModeSimple.
#pragma once

#include <cstdint>

#include "frame/qelr_internal.h"

// One list leaf of all triangles.  StatusNoMemory if the block cannot be
// allocated; *tree and *treeSize are written only on success.
qelStatus ownKDBuildSimple(int32_t triangleCount, qelrKDNode** tree, int32_t* treeSize);
