// Sorted events kept from node to node.
//
// The split search wants, for each axis, the starts, ends and flat
// coordinates of a node's references in ascending order.  Sorting them
// afresh at every node costs a sort per level of the tree; instead the
// walk sorts the root's events once and hands each child the part of its
// parent's sorted events that belongs to it: the events of references that
// went to that side unchanged, in the order they had, merged with the
// freshly sorted events of the parts that a cut made.
//
// Starts alone, and ends alone, stand in the order of the unsigned keys of
// the radix sort (-0 below +0, NaNs at the ends).  Where a node's events
// hold neither a zero nor a NaN every correct sort gives the same bits, so
// the kept events serve the search as they are; otherwise the search
// gathers and sorts that axis the way it always has (see
// localSortedAxisServes).
#pragma once

#include <cstdint>

#include "kdtree/kd_split_search_reference.h"

// The events of one node.  Each axis has 2 * count slots: the starts and
// ends of the polygons that are not flat on it as one list of 2 * n
// events, then the coordinates of the flat ones at [2n, 2n + f).  Each
// event has a tag: the index of its reference in the node's list, with
// kKDEventEnd set for an end.
//
// The starts and ends stand in one list in the order in which the sweep
// visits them: by value (zeros of both signs together), a start before an
// end of the same value, -0 before +0.  Starts alone are then in key
// order, and so are ends alone.
struct KDSortedEvents {
  float* values;
  int32_t* tags;
  int32_t count;
  int32_t lowCount[3];  // n: starts, and ends, on each axis

  const float* Events(int axis) const { return values + 2 * static_cast<int64_t>(count) * axis; }
  const int32_t* EventTags(int axis) const {
    return tags + 2 * static_cast<int64_t>(count) * axis;
  }
  int32_t EventCount(int axis) const { return 2 * lowCount[axis]; }
  const float* Flats(int axis) const { return Events(axis) + EventCount(axis); }
  int32_t FlatCount(int axis) const { return count - lowCount[axis]; }
};

constexpr int32_t kKDEventEnd = static_cast<int32_t>(0x80000000u);
constexpr int32_t kKDEventIndexMask = 0x7FFFFFFF;

// Slots one node of `count` references takes, with one spare slot that a
// merge may write past the end.
inline int64_t KDSortedEventSlots(int32_t count) { return 6 * static_cast<int64_t>(count) + 1; }

// Where each reference of a split node went: to the left list, to the
// right list (kKDRouteRight set), or cut in two (kKDRouteCut).
constexpr uint32_t kKDRouteRight = 0x80000000u;
constexpr uint32_t kKDRouteCut = 0xFFFFFFFFu;

// A reference cut in two: its parts' places in the two lists.
struct KDCutParts {
  int32_t left, right;
};

// Working room of one split of events: sort buffers for the cut parts'
// events, each with room for two events of `capacity` references.
struct KDEventSplitRoom {
  uint64_t* leftCuts;
  uint64_t* rightCuts;
  uint64_t* spare;
};

// The events of `refs` sorted from scratch (the root's, or a node's whose
// events were not kept).  `room` gives the sort buffers.
void localSortEventsOf(const KDTriangleRef* refs, int32_t count, const KDEventSplitRoom& room,
                       KDSortedEvents* events);

// A split node's events handed to its two children.  `route` has one
// entry per parent reference; `cuts` lists the cut ones, whose parts are
// left[cut.left] and right[cut.right].  `leftEvents` and `rightEvents`
// come with their values, tags and count set.
void localSplitEvents(const KDSortedEvents& parent, const uint32_t* route, const KDCutParts* cuts,
                      int32_t cutCount, const KDTriangleRef* left, const KDTriangleRef* right,
                      const KDEventSplitRoom& room, KDSortedEvents* leftEvents,
                      KDSortedEvents* rightEvents);

// Copies a node's events into another buffer of enough room.
void localCopyEvents(const KDSortedEvents& from, KDSortedEvents* to);

// True when the axis's kept events give the search the very arrays its own
// gathering and sorting would.  Zeros and NaNs are the trouble: their place
// among equal-comparing values depends on the sort.  The radix sort of
// long start and end lists puts them in key order, as kept here, but the
// quicksort of short lists and of the flat coordinates does not.
bool localSortedAxisServes(const KDSortedEvents& events, int axis);

// The starts and the ends of an axis as two lists, each in key order.
void localSplitStartsAndEnds(const KDSortedEvents& events, int axis, float* lows, float* highs);
