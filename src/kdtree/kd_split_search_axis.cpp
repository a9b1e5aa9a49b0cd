// Evaluation of one axis of a node: gather the events, sort them, sweep.
//
// Two shortcuts leave the results as they are.  Sorting is put off until
// the sweep needs it: an empty end of the box is found from the least start
// and the greatest end alone, and then nothing needs sorting.  And events
// already sorted for the same references (a node cut off from empty space
// keeps its parent's) are not gathered again.
#include <cstring>

#include "frame/qelr_internal.h"
#include "kdtree/kd_split_search.h"

namespace {

// True for +0, -0 and NaN: the only values whose place in a sorted array
// depends on the sorting algorithm (equal-comparing zeros of both signs,
// and NaNs, which compare with nothing).  Without them every correct sort
// gives the same bits, and the sorted ends are the least and the greatest.
inline bool OrderSensitive(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, 4);
  bits &= 0x7FFFFFFFu;
  return bits == 0 || bits > 0x7F800000u;
}

// Below this length counting each value's rank beats the radix sort.
constexpr int32_t kShortRadixMinCount = 72;

// Each value goes straight to its place: the number of values below it,
// counting equal ones that come earlier.  Quadratic, but free of
// unpredictable branches, which makes it the fastest for short lists.
void RankSort(float* values, float* scratch, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const float v = values[i];
    int32_t rank = 0;
    for (int32_t j = 0; j < i; ++j) rank += values[j] <= v;
    for (int32_t j = i + 1; j < count; ++j) rank += values[j] < v;
    scratch[rank] = v;
  }
  std::memcpy(values, scratch, sizeof(float) * static_cast<size_t>(count));
}

// The short lists go through the library's quicksort, or a faster sort
// where that gives the same bits.
void SortShort(float* values, float* scratch, int32_t count, bool orderSensitive) {
  if (orderSensitive)
    ownSortAscend32f(values, count);  // a length of 0 is refused and leaves nothing to do
  else if (count >= kShortRadixMinCount)
    localRadixSortShort32f(values, scratch, count);
  else
    RankSort(values, scratch, count);
}

// Gather: a polygon whose extremes on the axis coincide is flat on it.
// Starts and ends are kept in separate arrays and sorted on their own; only
// the counts on each side of a plane matter, not which start belongs to
// which end.
void Gather(float* const arrays[4], const KDTriangleRef* refs, int32_t count, int axis,
            KDAxisEvents* held) {
  float* lows = arrays[kKDLows];
  float* highs = arrays[kKDHighs];
  float* flats = arrays[kKDFlats];
  int32_t n = 0, f = 0;
  bool sensitive = false;
  float leastLow = 0, greatestHigh = 0;
  for (int32_t k = 0; k < count; ++k) {
    const float least = KDRefLeast(refs[k], axis);
    const float greatest = KDRefGreatest(refs[k], axis);
    sensitive = sensitive || OrderSensitive(least) || OrderSensitive(greatest);
    if (least == greatest) {
      flats[f++] = least;
    } else {
      if (n == 0 || least < leastLow) leastLow = least;
      if (n == 0 || greatest > greatestHigh) greatestHigh = greatest;
      lows[n] = least;
      highs[n] = greatest;
      ++n;
    }
  }
  held->lowCount = n;
  held->flatCount = f;
  held->sorted = false;
  held->orderSensitive = sensitive;
  held->leastLow = leastLow;
  held->greatestHigh = greatestHigh;
}

// The sort the sweep needs: the radix sort from 321 events, the library's
// quicksort below (or its stand-in).
void Sort(float* const arrays[4], KDAxisEvents* held) {
  const int32_t n = held->lowCount, f = held->flatCount;
  float* scratch = arrays[kKDScratch];
  if (n >= kKDRadixSortMinCount) {
    localRadixSort32f(arrays[kKDLows], scratch, n);
    localRadixSort32f(arrays[kKDHighs], scratch, n);
  } else {
    SortShort(arrays[kKDLows], scratch, n, held->orderSensitive);
    SortShort(arrays[kKDHighs], scratch, n, held->orderSensitive);
  }
  if (f != 0) SortShort(arrays[kKDFlats], scratch, f, held->orderSensitive);
  held->sorted = true;
}

