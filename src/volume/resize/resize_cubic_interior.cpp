// The interior of a cubic plane: each needed source row is resampled along x
// once into one of four rotating row buffers, and every destination row
// weighs the four buffers along y.
#include <cstdint>

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_window.h"
#include "volume/resize/resize_rows_cubic.h"

template <typename T>
void CubicInterior(const T* plane, const CubicPlaneTables& t, float* interior) {
  const int32_t xLow = t.x.Low();
  const int32_t yLow = t.y.Low();
  const int32_t step = t.srcStep;
  const int32_t* xIndex = t.xIndex + xLow;
  const float* xWeight4 = t.xWeight4 + 4 * xLow;
  auto resampleRow = [&](float* buffer, int32_t rowOffset) {
    CubicRowX(plane + static_cast<int64_t>(rowOffset), t.wi, xIndex, xWeight4, buffer);
  };

  // Buffers 1 to 3 start with the rows before, at and after the first idx;
  // the first advance fills buffer 0 with the row after those.
  float* rows[4] = {t.rows[0], t.rows[1], t.rows[2], t.rows[3]};
  const int32_t first = t.yOffset[yLow];
  resampleRow(rows[1], first - step);
  resampleRow(rows[2], first);
  resampleRow(rows[3], first + step);
  int32_t prev = CubicWindowStart(first, step);

  for (int32_t j = 0; j < t.hi; ++j) {
    const int32_t r = yLow + j;
    AdvanceCubicWindow(rows, t.yOffset[r], prev, step, resampleRow);
    CubicRowY(interior + static_cast<int64_t>(j) * t.planeStride, t.wi, t.yWeight4 + 4 * r, rows);
  }
}

template void CubicInterior<uint8_t>(const uint8_t*, const CubicPlaneTables&, float*);
template void CubicInterior<uint16_t>(const uint16_t*, const CubicPlaneTables&, float*);
template void CubicInterior<float>(const float*, const CubicPlaneTables&, float*);
