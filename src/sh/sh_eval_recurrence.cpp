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
// Two forms compute exactly these operations: one direction at a time, and
// four directions at a time, one per lane.  Every lane performs the same
// single-precision operations as the scalar statement, so both forms give
// the same bits.
#include <emmintrin.h>

#include <cstddef>

#include "sh/sh_evaluators.h"
#include "sh/sh_state_layout.h"

namespace {

constexpr int kLanes = 4;

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

// ---------------------------------------------------------------------------
// Four directions, one per lane, column by column: for each m the sectoral
// pair Y(m, ±m), then Y(m+1, ±m), then up the bands, with the two values a
// step needs kept in registers.  Each value comes from the same operands by
// the same operations as in band order; only the order in which independent
// values are produced differs.

struct PairV {
    __m128 plus, minus;
};

inline __m128 Broadcast(float f) { return _mm_set1_ps(f); }

inline void ColumnUpV(const float* recurA, const float* recurB, __m128 z, PairV older, PairV newer, int m, int order,
                      __m128* out)
{
    for (int l = m + 2; l <= order; ++l) {
        const __m128 az = _mm_mul_ps(Broadcast(recurA[shTableRow(l) + m]), z);
        const __m128 b = Broadcast(recurB[shTableRow(l) + m]);
        const PairV next = {_mm_add_ps(_mm_mul_ps(az, newer.plus), _mm_mul_ps(b, older.plus)),
                            _mm_add_ps(_mm_mul_ps(az, newer.minus), _mm_mul_ps(b, older.minus))};
        out[Centre(l) + m] = next.plus;
        out[Centre(l) - m] = next.minus;
        older = newer;
        newer = next;
    }
}

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

void FourDirections(const float* recurA, const float* recurB, const float* xs, const float* ys, const float* zs,
                    float* dst, int order)
{
    const __m128 x = _mm_loadu_ps(xs);
    const __m128 y = _mm_loadu_ps(ys);
    const __m128 z = _mm_loadu_ps(zs);
    __m128 out[(kShMaxOrder + 1) * (kShMaxOrder + 1)];

    // Column 0.
    __m128 older = Broadcast(recurA[0]);
    __m128 newer = _mm_mul_ps(Broadcast(recurA[1]), z);
    out[0] = older;
    out[Centre(1)] = newer;
    for (int l = 2; l <= order; ++l) {
        const __m128 az = _mm_mul_ps(Broadcast(recurA[shTableRow(l)]), z);
        const __m128 next = _mm_add_ps(_mm_mul_ps(az, newer), _mm_mul_ps(Broadcast(recurB[shTableRow(l)]), older));
        out[Centre(l)] = next;
        older = newer;
        newer = next;
    }

    // Columns 1 .. order.
    const __m128 a11 = Broadcast(recurA[2]);
    PairV sectoral = {_mm_mul_ps(a11, x), _mm_mul_ps(a11, y)};
    for (int m = 1; m <= order; ++m) {
        if (m >= 2) {
            const __m128 a = Broadcast(recurA[shTableRow(m) + m]);
            sectoral = {_mm_mul_ps(_mm_sub_ps(_mm_mul_ps(sectoral.plus, x), _mm_mul_ps(sectoral.minus, y)), a),
                        _mm_mul_ps(_mm_add_ps(_mm_mul_ps(sectoral.plus, y), _mm_mul_ps(sectoral.minus, x)), a)};
        }
        out[Centre(m) + m] = sectoral.plus;
        out[Centre(m) - m] = sectoral.minus;
        if (m == order)
            break;
        const __m128 az = _mm_mul_ps(Broadcast(recurA[shTableRow(m + 1) + m]), z);
        const PairV next = {_mm_mul_ps(az, sectoral.plus), _mm_mul_ps(az, sectoral.minus)};
        out[Centre(m + 1) + m] = next.plus;
        out[Centre(m + 1) - m] = next.minus;
        ColumnUpV(recurA, recurB, z, sectoral, next, m, order, out);
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
