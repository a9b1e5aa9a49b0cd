// Evaluation of one axis of a node: gather the events, sort them, sweep.
#include <algorithm>
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_split_search.h"

namespace {

// True for +0, -0 and NaN: the only values whose place in a sorted array
// depends on the sorting algorithm (equal-comparing zeros of both signs,
// and NaNs, which compare with nothing).
inline bool OrderSensitive(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, 4);
  bits &= 0x7FFFFFFFu;
  return bits == 0 || bits > 0x7F800000u;
}

// From this length on a short radix sort beats a comparison sort.
constexpr int32_t kShortRadixMinCount = 48;

// The short lists go through the library's quicksort.  Without zeros or
// NaNs every correct sort gives the same bits, so a faster one stands in.
void SortShort(float* values, float* scratch, int32_t count, bool orderSensitive) {
  if (orderSensitive)
    ownSortAscend32f(values, count);  // a length of 0 is refused and leaves nothing to do
  else if (count >= kShortRadixMinCount)
    localRadixSortShort32f(values, scratch, count);
  else
    std::sort(values, values + count);
}

}  // namespace

void localForgetSortedEvents(KDEventArrays* events) {
  for (int axis = 0; axis < 3; ++axis) events->sortedLows[axis] = events->sortedFlats[axis] = -1;
}

namespace {

// Gather: a polygon whose extremes on the axis coincide is flat on it.
// Starts and ends are kept in separate arrays and sorted on their own;
// only the counts on each side of a plane matter, not which start belongs
// to which end.
void GatherAndSort(float* const arrays[4], const KDTriangleRef* refs, int32_t count, int axis,
                   int32_t* lowCount, int32_t* flatCount) {
  float* lows = arrays[kKDLows];
  float* highs = arrays[kKDHighs];
  float* flats = arrays[kKDFlats];
  int32_t n = 0, f = 0;
  bool eventsSensitive = false, flatsSensitive = false;
  for (int32_t k = 0; k < count; ++k) {
    const float least = KDRefLeast(refs[k], axis);
    const float greatest = KDRefGreatest(refs[k], axis);
    if (least == greatest) {
      flats[f++] = least;
      flatsSensitive = flatsSensitive || OrderSensitive(least);
    } else {
      lows[n] = least;
      highs[n] = greatest;
      ++n;
      eventsSensitive = eventsSensitive || OrderSensitive(least) || OrderSensitive(greatest);
    }
  }

  if (n >= kKDRadixSortMinCount) {
    localRadixSort32f(lows, arrays[kKDScratch], n);
    localRadixSort32f(highs, arrays[kKDScratch], n);
  } else {
    SortShort(lows, arrays[kKDScratch], n, eventsSensitive);
    SortShort(highs, arrays[kKDScratch], n, eventsSensitive);
  }
  if (f != 0) SortShort(flats, arrays[kKDScratch], f, flatsSensitive);
  *lowCount = n;
  *flatCount = f;
}

}  // namespace

void localEvaluateAxis(float* const arrays[4], const KDTriangleRef* refs, int32_t count,
                       const float box[6], int axis, qelrSplitDecision* candidate,
                       int32_t* sortedLows, int32_t* sortedFlats) {
  const float low = box[axis];
  const float high = box[axis + 3];
  // A flat axis keeps the leaf cost and so can never win.
  if (!(high - low > kKDFlatExtent)) return;

  int32_t n, f;
  if (sortedLows != nullptr && *sortedLows >= 0) {
    n = *sortedLows;
    f = *sortedFlats;
  } else {
    GatherAndSort(arrays, refs, count, axis, &n, &f);
    if (sortedLows != nullptr) {
      *sortedLows = n;
      *sortedFlats = f;
    }
  }
  const float* lows = arrays[kKDLows];
  const float* highs = arrays[kKDHighs];
  const float* flats = arrays[kKDFlats];

  KDSweepInput in;
  in.lows = lows;
  in.highs = highs;
  in.n = n;
  in.flats = flats;
  in.f = f;
  in.low = low;
  in.high = high;
  const int a1 = (axis + 1) % 3, a2 = (axis + 2) % 3;
  in.extent1 = box[a1 + 3] - box[a1];
  in.extent2 = box[a2 + 3] - box[a2];
  // A box flat on both other axes has no area to weigh the sides with.
  if (in.extent1 <= kKDFlatExtent && in.extent2 <= kKDFlatExtent) return;

  if (f == 0)
    localSweep(in, candidate);
  else
    localSweepFlats(in, candidate);
}
