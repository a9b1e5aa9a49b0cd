// Sorted events kept from node to node: sorting a node's events from
// scratch, handing a split node's events to its children, and telling when
// the kept order is the one the search's own sort would give.
//
// An event on its way through a sort is packed into 64 bits: its place in
// the order (34 bits, see OrderOf) above the reference index, so that
// sorting the packed words sorts the events.
#include <algorithm>
#include <cstring>

#include "kdtree/kd_float_key.h"
#include "kdtree/kd_sorted_events.h"
#include "kdtree/kd_split_search.h"

namespace {

// The two lists of an axis: starts and ends together, and flat coordinates.
enum EventList { kStartsAndEnds, kFlatList };

constexpr uint32_t kMinusZeroKey = 0x7FFFFFFFu, kPlusZeroKey = 0x80000000u;
constexpr int kOrderShift = 30;  // the reference index stays below

// An event's place in the order: the value's key with both zeros as +0,
// then a start before an end, then -0 before +0.
inline uint64_t OrderOf(float value, uint32_t isEnd) {
  const uint32_t key = KDFloatKey(value);
  const uint32_t isPlusZero = key == kPlusZeroKey;
  const uint32_t merged = key == kMinusZeroKey ? kPlusZeroKey : key;
  return static_cast<uint64_t>(merged) << 2 | isEnd << 1 | isPlusZero;
}

inline uint64_t Pack(float value, uint32_t isEnd, int32_t refIndex) {
  return OrderOf(value, isEnd) << kOrderShift | static_cast<uint32_t>(refIndex);
}
inline uint64_t PackedOrder(uint64_t packed) { return packed >> kOrderShift; }

inline float ValueOf(uint64_t packed) {
  const uint64_t order = PackedOrder(packed);
  const uint32_t key = static_cast<uint32_t>(order >> 2);
  if (key == kPlusZeroKey) return (order & 1) ? 0.0f : -0.0f;
  return KDFloatFromKey(key);
}
// The reference index, with kKDEventEnd for an end.
inline int32_t TagOf(uint64_t packed) {
  const uint32_t index = static_cast<uint32_t>(packed) & ((1u << kOrderShift) - 1);
  const uint32_t isEnd = static_cast<uint32_t>(PackedOrder(packed) >> 1) & 1u;
  return static_cast<int32_t>(index | isEnd << 31);
}

// The events a reference gives on an axis to one list: a flat polygon one
// flat coordinate, any other a start and an end.  Returns how many.
inline int32_t EventsOf(const KDTriangleRef& ref, int axis, EventList list, int32_t index,
                        uint64_t* out) {
  const float least = KDRefLeast(ref, axis), greatest = KDRefGreatest(ref, axis);
  const bool flat = least == greatest;
  if (list == kFlatList) {
    if (!flat) return 0;
    out[0] = Pack(least, 0, index);
    return 1;
  }
  if (flat) return 0;
  out[0] = Pack(least, 0, index);
  out[1] = Pack(greatest, 1, index);
  return 2;
}

// Ascending: a least-significant-digit radix sort of the 34 order bits in
// digits of 12, 11 and 11 for long lists, skipping digits that all share.
void SortPacked(uint64_t* events, uint64_t* spare, int32_t count) {
  if (count < 256) {
    std::sort(events, events + count);
    return;
  }
  static constexpr int kShift[3] = {kOrderShift, kOrderShift + 12, kOrderShift + 23};
  static constexpr uint32_t kMask[3] = {0xFFF, 0x7FF, 0x7FF};
  uint32_t histograms[3][4096];
  std::memset(histograms, 0, sizeof histograms);
  for (int32_t k = 0; k < count; ++k)
    for (int d = 0; d < 3; ++d) ++histograms[d][(events[k] >> kShift[d]) & kMask[d]];
  uint64_t* from = events;
  uint64_t* to = spare;
  for (int d = 0; d < 3; ++d) {
    uint32_t* starts = histograms[d];
    if (starts[(from[0] >> kShift[d]) & kMask[d]] == static_cast<uint32_t>(count)) continue;
    uint32_t sum = 0;
    for (uint32_t b = 0; b <= kMask[d]; ++b) {
      const uint32_t c = starts[b];
      starts[b] = sum;
      sum += c;
    }
    for (int32_t k = 0; k < count; ++k) to[starts[(from[k] >> kShift[d]) & kMask[d]]++] = from[k];
    std::swap(from, to);
  }
  if (from != events) std::memcpy(events, from, sizeof(uint64_t) * static_cast<size_t>(count));
}

void Unpack(const uint64_t* packed, int32_t count, float* values, int32_t* tags) {
  for (int32_t k = 0; k < count; ++k) {
    values[k] = ValueOf(packed[k]);
    tags[k] = TagOf(packed[k]);
  }
}

// One child's share of one sorted list being written: the parent's events
// that went to it, with its cut parts' sorted events merged in.
struct ChildStream {
  float* values;
  int32_t* tags;
  int32_t written;
  const uint64_t* cuts;
  int32_t cutCount;
  int32_t cutAt;
  uint64_t nextCutOrder;  // above every order when no cut event is left
  float nextCutValue;     // infinity when none is left

