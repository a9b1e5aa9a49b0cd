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
// sh_recurrence_block.h, one direction per lane; the rest are done here one
// at a time.  Both perform exactly these single-precision operations.
#include <cstddef>

#include "sh/sh_evaluators.h"
#include "sh/sh_recurrence_blocks.h"
#include "sh/sh_state_layout.h"

namespace {

// Offset of Y(l, 0) in a direction's record.
inline int Centre(int l) { return l * l + l; }

// ---------------------------------------------------------------------------
// One direction, in band order: within a band every value is independent of
// the others, so the scalar statements overlap freely.

void OneDirection(const float* recurA, const float* recurB, float x, float y, float z, float* dst, int order)
{
    dst[0] = recurA[0];
    dst[Centre(1) - 1] = recurA[2] * y;
    dst[Centre(1)] = recurA[1] * z;
    dst[Centre(1) + 1] = recurA[2] * x;

    for (int l = 2; l <= order; ++l) {
        const float* a = recurA + shTableRow(l);
        const float* b = recurB + shTableRow(l);
        const float* prev1 = dst + Centre(l - 1);
        const float* prev2 = dst + Centre(l - 2);
        float* cur = dst + Centre(l);

        const float plus = prev1[l - 1], minus = prev1[-(l - 1)];
        cur[l] = (plus * x - minus * y) * a[l];
        cur[-l] = (plus * y + minus * x) * a[l];
        const float azNext = a[l - 1] * z;
        cur[l - 1] = azNext * plus;
        cur[-(l - 1)] = azNext * minus;

        cur[0] = a[0] * z * prev1[0] + b[0] * prev2[0];
        for (int m = 1; m <= l - 2; ++m) {
            const float az = a[m] * z;
            cur[m] = az * prev1[m] + b[m] * prev2[m];
            cur[-m] = az * prev1[-m] + b[m] * prev2[-m];
        }
    }
}

}  // namespace

qelStatus shEvalRecurrence(const float* recurA, const float* recurB, const float* x, const float* y,
                           const float* z, int32_t count, float* dst, uint32_t order)
{
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
    int32_t i = shRecurrenceBlocks(recurA, recurB, x, y, z, count, dst, bands);
    for (; i < count; ++i)
        OneDirection(recurA, recurB, x[i], y[i], z[i], dst + size_t(i) * perDirection, bands);
    return StatusOk;
}
