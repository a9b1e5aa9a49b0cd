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
// Two forms compute exactly these operations: one direction at a time with
// the m-loop four coefficients wide, and four directions at a time, one per
// lane.  Every lane of every vector performs the same single-precision
// operations as the scalar statement, so both forms give the same bits.
#include <emmintrin.h>

#include <cstddef>

#include "sh/sh_evaluators.h"
#include "sh/sh_state_layout.h"

namespace {

constexpr int kLanes = 4;

// Offset of Y(l, 0) in a direction's record.
inline int Centre(int l) { return l * l + l; }

// The four floats at p in reverse order.
inline __m128 LoadReversed(const float* p)
{
    const __m128 v = _mm_loadu_ps(p);
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3));
}

// ---------------------------------------------------------------------------
// One direction

// Y(l, m) for 0 <= m <= l-2 on the + side.
void InnerPlusSide(const float* a, const float* b, float z, const float* prev1, const float* prev2,
                   float* cur, int last)
{
    const __m128 zv = _mm_set1_ps(z);
    int m = 0;
    for (; m + kLanes - 1 <= last; m += kLanes) {
        const __m128 az = _mm_mul_ps(_mm_loadu_ps(a + m), zv);
        const __m128 fromPrev1 = _mm_mul_ps(az, _mm_loadu_ps(prev1 + m));
        const __m128 fromPrev2 = _mm_mul_ps(_mm_loadu_ps(b + m), _mm_loadu_ps(prev2 + m));
        _mm_storeu_ps(cur + m, _mm_add_ps(fromPrev1, fromPrev2));
    }
    for (; m <= last; ++m)
        cur[m] = a[m] * z * prev1[m] + b[m] * prev2[m];
}

// Y(l, -m) for 1 <= m <= l-2.  The records run from -l upward, so the
// coefficients of m, m+1, ... lie at falling addresses while the table
// entries rise: the table vectors are reversed.
void InnerMinusSide(const float* a, const float* b, float z, const float* prev1, const float* prev2,
                    float* cur, int last)
{
    const __m128 zv = _mm_set1_ps(z);
    int m = 1;
    for (; m + kLanes - 1 <= last; m += kLanes) {
        const int low = -(m + kLanes - 1);  // address of the lane holding m + 3
        const __m128 az = _mm_mul_ps(LoadReversed(a + m), zv);
        const __m128 fromPrev1 = _mm_mul_ps(az, _mm_loadu_ps(prev1 + low));
        const __m128 fromPrev2 = _mm_mul_ps(LoadReversed(b + m), _mm_loadu_ps(prev2 + low));
        _mm_storeu_ps(cur + low, _mm_add_ps(fromPrev1, fromPrev2));
    }
    for (; m <= last; ++m)
        cur[-m] = a[m] * z * prev1[-m] + b[m] * prev2[-m];
}

void OneDirection(const float* recurA, const float* recurB, float x, float y, float z, float* dst,
                  int order)
{
    dst[0] = recurA[0];
    dst[1] = recurA[2] * y;
    dst[2] = recurA[1] * z;
    dst[3] = recurA[2] * x;

    for (int l = 2; l <= order; ++l) {
        const float* a = recurA + shTableRow(l);
        const float* b = recurB + shTableRow(l);
        const float* prev1 = dst + Centre(l - 1);
        const float* prev2 = dst + Centre(l - 2);
        float* cur = dst + Centre(l);

        const float plus = prev1[l - 1], minus = prev1[-(l - 1)];
        cur[l] = (plus * x - minus * y) * a[l];
        cur[-l] = (plus * y + minus * x) * a[l];

        const float az = a[l - 1] * z;
        cur[l - 1] = az * plus;
        cur[-(l - 1)] = az * minus;

        InnerPlusSide(a, b, z, prev1, prev2, cur, l - 2);
        InnerMinusSide(a, b, z, prev1, prev2, cur, l - 2);
    }
}