  void Start(float* v, int32_t* t, const uint64_t* c, int32_t n) {
    values = v;
    tags = t;
    written = 0;
    cuts = c;
    cutCount = n;
    cutAt = 0;
    Advance();
  }
  void Advance() {
    nextCutOrder = cutAt < cutCount ? PackedOrder(cuts[cutAt]) : ~uint64_t(0);
    nextCutValue = cutAt < cutCount ? ValueOf(cuts[cutAt]) : __builtin_inff();
  }
  // Cut events before `order` go first.  (Events of equal order are equal
  // floats of one kind, so their order among themselves shows in nothing.)
  void CutsBelow(uint64_t order) {
    while (nextCutOrder < order) {
      values[written] = ValueOf(cuts[cutAt]);
      tags[written] = TagOf(cuts[cutAt]);
      ++written;
      ++cutAt;
      Advance();
    }
  }
  void Finish() { CutsBelow(~uint64_t(0)); }
};

// A value below which no event needs to look at the cut lists: the lesser
// of the next two cut values (an event that compares below it comes before
// both in the order).  NaN, which sends every event to look, if either is.
inline float QuickBound(const ChildStream& left, const ChildStream& right) {
  const float a = left.nextCutValue, b = right.nextCutValue;
  if (a != a || b != b) return a + b;
  return a < b ? a : b;
}

// Both children's cut events before the event (value, isEnd) go in, with
// the exact order; returns the new quick bound.  Kept out of the loop,
// which rarely needs it.
__attribute__((noinline)) float CutsBefore(float value, uint32_t isEnd, ChildStream* left,
                                          ChildStream* right) {
  const uint64_t order = OrderOf(value, isEnd);
  left->CutsBelow(order);
  right->CutsBelow(order);
  return QuickBound(*left, *right);
}

constexpr int32_t kRouteAhead = 16;

// Splits one sorted list of the parent between the two children.  Every
// event is written to both children and kept by the one its reference
// went to, which spares a branch that no predictor could guess; so each
// stream may write one slot past its end.  Cut events are few: the loop
// stops for them only when an event reaches the quick bound.
void SplitList(const float* values, const int32_t* tags, int32_t count, const uint32_t* route,
               ChildStream* left, ChildStream* right) {
  float* leftValues = left->values;
  int32_t* leftTags = left->tags;
  float* rightValues = right->values;
  int32_t* rightTags = right->tags;
  int32_t nl = left->written, nr = right->written;
  float bound = QuickBound(*left, *right);
  for (int32_t k = 0; k < count; ++k) {
    // The routes are read in no order: ask for them early.
    if (k + kRouteAhead < count) __builtin_prefetch(route + (tags[k + kRouteAhead] & kKDEventIndexMask));
    const int32_t tag = tags[k];
    const uint32_t to = route[tag & kKDEventIndexMask];
    if (to == kKDRouteCut) continue;  // its parts come from the cut lists
    const float value = values[k];
    const uint32_t endBit = static_cast<uint32_t>(tag) & 0x80000000u;
    if (!(value < bound)) {
      left->written = nl;
      right->written = nr;
      bound = CutsBefore(value, endBit >> 31, left, right);
      nl = left->written;
      nr = right->written;
    }
    const int32_t childTag = static_cast<int32_t>((to & ~kKDRouteRight) | endBit);
    const int32_t toRight = static_cast<int32_t>(to >> 31);
    leftValues[nl] = value;
    leftTags[nl] = childTag;
    rightValues[nr] = value;
    rightTags[nr] = childTag;
    nl += 1 - toRight;
    nr += toRight;
  }
  left->written = nl;
  right->written = nr;
  left->Finish();
  right->Finish();
}

// The cut parts' events of one list on one side, sorted.
int32_t CutEvents(const KDTriangleRef* parts, const KDCutParts* cuts, int32_t cutCount, bool leftSide,
                  int axis, EventList list, uint64_t* out, uint64_t* spare) {
  int32_t n = 0;
  for (int32_t c = 0; c < cutCount; ++c) {
    const int32_t index = leftSide ? cuts[c].left : cuts[c].right;
    n += EventsOf(parts[index], axis, list, index, out + n);
  }
  SortPacked(out, spare, n);
  return n;
}

// Where a list starts in a node's slots, given the starts on that axis.
inline int64_t ListOffset(int32_t count, int axis, EventList list, int32_t lowCount) {
  const int64_t base = 2 * static_cast<int64_t>(count) * axis;
  return list == kStartsAndEnds ? base : base + 2 * static_cast<int64_t>(lowCount);
}

inline int32_t ListLength(const KDSortedEvents& e, int axis, EventList list) {
  return list == kFlatList ? e.FlatCount(axis) : e.EventCount(axis);
}

// A zero or a NaN in a list in event order: NaNs sit at the two ends, and
// the zeros of both signs together in the middle.
bool HoldsZeroOrNaN(const float* values, int32_t count) {
  if (count == 0) return false;
  if (values[0] != values[0] || values[count - 1] != values[count - 1]) return true;
  int32_t lo = 0, hi = count;  // the first value not below zero
  while (lo < hi) {
    const int32_t mid = lo + (hi - lo) / 2;
    if (values[mid] < 0.0f) lo = mid + 1;
    else hi = mid;
  }
  return lo < count && values[lo] == 0.0f;
}

}  // namespace

