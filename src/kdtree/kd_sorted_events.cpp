// Sorted events kept from node to node: sorting a node's events from
// scratch, handing a split node's events to its children, and telling when
// the kept order is the one the search's own sort would give.
//
// An event on its way through a sort is packed into 64 bits, the float's
// key above the reference index, so that sorting the packed words sorts by
// key.
#include <algorithm>
#include <cstring>

#include "kdtree/kd_float_key.h"
#include "kdtree/kd_sorted_events.h"
#include "kdtree/kd_split_search.h"

namespace {

enum EventKind { kLows, kFlats, kHighs };

inline uint64_t Pack(float value, int32_t refIndex) {
  return static_cast<uint64_t>(KDFloatKey(value)) << 32 | static_cast<uint32_t>(refIndex);
}
inline uint32_t KeyOf(uint64_t packed) { return static_cast<uint32_t>(packed >> 32); }

// The event of one kind that a reference gives on an axis, if any: a flat
// polygon gives a flat coordinate, any other a start and an end.
inline bool EventOf(const KDTriangleRef& ref, int axis, EventKind kind, float* value) {
  const float least = KDRefLeast(ref, axis), greatest = KDRefGreatest(ref, axis);
  const bool flat = least == greatest;
  if (kind == kFlats) {
    *value = least;
    return flat;
  }
  *value = kind == kLows ? least : greatest;
  return !flat;
}

// Ascending by key: a least-significant-digit radix sort of the keys'
// 11, 11 and 10 bits for long lists, skipping digits that all keys share.
void SortPacked(uint64_t* events, uint64_t* spare, int32_t count) {
  if (count < 256) {
    std::sort(events, events + count);
    return;
  }
  static constexpr int kDigits = 2048;
  static constexpr int kShift[3] = {32, 43, 54};
  uint32_t histograms[3][kDigits];
  std::memset(histograms, 0, sizeof histograms);
  for (int32_t k = 0; k < count; ++k)
    for (int d = 0; d < 3; ++d) ++histograms[d][(events[k] >> kShift[d]) & 0x7FF];
  uint64_t* from = events;
  uint64_t* to = spare;
  for (int d = 0; d < 3; ++d) {
    uint32_t* starts = histograms[d];
    if (starts[(from[0] >> kShift[d]) & 0x7FF] == static_cast<uint32_t>(count)) continue;
    uint32_t sum = 0;
    for (int b = 0; b < kDigits; ++b) {
      const uint32_t c = starts[b];
      starts[b] = sum;
      sum += c;
    }
    for (int32_t k = 0; k < count; ++k) to[starts[(from[k] >> kShift[d]) & 0x7FF]++] = from[k];
    std::swap(from, to);
  }
  if (from != events) std::memcpy(events, from, sizeof(uint64_t) * static_cast<size_t>(count));
}

// The events of one kind that `refs[k]` give, packed, from `first` on.
int32_t GatherPacked(const KDTriangleRef* refs, int32_t count, int axis, EventKind kind,
                     uint64_t* out) {
  int32_t n = 0;
  for (int32_t k = 0; k < count; ++k) {
    float value;
    if (EventOf(refs[k], axis, kind, &value)) out[n++] = Pack(value, k);
  }
  return n;
}

void Unpack(const uint64_t* packed, int32_t count, float* values, int32_t* refIndex) {
  for (int32_t k = 0; k < count; ++k) {
    values[k] = KDFloatFromKey(KeyOf(packed[k]));
    refIndex[k] = static_cast<int32_t>(static_cast<uint32_t>(packed[k]));
  }
}

// One child's share of one sorted list being written: the parent's events
// that went to it, with its cut parts' sorted events merged in.
struct ChildStream {
  float* values;
  int32_t* refIndex;
  int32_t written;
  const uint64_t* cuts;
  int32_t cutCount;
  int32_t cutAt;
  uint64_t nextCutKey;  // above every key when no cut event is left