// ---------------------------------------------------------------------------
// Four directions, one per lane

// Writes lane j of y[0..n) as the record of direction j.
void StoreFourRecords(const __m128* y, int n, float* dst)
{
    float* rec0 = dst;
    float* rec1 = dst + n;
    float* rec2 = dst + 2 * n;
    float* rec3 = dst + 3 * n;
    int k = 0;
    for (; k + kLanes <= n; k += kLanes) {
        __m128 r0 = y[k], r1 = y[k + 1], r2 = y[k + 2], r3 = y[k + 3];
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        _mm_storeu_ps(rec0 + k, r0);
        _mm_storeu_ps(rec1 + k, r1);
        _mm_storeu_ps(rec2 + k, r2);
        _mm_storeu_ps(rec3 + k, r3);
    }
    for (; k < n; ++k) {
        alignas(16) float lanes[kLanes];
        _mm_store_ps(lanes, y[k]);
        rec0[k] = lanes[0];
        rec1[k] = lanes[1];
        rec2[k] = lanes[2];
        rec3[k] = lanes[3];
    }
}

void FourDirections(const float* recurA, const float* recurB, const float* xs, const float* ys,
                    const float* zs, float* dst, int order)
{
    const __m128 x = _mm_loadu_ps(xs);
    const __m128 y = _mm_loadu_ps(ys);
    const __m128 z = _mm_loadu_ps(zs);
    __m128 out[(kShMaxOrder + 1) * (kShMaxOrder + 1)];

    out[0] = _mm_set1_ps(recurA[0]);
    out[1] = _mm_mul_ps(_mm_set1_ps(recurA[2]), y);
    out[2] = _mm_mul_ps(_mm_set1_ps(recurA[1]), z);
    out[3] = _mm_mul_ps(_mm_set1_ps(recurA[2]), x);

    for (int l = 2; l <= order; ++l) {
        const float* a = recurA + shTableRow(l);
        const float* b = recurB + shTableRow(l);
        const __m128* prev1 = out + Centre(l - 1);
        const __m128* prev2 = out + Centre(l - 2);
        __m128* cur = out + Centre(l);

        const __m128 plus = prev1[l - 1], minus = prev1[-(l - 1)];
        const __m128 sectoral = _mm_set1_ps(a[l]);
        cur[l] = _mm_mul_ps(_mm_sub_ps(_mm_mul_ps(plus, x), _mm_mul_ps(minus, y)), sectoral);
        cur[-l] = _mm_mul_ps(_mm_add_ps(_mm_mul_ps(plus, y), _mm_mul_ps(minus, x)), sectoral);

        const __m128 azNext = _mm_mul_ps(_mm_set1_ps(a[l - 1]), z);
        cur[l - 1] = _mm_mul_ps(azNext, plus);
        cur[-(l - 1)] = _mm_mul_ps(azNext, minus);

        for (int m = 0; m <= l - 2; ++m) {
            const __m128 az = _mm_mul_ps(_mm_set1_ps(a[m]), z);
            const __m128 bm = _mm_set1_ps(b[m]);
            cur[m] = _mm_add_ps(_mm_mul_ps(az, prev1[m]), _mm_mul_ps(bm, prev2[m]));
            if (m > 0)
                cur[-m] = _mm_add_ps(_mm_mul_ps(az, prev1[-m]), _mm_mul_ps(bm, prev2[-m]));
        }
    }
    StoreFourRecords(out, (order + 1) * (order + 1), dst);
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
    int32_t i = 0;
    for (; i + kLanes <= count; i += kLanes)
        FourDirections(recurA, recurB, x + i, y + i, z + i, dst + size_t(i) * perDirection, bands);
    for (; i < count; ++i)
        OneDirection(recurA, recurB, x[i], y[i], z[i], dst + size_t(i) * perDirection, bands);
    return StatusOk;
}