void localSortEventsOf(const KDTriangleRef* refs, int32_t count, const KDEventSplitRoom& room,
                       KDSortedEvents* events) {
  events->count = count;
  for (int axis = 0; axis < 3; ++axis) {
    for (EventList list : {kStartsAndEnds, kFlatList}) {
      int32_t n = 0;
      for (int32_t k = 0; k < count; ++k) n += EventsOf(refs[k], axis, list, k, room.leftCuts + n);
      SortPacked(room.leftCuts, room.spare, n);
      if (list == kStartsAndEnds) events->lowCount[axis] = n / 2;
      const int64_t at = ListOffset(count, axis, list, events->lowCount[axis]);
      Unpack(room.leftCuts, n, events->values + at, events->tags + at);
    }
  }
}

void localSplitEvents(const KDSortedEvents& parent, const uint32_t* route, const KDCutParts* cuts,
                      int32_t cutCount, const KDTriangleRef* left, const KDTriangleRef* right,
                      const KDEventSplitRoom& room, KDSortedEvents* leftEvents,
                      KDSortedEvents* rightEvents) {
  KDSortedEvents* children[2] = {leftEvents, rightEvents};
  for (int axis = 0; axis < 3; ++axis) {
    for (EventList list : {kStartsAndEnds, kFlatList}) {
      ChildStream streams[2];
      const int32_t leftCuts = CutEvents(left, cuts, cutCount, true, axis, list, room.leftCuts, room.spare);
      const int32_t rightCuts = CutEvents(right, cuts, cutCount, false, axis, list, room.rightCuts, room.spare);
      // Most axes have no flat polygons at all: nothing to hand on.
      if (list == kFlatList && leftCuts + rightCuts + ListLength(parent, axis, list) == 0) continue;
      for (int side = 0; side < 2; ++side) {
        KDSortedEvents* child = children[side];
        const int64_t at = ListOffset(child->count, axis, list, child->lowCount[axis]);
        streams[side].Start(child->values + at, child->tags + at,
                            side == 0 ? room.leftCuts : room.rightCuts, side == 0 ? leftCuts : rightCuts);
      }
      const int64_t from = ListOffset(parent.count, axis, list, parent.lowCount[axis]);
      SplitList(parent.values + from, parent.tags + from, ListLength(parent, axis, list), route,
                &streams[0], &streams[1]);
      if (list == kStartsAndEnds)
        for (int side = 0; side < 2; ++side) children[side]->lowCount[axis] = streams[side].written / 2;
    }
  }
}

void localCopyEvents(const KDSortedEvents& from, KDSortedEvents* to) {
  const size_t slots = 6 * static_cast<size_t>(from.count);
  std::memcpy(to->values, from.values, sizeof(float) * slots);
  std::memcpy(to->tags, from.tags, sizeof(int32_t) * slots);
  to->count = from.count;
  for (int axis = 0; axis < 3; ++axis) to->lowCount[axis] = from.lowCount[axis];
}

bool localSortedAxisServes(const KDSortedEvents& events, int axis) {
  if (HoldsZeroOrNaN(events.Flats(axis), events.FlatCount(axis))) return false;
  if (events.lowCount[axis] >= kKDRadixSortMinCount) return true;  // radix-sorted: key order, zeros and all
  return !HoldsZeroOrNaN(events.Events(axis), events.EventCount(axis));
}

void localSplitStartsAndEnds(const KDSortedEvents& events, int axis, float* lows, float* highs) {
  const float* values = events.Events(axis);
  const int32_t* tags = events.EventTags(axis);
  int32_t nl = 0, nh = 0;
  for (int32_t k = 0; k < events.EventCount(axis); ++k) {
    if (tags[k] < 0)
      highs[nh++] = values[k];
    else
      lows[nl++] = values[k];
  }
}