  void Start(float* v, int32_t* r, const uint64_t* c, int32_t n) {
    values = v;
    refIndex = r;
    written = 0;
    cuts = c;
    cutCount = n;
    cutAt = 0;
    Advance();
  }
  void Advance() { nextCutKey = cutAt < cutCount ? KeyOf(cuts[cutAt]) : ~uint64_t(0); }
  // Cut events below `key` go first.  (Equal keys are equal floats, so
  // their order among themselves shows in nothing.)
  void CutsBelow(uint64_t key) {
    while (nextCutKey < key) {
      values[written] = KDFloatFromKey(KeyOf(cuts[cutAt]));
      refIndex[written] = static_cast<int32_t>(static_cast<uint32_t>(cuts[cutAt]));
      ++written;
      ++cutAt;
      Advance();
    }
  }
  void Finish() { CutsBelow(~uint64_t(0)); }
};

// Both children's cut events below `key` go in; returns the lesser of the
// next two cut keys.  Kept out of the loop, which rarely needs it.
__attribute__((noinline)) uint64_t CutsBelow(uint64_t key, ChildStream* left, ChildStream* right) {
  left->CutsBelow(key);
  right->CutsBelow(key);
  return std::min(left->nextCutKey, right->nextCutKey);
}

constexpr int32_t kRouteAhead = 16;

// Splits one sorted list of the parent between the two children.  Every
// event is written to both children and kept by the one its reference
// went to, which spares a branch that no predictor could guess; so each
// stream may write one slot past its end.  Cut events are few: the loop
// stops for them only when a key passes the lesser of the next two.
void SplitList(const float* values, const int32_t* refIndex, int32_t count, const uint32_t* route,
               ChildStream* left, ChildStream* right) {
  float* leftValues = left->values;
  int32_t* leftIndex = left->refIndex;
  float* rightValues = right->values;
  int32_t* rightIndex = right->refIndex;
  int32_t nl = left->written, nr = right->written;
  uint64_t nextCut = std::min(left->nextCutKey, right->nextCutKey);
  for (int32_t k = 0; k < count; ++k) {
    // The routes are read in no order: ask for them early.
    if (k + kRouteAhead < count) __builtin_prefetch(route + refIndex[k + kRouteAhead]);
    const uint32_t to = route[refIndex[k]];
    if (to == kKDRouteCut) continue;  // its parts come from the cut lists
    const float value = values[k];
    const uint64_t key = KDFloatKey(value);
    if (key > nextCut) {
      left->written = nl;
      right->written = nr;
      nextCut = CutsBelow(key, left, right);
      nl = left->written;
      nr = right->written;
    }
    const int32_t index = static_cast<int32_t>(to & ~kKDRouteRight);
    const int32_t toRight = static_cast<int32_t>(to >> 31);
    leftValues[nl] = value;
    leftIndex[nl] = index;
    rightValues[nr] = value;
    rightIndex[nr] = index;
    nl += 1 - toRight;
    nr += toRight;
  }
  left->written = nl;
  right->written = nr;
  left->Finish();
  right->Finish();
}

// The cut parts' events of one kind on one side, sorted.
int32_t CutEvents(const KDTriangleRef* parts, const KDCutParts* cuts, int32_t cutCount, bool leftSide,
                  int axis, EventKind kind, uint64_t* out, uint64_t* spare) {
  int32_t n = 0;
  for (int32_t c = 0; c < cutCount; ++c) {
    const int32_t index = leftSide ? cuts[c].left : cuts[c].right;
    float value;
    if (EventOf(parts[index], axis, kind, &value)) out[n++] = Pack(value, index);
  }
  SortPacked(out, spare, n);
  return n;
}

// Where a list of one kind starts in a node's slots, given the starts
// already written on that axis.
inline int64_t ListOffset(int32_t count, int axis, EventKind kind, int32_t lowCount) {
  const int64_t base = 2 * static_cast<int64_t>(count) * axis;
  return kind == kLows ? base : kind == kFlats ? base + lowCount : base + count;
}

inline int32_t ListLength(const KDSortedEvents& e, int axis, EventKind kind) {
  return kind == kFlats ? e.FlatCount(axis) : e.lowCount[axis];
}

// Position of the first key not below `key` in a list sorted by key.
int32_t FirstKeyNotBelow(const float* values, int32_t count, uint32_t key) {
  int32_t lo = 0, hi = count;
  while (lo < hi) {
    const int32_t mid = lo + (hi - lo) / 2;
    if (KDFloatKey(values[mid]) < key) lo = mid + 1;
    else hi = mid;
  }
  return lo;
}

// A zero or a NaN in a list sorted by key: NaNs sit at the two ends, and
// the zeros (keys 0x7FFFFFFF and 0x80000000) side by side in the middle.
bool HoldsZeroOrNaN(const float* values, int32_t count) {
  if (count == 0) return false;
  if (values[0] != values[0] || values[count - 1] != values[count - 1]) return true;
  const int32_t at = FirstKeyNotBelow(values, count, 0x7FFFFFFFu);
  return at < count && KDFloatKey(values[at]) <= 0x80000000u;
}

}  // namespace

