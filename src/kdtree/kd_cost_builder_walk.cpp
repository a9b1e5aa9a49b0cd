// The walk that grows the tree: an explicit stack of frames, second child
// first, with one working list of references shared by all nodes.
//
// The working list sits at the bottom of the reference pool and holds the
// current node's references; it has room for the root's, and no child ever
// holds more than its parent.  A split leaves the first child's list in the
// pool above it, where it waits while everything under the second child is
// done; resetting the pool cursors on return to a frame frees whatever the
// subtree since then used.
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_cost_builder.h"

namespace {

constexpr int kStackRoom = 50;  // depthLimit is at most 50

struct WorkFrame {
  KDBuildNode* node;
  float box[6];
  uint32_t depth;
  uint32_t refCursor;   // in references
  uint32_t clipCursor;  // in points
  int32_t lowCount[3];  // of its kept events, while it waits on the stack
};

// Where the partition tells each reference's way, for handing the sorted
// events on; null routes when events are not kept.
struct PartitionRoutes {
  uint32_t* route;
  KDCutParts* cuts;
  int32_t cutCount;
};

// Sorts the working list into the reserved left and right lists, cutting
// the references that straddle the plane.  Counts every reference it would
// append even past the reservation (so that a mismatch is seen whole), but
// writes only inside it.
qelStatus Partition(KDCostContext* c, const KDTriangleRef* work, int32_t count,
                    const qelrSplitDecision& decision, KDTriangleRef* left, KDTriangleRef* right,
                    int32_t* leftAppended, int32_t* rightAppended, PartitionRoutes* routes) {
  const int axis = decision.axis;
  const float position = decision.position;
  int32_t nl = 0, nr = 0;
  uint32_t* route = routes->route;
  auto toLeft = [&](int32_t k, const KDTriangleRef& r) {
    if (route) route[k] = static_cast<uint32_t>(nl);
    if (nl < decision.leftCount) left[nl] = r;
    ++nl;
  };
  auto toRight = [&](int32_t k, const KDTriangleRef& r) {
    if (route) route[k] = static_cast<uint32_t>(nr) | kKDRouteRight;
    if (nr < decision.rightCount) right[nr] = r;
    ++nr;
  };
  for (int32_t k = 0; k < count; ++k) {
    const KDTriangleRef& r = work[k];
    const float least = KDRefLeast(r, axis);
    const float greatest = KDRefGreatest(r, axis);
    if (least == greatest) {
      // Flat on the axis: lying on the plane it goes to the side the search
      // counted it on.
      if (least < position)
        toLeft(k, r);
      else if (least == position)
        decision.flatSide == 0 ? toLeft(k, r) : toRight(k, r);
      else
        toRight(k, r);
    } else if (greatest - position <= 0) {
      toLeft(k, r);  // touching the plane from below is not straddling it
    } else if (position - least <= 0) {
      toRight(k, r);
    } else {
      KDTriangleRef lower, upper;
      qelStatus status = localKDCutReference(c, r, axis, position, &lower, &upper);
      if (status != StatusOk) return status;
      if (route) routes->cuts[routes->cutCount++] = KDCutParts{nl, nr};
      toLeft(k, lower);
      toRight(k, upper);
      if (route) route[k] = kKDRouteCut;  // its parts' events are new
    }
  }
  *leftAppended = nl;
  *rightAppended = nr;
  return StatusOk;
}

// The split node's kept events handed on: the first child's to the slots
// that mirror its list's place in the pool, where they wait with it, and
// the second child's to become the working node's.
void SplitKeptEvents(KDKeptEvents* kept, const PartitionRoutes& routes, const KDTriangleRef* left,
                     int32_t leftCount, const KDTriangleRef* right, int32_t rightCount,
                     uint32_t leftPlace, WorkFrame* waiting) {
  KDSortedEvents first;
  const int64_t slot = 6 * static_cast<int64_t>(leftPlace - kept->waitingBase);
  first.values = kept->waitingValues + slot;
  first.tags = kept->waitingTags + slot;
  first.count = leftCount;
  kept->next.count = rightCount;
  localSplitEvents(kept->current, routes.route, routes.cuts, routes.cutCount, left, right,
                   kept->room, &first, &kept->next);
  for (int axis = 0; axis < 3; ++axis) waiting->lowCount[axis] = first.lowCount[axis];
  const KDSortedEvents swap = kept->current;
  kept->current = kept->next;
  kept->next = swap;
}

// A waiting first child's kept events become the working node's.
void ResumeKeptEvents(KDKeptEvents* kept, const WorkFrame& frame, int32_t count) {
  KDSortedEvents waiting;
  const int64_t slot = 6 * static_cast<int64_t>(frame.refCursor - kept->waitingBase);
  waiting.values = kept->waitingValues + slot;
  waiting.tags = kept->waitingTags + slot;
  waiting.count = count;
  for (int axis = 0; axis < 3; ++axis) waiting.lowCount[axis] = frame.lowCount[axis];
  localCopyEvents(waiting, &kept->current);
}

// A finished leaf: its triangle indices go to the list chunks and its
// polygon arrays back to the free lists.
qelStatus MakeLeaf(KDCostContext* c, KDBuildNode* node, const KDTriangleRef* work) {
  const int32_t count = node->value.count;
  qelStatus status = StatusOk;
  int32_t* list = static_cast<int32_t*>(
      localKDChunkRequest(c, &c->listChunks, static_cast<uint32_t>(count), &status));
  if (list == nullptr) return status;
  for (int32_t k = 0; k < count; ++k) {
    list[k] = static_cast<int32_t>(work[k].key) >> kKDIndexShift;
    localKDGivePolygon(c, work[k].polygon, KDRefVertexCount(work[k]));
  }
  node->target = list;
  return StatusOk;
}

}  // namespace

