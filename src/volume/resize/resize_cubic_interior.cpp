// The interior of a cubic plane: each needed source row is resampled along x
// once into one of four rotating row buffers, and every destination row
// weighs the four buffers along y.  The frame's few side columns ride along.
#include <xmmintrin.h>

#include <cstdint>

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_side_rows.h"
#include "volume/resize/resize_cubic_window.h"

namespace {

// Asks for samples first .. last of the row `ahead` samples past `row`.
// The address may lie past the volume: a prefetch never faults, and the
// arithmetic is done on integers.
template <typename T>
inline void PrefetchColumns(const T* row, int64_t ahead, int32_t first, int32_t last) {
  const uintptr_t base = reinterpret_cast<uintptr_t>(row) + static_cast<uintptr_t>(ahead * int64_t(sizeof(T)));
  const uintptr_t begin = base + static_cast<uintptr_t>(int64_t(first) * int64_t(sizeof(T)));
  const uintptr_t end = base + static_cast<uintptr_t>(int64_t(last) * int64_t(sizeof(T)));
  for (uintptr_t p = begin; p <= end; p += 64) _mm_prefetch(reinterpret_cast<const char*>(p), _MM_HINT_T0);
  _mm_prefetch(reinterpret_cast<const char*>(end), _MM_HINT_T0);
}

// One resampled source row: its interior columns, and the values of the
// frame's side columns when they come along.
struct WindowRow {
  float* interior;
  float* sides;
};

template <typename T, typename Sides>
void InteriorRows(const T* plane, const CubicPlaneTables& t, float* interior, float* frame, const Sides& sides) {
  const CubicTypeKernels<T>& kernels = t.kernels->Of<T>();
  const int32_t yLow = t.y.Low();
  const int32_t step = t.srcStep;
  const int32_t firstColumn = t.xInterior.index[0] - 1;
  const int32_t lastColumn = t.xInterior.index[t.wi - 1] + 2;
  alignas(16) float sideValues[4][kSidesWithInterior];
  float* sideRuns = CubicSideRuns(t, frame);

  // Rows are asked for four steps ahead: a downscale reads two rows per
  // destination row, faster than the processor's own prefetch keeps up.
  auto resampleRow = [&](const WindowRow& w, int32_t rowOffset) {
    const T* row = plane + static_cast<int64_t>(rowOffset);
    PrefetchColumns(row, 4 * static_cast<int64_t>(step), firstColumn, lastColumn);
    kernels.rowX(row, t.xInterior, w.interior);
    sides.Resample(row, w.sides);
  };

  // Rows 1 to 3 start with the source rows before, at and after the first
  // idx; the first advance fills row 0 with the row after those.
  WindowRow rows[4];
  for (int k = 0; k < 4; ++k) rows[k] = {t.rows[k], sideValues[k]};
  const int32_t first = t.yOffset[yLow];
  resampleRow(rows[1], first - step);
  resampleRow(rows[2], first);
  resampleRow(rows[3], first + step);
  int32_t prev = CubicWindowStart(first, step);

  for (int32_t j = 0; j < t.hi; ++j) {
    const int32_t r = yLow + j;
    AdvanceCubicWindow(rows, t.yOffset[r], prev, step, resampleRow);
    const float* wy = t.yWeight4 + 4 * r;
    const float* const interiors[4] = {rows[0].interior, rows[1].interior, rows[2].interior, rows[3].interior};
    t.kernels->rowY(interior + static_cast<int64_t>(j) * t.planeStride, t.wi, wy, interiors);
    const float* const values[4] = {rows[0].sides, rows[1].sides, rows[2].sides, rows[3].sides};
    sides.Weigh(values, wy, sideRuns, t.hi, j);
  }
}

}  // namespace

template <typename T>
void CubicInterior(const T* plane, const CubicPlaneTables& t, float* interior, float* frame) {
  const int32_t sideCount = SidesWithInterior(t) ? t.x.Low() + t.x.High() : 0;
  if (sideCount == 2 && PairedSides::Fits(t))
    InteriorRows(plane, t, interior, frame, PairedSides(t));
  else if (sideCount == 0)
    InteriorRows(plane, t, interior, frame, ScalarSides<0>(t, 0));
  else
    InteriorRows(plane, t, interior, frame, ScalarSides<-1>(t, sideCount));
}

template void CubicInterior<uint8_t>(const uint8_t*, const CubicPlaneTables&, float*, float*);
template void CubicInterior<uint16_t>(const uint16_t*, const CubicPlaneTables&, float*, float*);
template void CubicInterior<float>(const float*, const CubicPlaneTables&, float*, float*);
