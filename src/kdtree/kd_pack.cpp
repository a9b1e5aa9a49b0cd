// The packing step: writes an in-memory tree as one flat tree block.
//
// The block holds the root, 8 bytes of padding, the child pairs in the order
// of a depth-first walk (first child before second, a pair allotted on
// entering an interior node), then the leaf lists in the order in which the
// walk reaches the leaves.  Leaves of up to three small indices are packed
// into their node and need no list.
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_block.h"
#include "kdtree/kd_build_node.h"

namespace {

bool IsLeafRecord(const KDBuildNode* node) { return node->kind == kKDLeafKind; }

const KDBuildNode* ChildRecords(const KDBuildNode* node) {
  return static_cast<const KDBuildNode*>(node->target);
}

const int32_t* LeafIndices(const KDBuildNode* node) { return static_cast<const int32_t*>(node->target); }

// Bytes of list that a leaf needs: none when it packs into its node.
int32_t LeafListBytes(const KDBuildNode* leaf) {
  int32_t link, data;
  const int32_t count = leaf->value.count;
  if (EncodePackedLeaf(LeafIndices(leaf), count, &link, &data)) return 0;
  return 4 * count;
}

// Node and list bytes below an interior node: 8 for each node reached and
// the lists of the leaves.  Recurses into the first child, loops on the
// second.
void MeasureChildren(const KDBuildNode* node, int32_t* nodeBytes, int32_t* listBytes) {
  for (;;) {
    const KDBuildNode* children = ChildRecords(node);
    *nodeBytes += 8;
    if (IsLeafRecord(&children[0]))
      *listBytes += LeafListBytes(&children[0]);
    else
      MeasureChildren(&children[0], nodeBytes, listBytes);
    *nodeBytes += 8;
    if (IsLeafRecord(&children[1])) {
      *listBytes += LeafListBytes(&children[1]);
      return;
    }
    node = &children[1];
  }
}

struct PackCursors {
  char* nextPair;   // where the next child pair goes
  char* nextList;   // where the next leaf list goes
};

void WriteLeaf(const KDBuildNode* leaf, qelrKDNode* at, PackCursors& cursors) {
  const int32_t count = leaf->value.count;
  int32_t link, data;
  if (EncodePackedLeaf(LeafIndices(leaf), count, &link, &data)) {
    WriteNode(at, link, data);
    return;
  }
  // A list leaf, or an empty one pointing where its list would start.
  int32_t* list = reinterpret_cast<int32_t*>(cursors.nextList);
  EncodeListLeaf(at, list, count);
  if (count > 0) std::memcpy(list, LeafIndices(leaf), sizeof(int32_t) * static_cast<size_t>(count));
  cursors.nextList += 4 * static_cast<size_t>(count);
}

void WriteSubtree(const KDBuildNode* node, qelrKDNode* at, PackCursors& cursors) {
  for (;;) {
    if (IsLeafRecord(node)) {
      WriteLeaf(node, at, cursors);
      return;
    }
    qelrKDNode* pair = reinterpret_cast<qelrKDNode*>(cursors.nextPair);
    cursors.nextPair += 16;
    const int32_t offset = static_cast<int32_t>(reinterpret_cast<char*>(pair) - reinterpret_cast<char*>(at));
    EncodeInterior(at, node->kind, offset, node->value.split);
    const KDBuildNode* children = ChildRecords(node);
    WriteSubtree(&children[0], &pair[0], cursors);
    node = &children[1];
    at = &pair[1];
  }
}

}  // namespace

qelStatus ownKDPackTree(const KDBuildNode* root, qelrKDNode** tree, int32_t* treeSize) {
  int32_t nodeBytes = kFirstPairOffset;
  int32_t listBytes = 0;
  if (IsLeafRecord(root))
    listBytes += LeafListBytes(root);
  else
    MeasureChildren(root, &nodeBytes, &listBytes);

  const int32_t size = nodeBytes + listBytes;
  char* block = static_cast<char*>(ownAllocQuads((size >> 3) + 1));
  if (block == nullptr) return StatusNoMemory;

  qelrKDNode* rootNode = reinterpret_cast<qelrKDNode*>(block);
  WriteNode(rootNode + 1, 0, 0);  // padding
  PackCursors cursors{block + kFirstPairOffset, block + nodeBytes};
  WriteSubtree(root, rootNode, cursors);

  *tree = rootNode;
  *treeSize = size;
  return StatusOk;
}