void localSortEventsOf(const KDTriangleRef* refs, int32_t count, const KDEventSplitRoom& room,
                       KDSortedEvents* events) {
  events->count = count;
  for (int axis = 0; axis < 3; ++axis) {
    for (EventKind kind : {kLows, kFlats, kHighs}) {
      const int32_t n = GatherPacked(refs, count, axis, kind, room.leftCuts);
      SortPacked(room.leftCuts, room.spare, n);
      if (kind == kLows) events->lowCount[axis] = n;
      const int64_t at = ListOffset(count, axis, kind, events->lowCount[axis]);
      Unpack(room.leftCuts, n, events->values + at, events->refIndex + at);
    }
  }
}

void localSplitEvents(const KDSortedEvents& parent, const uint32_t* route, const KDCutParts* cuts,
                      int32_t cutCount, const KDTriangleRef* left, const KDTriangleRef* right,
                      const KDEventSplitRoom& room, KDSortedEvents* leftEvents,
                      KDSortedEvents* rightEvents) {
  KDSortedEvents* children[2] = {leftEvents, rightEvents};
  for (int axis = 0; axis < 3; ++axis) {
    for (EventKind kind : {kLows, kFlats, kHighs}) {
      ChildStream streams[2];
      const int32_t leftCuts = CutEvents(left, cuts, cutCount, true, axis, kind, room.leftCuts, room.spare);
      const int32_t rightCuts = CutEvents(right, cuts, cutCount, false, axis, kind, room.rightCuts, room.spare);
      for (int side = 0; side < 2; ++side) {
        KDSortedEvents* child = children[side];
        const int64_t at = ListOffset(child->count, axis, kind, child->lowCount[axis]);
        streams[side].Start(child->values + at, child->refIndex + at,
                            side == 0 ? room.leftCuts : room.rightCuts, side == 0 ? leftCuts : rightCuts);
      }
      const int64_t from = ListOffset(parent.count, axis, kind, parent.lowCount[axis]);
      SplitList(parent.values + from, parent.refIndex + from, ListLength(parent, axis, kind), route,
                &streams[0], &streams[1]);
      if (kind == kLows)
        for (int side = 0; side < 2; ++side) children[side]->lowCount[axis] = streams[side].written;
    }
  }
}

void localCopyEvents(const KDSortedEvents& from, KDSortedEvents* to) {
  const size_t slots = 6 * static_cast<size_t>(from.count);
  std::memcpy(to->values, from.values, sizeof(float) * slots);
  std::memcpy(to->refIndex, from.refIndex, sizeof(int32_t) * slots);
  to->count = from.count;
  for (int axis = 0; axis < 3; ++axis) to->lowCount[axis] = from.lowCount[axis];
}

bool localSortedAxisServes(const KDSortedEvents& events, int axis) {
  if (HoldsZeroOrNaN(events.Flats(axis), events.FlatCount(axis))) return false;
  const int32_t n = events.lowCount[axis];
  if (n >= kKDRadixSortMinCount) return true;  // radix-sorted in key order, zeros and all
  return !HoldsZeroOrNaN(events.Lows(axis), n) && !HoldsZeroOrNaN(events.Highs(axis), n);
}
