// The simple builder: a tree of one list leaf that holds every triangle in
// the caller's order, so that a ray tests them all.  It looks at neither
// vertices nor triangles.
#include "kdtree/kd_block.h"
#include "kdtree/kd_simple_builder.h"

qelStatus ownKDBuildSimple(int32_t triangleCount, qelrKDNode** tree, int32_t* treeSize) {
  // Byte count in 32-bit arithmetic, as the block's size field is 32 bits.
  const int32_t size = static_cast<int32_t>(static_cast<uint32_t>(triangleCount) * 4u + 16u);
  qelrKDNode* block = static_cast<qelrKDNode*>(ownAllocQuads((size >> 3) + 1));
  if (block == nullptr) return StatusNoMemory;

  int32_t* list = reinterpret_cast<int32_t*>(reinterpret_cast<char*>(block) + kFirstPairOffset);
  // The root is a list leaf whose list starts right after the padding; with
  // no triangles it is the empty leaf with the same link.
  EncodeListLeaf(block, list, triangleCount);
  WriteNode(block + 1, 0, 0);
  for (int32_t i = 0; i < triangleCount; ++i) list[i] = i;

  *tree = block;
  *treeSize = size;
  return StatusOk;
}
