// The flat KD-tree block: how its 8-byte nodes are encoded and read back.
//
// The block holds the root at offset 0, 8 bytes of zero padding, the child
// pairs from offset 16 on, then the leaf lists.  Every offset stored in a
// node is a byte offset from that node, so the block can be moved whole.
// Builders write nodes through the Encode* functions and every traversal
// reads them through IsInterior, the Interior* readers and
// ForEachLeafTriangle; no other code knows the bit layout.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include "qelr.h"

// Indices up to these bounds fit the fields of a packed leaf.
constexpr int32_t kPackedMidLimit = 0x20000000;   // bits 2-30 of `data`
constexpr int32_t kPackedLowGapLimit = 0x8000;    // bits 16-30 of `link`
constexpr int32_t kPackedHighGapLimit = 0x10000;  // bits 0-15 of `link`

// Offset of the first child pair from the start of the block.
constexpr int32_t kFirstPairOffset = 16;

inline int32_t NodeLink(const qelrKDNode* node) {
  int32_t link;
  std::memcpy(&link, &node->link, sizeof link);
  return link;
}

inline int32_t NodeData(const qelrKDNode* node) {
  int32_t data;
  std::memcpy(&data, &node->data, sizeof data);
  return data;
}

inline void WriteNode(qelrKDNode* node, int32_t link, int32_t data) {
  std::memcpy(&node->link, &link, sizeof link);
  std::memcpy(&node->data, &data, sizeof data);
}

// ---- Interior nodes: `link` not negative ----

inline bool IsInterior(const qelrKDNode* node) { return NodeLink(node) >= 0; }

inline int32_t InteriorAxis(const qelrKDNode* node) { return NodeLink(node) & 3; }

inline float InteriorSplit(const qelrKDNode* node) {
  float split;
  std::memcpy(&split, &node->data, sizeof split);
  return split;
}

// The pair's first node is the child below the split plane, the node after
// it the child above.
inline const qelrKDNode* InteriorChildren(const qelrKDNode* node) {
  const int32_t offset = NodeLink(node) & ~7;
  return reinterpret_cast<const qelrKDNode*>(reinterpret_cast<const char*>(node) + offset);
}

// `pairOffset` is the byte distance from the node to its child pair, a
// positive multiple of 8.
inline void EncodeInterior(qelrKDNode* node, int32_t axis, int32_t pairOffset, float split) {
  int32_t data;
  std::memcpy(&data, &split, sizeof data);
  WriteNode(node, pairOffset | axis, data);
}

// ---- Leaves: `link` negative; `data` 0 empty, positive list, negative packed ----

// A list leaf's `link` is the node's address minus the list's address; an
// empty leaf gets the same `link` for a list that would start at `list`.
inline void EncodeListLeaf(qelrKDNode* node, const int32_t* list, int32_t count) {
  const intptr_t link = reinterpret_cast<intptr_t>(node) - reinterpret_cast<intptr_t>(list);
  WriteNode(node, static_cast<int32_t>(link), count);
}

// Tries the packed form for a leaf of 1 to 3 triangles.  Returns false when
// the indices do not fit, in which case the leaf needs a list.  A packed leaf
// of three keeps its indices in ascending order, not in the given order.
inline bool EncodePackedLeaf(const int32_t* indices, int32_t count, int32_t* link, int32_t* data) {
  const uint32_t leafBit = 0x80000000u;
  if (count == 1) {
    if (indices[0] < 0) return false;
    *link = static_cast<int32_t>(static_cast<uint32_t>(indices[0]) | leafBit);
    *data = static_cast<int32_t>(leafBit | 1u);
    return true;
  }
  if (count == 2) {
    const int32_t first = indices[0], second = indices[1];
    if (first < 0 || second < 0) return false;
    int32_t inLink, inMid;
    if (first < kPackedMidLimit) {
      inMid = first;
      inLink = second;
    } else if (second < kPackedMidLimit) {
      inMid = second;
      inLink = first;
    } else {
      return false;
    }
    *link = static_cast<int32_t>(static_cast<uint32_t>(inLink) | leafBit);
    *data = static_cast<int32_t>((static_cast<uint32_t>(inMid) << 2) | leafBit | 2u);
    return true;
  }
  if (count == 3) {
    int32_t l = indices[0], m = indices[1], h = indices[2];
    if (l < 0 || m < 0 || h < 0) return false;
    if (l > m) std::swap(l, m);
    if (m > h) std::swap(m, h);
    if (l > m) std::swap(l, m);
    if (m >= kPackedMidLimit || m - l >= kPackedLowGapLimit || h - m >= kPackedHighGapLimit) return false;
    const uint32_t gaps = (static_cast<uint32_t>(m - l) << 16) | static_cast<uint32_t>(h - m);
    *link = static_cast<int32_t>(gaps | leafBit);
    *data = static_cast<int32_t>((static_cast<uint32_t>(m) << 2) | leafBit | 3u);
    return true;
  }
  return false;
}

// Calls visit(index) for each triangle of a leaf in the leaf's order, and
// stops early when visit returns true.  Returns whether it stopped early.
template <class Visit>
inline bool ForEachLeafTriangle(const qelrKDNode* leaf, Visit&& visit) {
  const int32_t link = NodeLink(leaf);
  const int32_t data = NodeData(leaf);
  if (data > 0) {
    // The negation is done unsigned so that no offset can overflow.
    const uint32_t distance = 0u - static_cast<uint32_t>(link & -4);
    const int32_t* list =
        reinterpret_cast<const int32_t*>(reinterpret_cast<const char*>(leaf) + distance);
    for (int32_t i = 0; i < data; ++i)
      if (visit(list[i])) return true;
    return false;
  }
  if (data == 0) return false;
  // Packed leaf; a count field of 0 reads as empty.
  const int32_t low = link & 0x7FFFFFFF;
  const int32_t mid = static_cast<int32_t>((static_cast<uint32_t>(data) >> 2) & 0x1FFFFFFFu);
  switch (data & 3) {
    case 1:
      return visit(low);
    case 2:
      if (visit(low)) return true;
      return visit(mid);
    case 3:
      if (visit(mid - (low >> 16))) return true;
      if (visit(mid)) return true;
      return visit(mid + (link & 0xFFFF));
    default:
      return false;
  }
}
