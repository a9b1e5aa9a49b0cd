// The window of four resampled lines (rows of a plane, or planes of a
// volume) that slides along an axis as the destination advances.
//
// The window holds the lines idx - step, idx, idx + step and idx + 2 * step.
// When the destination moves on to a new idx, the oldest lines are rotated
// to the newest end and reloaded, as many as the move made stale (up to all
// four, as in a downscale).  Rotation moves pointers, never data.
#pragma once

#include <cstdint>

// Whether idx lies beyond `mark` in the direction of the axis step.  A step
// of 0 counts as backwards, so that a zero step loads its window once.
inline bool CubicPassed(int32_t idx, int32_t mark, int32_t step) {
  return step > 0 ? idx > mark : idx < mark;
}

// Where the window starts: prev sits just behind the first idx, so that the
// first advance loads only the fourth line.
inline int32_t CubicWindowStart(int32_t idx, int32_t step) { return step >= 1 ? idx - 1 : idx + 1; }

// Moves the oldest of the first `count` items to position count - 1.
template <typename Item>
Item& RotateOldestToNewest(Item* items, int32_t count) {
  Item oldest = items[0];
  for (int32_t i = 0; i + 1 < count; ++i) items[i] = items[i + 1];
  items[count - 1] = oldest;
  return items[count - 1];
}

// Brings the window to idx.  `load(item, line)` resamples source line `line`
// (an offset in samples, or a plane index) into `item`.
template <typename Item, typename Load>
void AdvanceCubicWindow(Item items[4], int32_t idx, int32_t& prev, int32_t step, Load&& load) {
  if (CubicPassed(idx, prev, step)) {
    load(RotateOldestToNewest(items, 4), idx + 2 * step);
    if (CubicPassed(idx, prev + step, step)) {
      load(RotateOldestToNewest(items, 3), idx + step);
      if (CubicPassed(idx, prev + 2 * step, step)) {
        load(RotateOldestToNewest(items, 2), idx);
        if (CubicPassed(idx, prev + 3 * step, step)) load(items[0], idx - step);
      }
    }
  }
  prev = idx;
}
