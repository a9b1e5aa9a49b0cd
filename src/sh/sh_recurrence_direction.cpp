// The band recurrence for one direction, in band order.  Within a band
// every value depends only on the two bands before it, so the scalar
// statements of a band overlap freely in the processor.  (Vectors across m
// do not pay here: bands are short, and loading vectors from a record just
// written value by value stalls on the partial stores.)
#include "sh/sh_recurrence_direction.h"

namespace {

// Offset of Y(l, 0) in a direction's record, and of row l in a table.
inline int Centre(int l) {
  return l * l + l;
}
inline int Row(int l) {
  return l * (l + 1) / 2;
}

}  // namespace

void shRecurrenceOneDirection(const float* recurA, const float* recurB, float x, float y, float z, float* dst,
                              int order) {
  dst[0] = recurA[0];
  dst[Centre(1) - 1] = recurA[2] * y;
  dst[Centre(1)] = recurA[1] * z;
  dst[Centre(1) + 1] = recurA[2] * x;

  for (int l = 2; l <= order; ++l) {
    const float* a = recurA + Row(l);
    const float* b = recurB + Row(l);
    const float* prev1 = dst + Centre(l - 1);
    const float* prev2 = dst + Centre(l - 2);
    float* cur = dst + Centre(l);

    // Sectoral pair, then the pair next to it, from band l - 1 alone.
    const float plus = prev1[l - 1], minus = prev1[-(l - 1)];
    cur[l] = (plus * x - minus * y) * a[l];
    cur[-l] = (plus * y + minus * x) * a[l];
    const float azNext = a[l - 1] * z;
    cur[l - 1] = azNext * plus;
    cur[-(l - 1)] = azNext * minus;

    // Centre and the rest, from bands l - 1 and l - 2.
    cur[0] = a[0] * z * prev1[0] + b[0] * prev2[0];
    for (int m = 1; m <= l - 2; ++m) {
      const float az = a[m] * z;
      cur[m] = az * prev1[m] + b[m] * prev2[m];
      cur[-m] = az * prev1[-m] + b[m] * prev2[-m];
    }
  }
}
