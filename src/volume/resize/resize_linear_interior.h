// The interior of a linearly resampled plane, where every tap exists: the
// row kernels run along x into a rotating pair of row buffers and blend the
// pair along y.
#pragma once

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_linear_plan.h"
#include "volume/resize/resize_pair_walk.h"
#include "volume/resize/resize_rows_linear.h"

// Runs the row pair over the interior rows; blendRow(r, a, b) makes
// destination row r from the two resampled source rows.
template <typename T, typename BlendRow>
void WalkInteriorRows(const T* plane, const LinearPlaneTables<T>& t,
                      typename LinearTypes<T>::Inner* rowA, typename LinearTypes<T>::Inner* rowB,
                      BlendRow blendRow) {
  using Inner = typename LinearTypes<T>::Inner;
  const int32_t* xIndex = t.xIndex + t.xLow;
  const auto* xWeight = t.xWeight + t.xLow;
  WalkRotatingPair<Inner*>(
      t.yOffset, t.yLow, t.h - t.yHigh, t.srcRowStep, rowA, rowB,
      [&](int32_t offset, Inner* row) {
        if (t.xStep2)
          t.kernels->rowXStep2(plane + offset + xIndex[0], t.wi, xWeight, row);
        else
          t.kernels->rowX(plane + offset, t.wi, xIndex, xWeight, row);
      },
      blendRow);
}

// The interior of one destination plane from one source plane (no z blend).
// `dst` is the destination sample at the box's first row and column.
template <typename T>
void LinearInterior2D(const T* plane, const LinearPlaneTables<T>& t,
                      typename LinearTypes<T>::Inner* rowA, typename LinearTypes<T>::Inner* rowB,
                      T* dst, int32_t dstStep) {
  using Inner = typename LinearTypes<T>::Inner;
  T* first = dst + t.xLow;
  WalkInteriorRows(plane, t, rowA, rowB, [&](int32_t r, const Inner* a, const Inner* b) {
    t.kernels->rowY2D(first + static_cast<ptrdiff_t>(r) * dstStep, t.wi, t.yWeight[r], a, b);
  });
}

// The interior of one source plane into an interior plane, for a later z
// blend; rows are `stride` samples apart.
template <typename T>
void LinearInterior(const T* plane, const LinearPlaneTables<T>& t,
                    typename LinearTypes<T>::Inner* rowA, typename LinearTypes<T>::Inner* rowB,
                    typename LinearTypes<T>::Inner* inner, int32_t stride) {
  using Inner = typename LinearTypes<T>::Inner;
  if (t.xyStep2) {
    // The walk would resample both source rows afresh for every row: the
    // same rows, in one kernel call per row.
    const int32_t x0 = t.xIndex[t.xLow];
    const auto* xWeight = t.xWeight + t.xLow;
    for (int32_t r = t.yLow; r < t.h - t.yHigh; ++r) {
      const int32_t idx = t.yOffset[r];
      t.kernels->rowXYStep2(plane + idx + x0, plane + (idx + t.srcRowStep) + x0, t.wi, xWeight, t.yWeight[r],
                            rowA, rowB, inner + static_cast<ptrdiff_t>(r - t.yLow) * stride);
    }
    return;
  }
  WalkInteriorRows(plane, t, rowA, rowB, [&](int32_t r, const Inner* a, const Inner* b) {
    t.kernels->rowY(inner + static_cast<ptrdiff_t>(r - t.yLow) * stride, t.wi, t.yWeight[r], a, b);
  });
}
