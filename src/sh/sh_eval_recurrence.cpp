// shEvalRecurrence: the band recurrence in single precision.
//
// For each direction, with A = recurA and B = recurB:
//   Y(0,0)   = A(0,0)
//   Y(1,-1)  = A(1,1) y,  Y(1,0) = A(1,0) z,  Y(1,1) = A(1,1) x
// and for each band l >= 2, from the two bands before it:
//   Y(l,+l)  = (Y(l-1,+(l-1)) x - Y(l-1,-(l-1)) y) A(l,l)
//   Y(l,-l)  = (Y(l-1,+(l-1)) y + Y(l-1,-(l-1)) x) A(l,l)
//   Y(l,±(l-1)) = (A(l,l-1) z) Y(l-1,±(l-1))
//   Y(l,±m)  = (A(l,m) z) Y(l-1,±m) + B(l,m) Y(l-2,±m),   0 <= m <= l-2
//
// Whole blocks of directions go through the vector forms of
// sh_recurrence_block.h, one direction per lane; the rest go one at a time
// through sh_recurrence_direction.cpp.  Both perform exactly these
// single-precision operations.
#include <cstddef>

#include "sh/sh_evaluators.h"
#include "sh/sh_recurrence_blocks.h"
#include "sh/sh_recurrence_direction.h"
#include "sh/sh_state_layout.h"

qelStatus shEvalRecurrence(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                           int32_t count, float* dst, uint32_t order) {
  if (order > kShMaxOrder)
    return StatusBadOrder;
  if (count < 1)
    return StatusOk;

  // Band 0 alone is a constant: the coordinates are not even read.
  if (order == 0) {
    for (int32_t i = 0; i < count; ++i)
      dst[i] = recurA[0];
    return StatusOk;
  }
  const int bands = static_cast<int>(order);
  const size_t perDirection = size_t(bands + 1) * size_t(bands + 1);
  int32_t i = count >= 4 ? shRecurrenceBlocks(recurA, recurB, x, y, z, count, dst, bands) : 0;
  for (; i < count; ++i)
    shRecurrenceOneDirection(recurA, recurB, x[i], y[i], z[i], dst + size_t(i) * perDirection, bands);
  return StatusOk;
}