qelStatus localKDGrowTree(KDCostContext* c) {
  qelStatus status = StatusOk;
  KDTriangleRef* const work = c->refPool.base;

  KDBuildNode* rootPair =
      static_cast<KDBuildNode*>(localKDChunkRequest(c, &c->nodeChunks, 1, &status));
  if (rootPair == nullptr) return status;
  c->root = rootPair;
  c->root->kind = kKDLeafKind;
  c->root->value.count = c->rootCount;
  c->root->target = work;
  if (c->rootCount == 0) return StatusOk;
  KDKeptEvents* kept = &c->kept;
  if (c->depthLimit > 0 && c->keepSortedEvents) {
    localKDKeepEvents(c);
    if (kept->inUse) localSortEventsOf(work, c->rootCount, kept->room, &kept->current);
  }

  WorkFrame stack[kStackRoom];
  int stacked = 0;
  WorkFrame frame;
  frame.node = c->root;
  std::memcpy(frame.box, c->rootBox, sizeof frame.box);
  frame.depth = 0;
  frame.refCursor = c->refPool.cursor;
  frame.clipCursor = c->clipPool.cursor;

  bool sameReferences = false;  // as the node searched last, after an empty cut
  for (;;) {
    // Whatever the last subtree left in the pools is given up.  (A
    // frame's cursors were the pools' own cursors once, so they always lie
    // inside the pools.)
    c->refPool.cursor = frame.refCursor;
    c->clipPool.cursor = frame.clipCursor;

    KDBuildNode* node = frame.node;
    const int32_t count = node->value.count;
    qelrSplitDecision decision;
    decision.axis = -1;
    // The depth limit, then the search's verdict.
    c->events.sorted = kept->inUse ? &kept->current : nullptr;
    if (frame.depth != c->depthLimit)
      localFindBestSplit(&c->events, work, count, frame.box, c->qualityScale, sameReferences,
                         &decision);
    sameReferences = false;

    if (decision.axis >= 0) {
      // The node becomes interior; both children start as copies of it.
      KDBuildNode* pair =
          static_cast<KDBuildNode*>(localKDChunkRequest(c, &c->nodeChunks, 1, &status));
      if (pair == nullptr) return status;
      pair[0] = *node;
      pair[1] = *node;
      const int axis = decision.axis;
      node->kind = axis;
      node->value.split = decision.position;
      node->target = pair;
      ++frame.depth;

      // An empty side: its child is an empty leaf and the walk goes on
      // in the other child with the same references.
      if (decision.leftCount == 0 || decision.rightCount == 0) {
        const bool leftEmpty = decision.leftCount == 0;
        KDBuildNode* empty = leftEmpty ? &pair[0] : &pair[1];
        empty->value.count = 0;
        empty->target = nullptr;
        frame.node = leftEmpty ? &pair[1] : &pair[0];
        if (leftEmpty)
          frame.box[axis] = decision.position;
        else
          frame.box[axis + 3] = decision.position;
        sameReferences = true;
        continue;
      }

      // Both sides: the first child waits on the stack with its list
      // reserved at the pool's cursor; the walk goes on in the second.
      const uint32_t c0 = c->refPool.cursor;
      WorkFrame& saved = stack[stacked];
      saved = frame;
      saved.node = &pair[0];
      saved.box[axis + 3] = decision.position;
      saved.refCursor = c0;
      frame.node = &pair[1];
      frame.box[axis] = decision.position;

      const uint64_t leftEnd = static_cast<uint64_t>(c0) + static_cast<uint32_t>(decision.leftCount);
      const uint64_t rightEnd = leftEnd + static_cast<uint32_t>(decision.rightCount);
      if (!(leftEnd * 12u < c->refPool.chargedSize)) return StatusAllocFailed;
      if (!(rightEnd * 12u < c->refPool.chargedSize)) {
        c->refPool.cursor = static_cast<uint32_t>(leftEnd);
        return StatusAllocFailed;
      }
      c->refPool.cursor = static_cast<uint32_t>(rightEnd);
      frame.refCursor = static_cast<uint32_t>(leftEnd);
      // The right list's room is reserved (and its failure point kept), but
      // the list itself is written into the working list in place: each
      // reference gives it at most one, so it never overtakes its reading.
      KDTriangleRef* left = c->refPool.base + c0;
      KDTriangleRef* right = work;

      int32_t nl = 0, nr = 0;
      PartitionRoutes routes = {kept->inUse ? kept->route : nullptr, kept->cuts, 0};
      status = Partition(c, work, count, decision, left, right, &nl, &nr, &routes);
      if (status != StatusOk) return status;
      if (nl != decision.leftCount || nr != decision.rightCount) return StatusBuildMismatch;
      if (kept->inUse) SplitKeptEvents(kept, routes, left, nl, right, nr, c0, &saved);

      // Points made by the cuts belong to both children's references.
      saved.clipCursor = frame.clipCursor = c->clipPool.cursor;
      pair[0].value.count = nl;
      pair[0].target = left;
      pair[1].value.count = nr;
      pair[1].target = work;
      ++stacked;
      continue;
    }

    // A leaf; then the next waiting first child, if any.
    status = MakeLeaf(c, node, work);
    if (status != StatusOk) return status;
    if (stacked == 0) return StatusOk;
    frame = stack[--stacked];
    const int32_t waiting = frame.node->value.count;
    std::memcpy(work, frame.node->target, sizeof(KDTriangleRef) * static_cast<size_t>(waiting));
    frame.node->target = work;
    if (kept->inUse) ResumeKeptEvents(kept, frame, waiting);
  }
}
