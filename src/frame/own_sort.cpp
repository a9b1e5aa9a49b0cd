#include <cstring>
#include <utility>

#include "frame/qelr_internal.h"

namespace {

// Elements move as raw 32-bit patterns, so NaNs and signed zeros travel
// unchanged; only the comparisons read them as floats.
inline void Swap(float* a, int32_t i, int32_t j) {
  uint32_t x, y;
  std::memcpy(&x, a + i, 4);
  std::memcpy(&y, a + j, 4);
  std::memcpy(a + i, &y, 4);
  std::memcpy(a + j, &x, 4);
}

// Short ranges: move the greatest element (the first of equal ones) to the
// end, hi - lo times.
void SelectionSort(float* a, int32_t lo, int32_t hi) {
  for (; hi > lo; --hi) {
    int32_t best = lo;
    for (int32_t k = lo + 1; k <= hi; ++k)
      if (a[k] > a[best]) best = k;
    Swap(a, best, hi);
  }
}

}  // namespace

qelStatus ownSortAscend32f(float* a, int32_t length) {
  if (!a) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  if (length == 1) return StatusOk;

  // Pending ranges; entry 0 is never written.  The longer part is always
  // the one pushed, so 32 entries suffice for any 32-bit length.
  int32_t pendingLo[32] = {}, pendingHi[32] = {};
  int32_t count = 1;
  int32_t lo = 0, hi = length - 1;

  while (count != 0) {
    const int32_t size = hi - lo + 1;
    if (size <= 9) {
      SelectionSort(a, lo, hi);
      --count;
      lo = pendingLo[count];  // values of entry 0 are read but never used
      hi = pendingHi[count];
      continue;
    }

    // Median of three; the pivot is the value left in the middle.
    const int32_t mid = lo + (size >> 1);
    if (a[lo] > a[hi]) Swap(a, lo, hi);
    if (a[mid] > a[hi]) Swap(a, mid, hi);
    if (a[lo] > a[mid]) Swap(a, lo, mid);
    const float pivot = a[mid];

    int32_t i = lo + 1, j = hi;
    for (;;) {
      while (i < j && a[i] <= pivot) ++i;
      while (i < j && a[j] > pivot) --j;
      if (i >= j) break;
      Swap(a, i, j);
      ++i;
      --j;
    }
    // Strip the runs equal to the pivot from both sides, so that a range of
    // equal values ends in a single pass.  "Not below the pivot" equals
    // "a[i] >= pivot" for ordered values; it also steps over a NaN, which
    // keeps the left part shorter than the range: with a NaN left at hi, a
    // plain >= would hand the whole range back and never end.
    while (i > lo && !(a[i] < pivot)) --i;
    while (j < hi && a[j] <= pivot) ++j;

    // Go on with the shorter part, keep the longer one for later.
    if (i - lo < hi - j) {
      if (i != lo) {
        pendingLo[count] = j;
        pendingHi[count] = hi;
        ++count;
        hi = i;
      } else {
        lo = j;
      }
    } else {
      if (j != hi) {
        pendingLo[count] = lo;
        pendingHi[count] = i;
        ++count;
        lo = j;
      } else {
        hi = i;
      }
    }
  }
  return StatusOk;
}