// The first start and the last end of the sorted lists, from the unsorted
// ones (only without zeros and NaNs, where they are the least and greatest).
void SortedEnds(float* const arrays[4], const KDAxisEvents& held, const KDSweepInput& in, float* first,
                float* last) {
  const float* flats = arrays[kKDFlats];
  const int32_t f = held.flatCount;
  float leastFlat = 0, greatestFlat = 0;
  for (int32_t k = 0; k < f; ++k) {
    if (k == 0 || flats[k] < leastFlat) leastFlat = flats[k];
    if (k == 0 || flats[k] > greatestFlat) greatestFlat = flats[k];
  }
  if (f == 0) {
    *first = held.leastLow;
    *last = held.greatestHigh;
    return;
  }
  const float firstLow = held.lowCount > 0 ? held.leastLow : in.low;
  const float lastHigh = held.lowCount > 0 ? held.greatestHigh : in.high;
  *first = firstLow <= leastFlat ? firstLow : leastFlat;
  *last = lastHigh >= greatestFlat ? lastHigh : greatestFlat;
}

}  // namespace

void localForgetSortedEvents(KDEventArrays* events) {
  for (KDAxisEvents& held : events->held) held.lowCount = -1;
}

void localEvaluateAxis(float* const arrays[4], const KDSortedEvents* sorted,
                       const KDTriangleRef* refs, int32_t count, const float box[6], int axis,
                       qelrSplitDecision* candidate, KDAxisEvents* held) {
  const float low = box[axis];
  const float high = box[axis + 3];
  // A flat axis keeps the leaf cost and so can never win.
  if (!(high - low > kKDFlatExtent)) return;

  KDSweepInput in;
  in.low = low;
  in.high = high;
  const int a1 = (axis + 1) % 3, a2 = (axis + 2) % 3;
  in.extent1 = box[a1 + 3] - box[a1];
  in.extent2 = box[a2 + 3] - box[a2];

  if (sorted != nullptr && localSortedAxisServes(*sorted, axis)) {
    // The kept events are sorted already.
    in.n = sorted->lowCount[axis];
    in.flats = sorted->Flats(axis);
    in.f = sorted->FlatCount(axis);
    if (in.extent1 <= kKDFlatExtent && in.extent2 <= kKDFlatExtent) return;
    const float* events = sorted->Events(axis);
    const int32_t m = sorted->EventCount(axis);
    // In event order NaNs sit at the two ends.
    const bool holdsNaN = m > 0 && (events[0] != events[0] || events[m - 1] != events[m - 1]);
    if (in.f == 0 && !holdsNaN) {
      localSweepEvents(in, events, sorted->EventTags(axis), candidate);
      return;
    }
    // The sweep with flats, or with NaNs, takes starts and ends apart.
    localSplitStartsAndEnds(*sorted, axis, arrays[kKDLows], arrays[kKDHighs]);
    held->lowCount = -1;  // the arrays no longer hold what was gathered
    in.lows = arrays[kKDLows];
    in.highs = arrays[kKDHighs];
    if (in.f == 0)
      localSweep(in, candidate);
    else
      localSweepFlats(in, candidate);
    return;
  }

  if (held->lowCount < 0) Gather(arrays, refs, count, axis, held);

  in.lows = arrays[kKDLows];
  in.highs = arrays[kKDHighs];
  in.n = held->lowCount;
  in.flats = arrays[kKDFlats];
  in.f = held->flatCount;
  // A box flat on both other axes has no area to weigh the sides with.
  if (in.extent1 <= kKDFlatExtent && in.extent2 <= kKDFlatExtent) return;

  if (!held->sorted) {
    if (!held->orderSensitive) {
      float first, last;
      SortedEnds(arrays, *held, in, &first, &last);
      if (localTakeEndCut(in, first, last, candidate)) return;
    }
    Sort(arrays, held);
  }
  if (in.f == 0)
    localSweep(in, candidate);
  else
    localSweepFlats(in, candidate);
}
