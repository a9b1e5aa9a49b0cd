// The rotating pair: walking destination lines (rows of a plane, or planes
// of a volume) that each blend two adjacent source lines, it keeps the
// resampled source lines idx and idx + step in slots A and B, so each
// source line is resampled at most once however many destination lines
// read it.
#pragma once

#include <cstdint>
#include <utility>

// Whether a source line offset has moved past `mark` in the direction of
// the step.  A negative (or zero) step reverses the sense of every test.
inline bool PassedLine(int32_t idx, int32_t mark, int32_t step) {
  return step > 0 ? idx > mark : idx < mark;
}

// For destination lines first .. end - 1 with source offsets `offsets`:
// load(offset, slot) resamples a source line into a slot, and
// use(k, a, b) consumes destination line k from the pair.  Only slot
// handles are swapped, never their contents.
template <typename Slot, typename Load, typename Use>
void WalkRotatingPair(const int32_t* offsets, int32_t first, int32_t end, int32_t step, Slot a,
                      Slot b, Load load, Use use) {
  if (first >= end) return;
  // The line prepared ahead lands in A at the first destination line.
  load(offsets[first], b);
  int32_t prev = step > 0 ? offsets[first] - 1 : offsets[first] + 1;
  for (int32_t k = first; k < end; ++k) {
    const int32_t idx = offsets[k];
    if (PassedLine(idx, prev, step)) {
      std::swap(a, b);
      load(idx + step, b);
      // A jump of more than one source line (a downscale) reloads both.
      if (PassedLine(idx, prev + step, step)) load(idx, a);
    }
    prev = idx;
    use(k, a, b);
  }
}

// True when every destination line after the first has moved past the
// source line after its predecessor's, so that the walk resamples both
// lines afresh for each destination line and no two share one (as in a
// halving).
inline bool EveryLineReadsFreshPair(const int32_t* offsets, int32_t first, int32_t end, int32_t step) {
  for (int32_t k = first + 1; k < end; ++k)
    if (!PassedLine(offsets[k], offsets[k - 1] + step, step)) return false;
  return true;
}
