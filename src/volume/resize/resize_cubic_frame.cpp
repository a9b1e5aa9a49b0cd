// The edge frame of the cubic resize: scalar code that clamps the taps into
// the source, beside the row kernel for the interior columns of the top and
// bottom rows.  Every sum here runs left to right in single precision.
#include <cstdint>

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_side.h"
#include "volume/resize/resize_cubic_window.h"

namespace {

// One source row resampled at one destination column along x.  Near the
// edges repeated taps keep their own weights; the table only moves the taps
// back into the row.  For sources narrower than three samples the table
// still names columns 1 and 2, unchecked.
template <typename T>
inline __attribute__((always_inline)) float RowAtColumn(const T* row, int32_t i, const float* wx, int32_t srcW) {
  int32_t t0, t1, t2, t3;
  if (i < 0) {
    t0 = 0, t1 = 0, t2 = 0, t3 = 1;
  } else if (i == 0) {
    t0 = 0, t1 = 0, t2 = 1, t3 = 2;
  } else if (i > srcW - 2) {
    t0 = srcW - 2, t1 = srcW - 1, t2 = srcW - 1, t3 = srcW - 1;
  } else if (i == srcW - 2) {
    t0 = srcW - 3, t1 = srcW - 2, t2 = srcW - 1, t3 = srcW - 1;
  } else {
    t0 = i - 1, t1 = i, t2 = i + 1, t3 = i + 2;
  }
  return static_cast<float>(row[t0]) * wx[0] + static_cast<float>(row[t1]) * wx[1] +
         static_cast<float>(row[t2]) * wx[2] + static_cast<float>(row[t3]) * wx[3];
}

template <typename T>
const T* RowAt(const T* plane, int32_t offset) {
  return plane + static_cast<int64_t>(offset);
}

// Source rows resampled along x for the top or bottom rows, handed on a span
// of columns at a time: emit(r, c0, n) gets in r[slot] .. r[slot + count - 1]
// the values of source rows first .. first + count - 1 at destination
// columns c0 .. c0 + n - 1.  Band columns go through the tap table, a chunk
// at a time; the interior columns through the row kernel, in the interior's
// row buffers, which are free while the frame is built.
constexpr int32_t kChunk = 256;

template <typename T, typename Emit>
void ForEachColumnSpan(const T* plane, const CubicPlaneTables& t, int32_t first, int32_t count, int32_t slot,
                       Emit&& emit) {
  auto bandColumns = [&](int32_t begin, int32_t end) {
    float r[3][kChunk];
    const float* const spans[3] = {r[0], r[1], r[2]};
    for (int32_t c0 = begin; c0 < end; c0 += kChunk) {
      const int32_t n = end - c0 < kChunk ? end - c0 : kChunk;
      for (int32_t k = 0; k < count; ++k) {
        const T* row = RowAt(plane, (first + k) * t.srcStep);
        for (int32_t i = 0; i < n; ++i)
          r[slot + k][i] = RowAtColumn(row, t.xIndex[c0 + i], t.xWeight4 + 4 * (c0 + i), t.srcW);
      }
      emit(spans, c0, n);
    }
  };
  if (t.wi <= 0) {
    bandColumns(0, t.w);
    return;
  }
  bandColumns(0, t.x.Low());
  const CubicTypeKernels<T>& kernels = t.kernels->Of<T>();
  for (int32_t k = 0; k < count; ++k)
    kernels.rowXInOrder(RowAt(plane, (first + k) * t.srcStep), t.xInterior, t.rows[slot + k]);
  const float* const spans[3] = {t.rows[0], t.rows[1], t.rows[2]};
  emit(spans, t.x.Low(), t.wi);
  bandColumns(t.x.Low() + t.wi, t.w);
}

// Top rows read source rows 0 to 2 and merge the weights of the taps that
// fall on row 0.
template <typename T>
void TopRows(const T* plane, const CubicPlaneTables& t, float* out) {
  const int32_t rows = t.y.Low();
  if (rows <= 0) return;
  // Row 2 only when some row is in the inner low band: sources of one or
  // two rows read past their end exactly as far as the taps say.
  const int32_t count = rows > t.y.outLow ? 3 : 2;
  ForEachColumnSpan(plane, t, 0, count, 0, [&](const float* const r[3], int32_t c0, int32_t n) {
    const float* r0 = r[0];
    const float* r1 = r[1];
    const float* r2 = r[2];
    for (int32_t j = 0; j < rows; ++j) {
      const float* wy = t.yWeight4 + 4 * j;
      float* line = out + static_cast<int64_t>(j) * t.w + c0;
      if (j < t.y.outLow) {
        const float w012 = wy[0] + wy[1] + wy[2], w3 = wy[3];
        for (int32_t i = 0; i < n; ++i) line[i] = w012 * r0[i] + w3 * r1[i];
      } else {
        const float w01 = wy[0] + wy[1], w2 = wy[2], w3 = wy[3];
        for (int32_t i = 0; i < n; ++i) line[i] = w01 * r0[i] + w2 * r1[i] + w3 * r2[i];
      }
    }
  });
}

// Bottom rows read source rows srcH - 3 to srcH - 1 and keep four terms even
// where two taps are the same row.
template <typename T>
void BottomRows(const T* plane, const CubicPlaneTables& t, float* out) {
  const int32_t rows = t.y.High();
  if (rows <= 0) return;
  // Past the second-last row the taps are srcH - 2, srcH - 1 (three
  // times); on it, srcH - 3, srcH - 2, srcH - 1 (twice).
  const int32_t secondLast = (t.srcH - 2) * t.srcStep;
  bool readsThirdLast = false;
  for (int32_t r = t.h - rows; r < t.h; ++r)
    readsThirdLast |= !CubicPassed(t.yOffset[r], secondLast, t.srcStep);
  // r[0 .. 2] are source rows srcH - 3, srcH - 2, srcH - 1.
  const int32_t first = readsThirdLast ? t.srcH - 3 : t.srcH - 2;
  ForEachColumnSpan(plane, t, first, readsThirdLast ? 3 : 2, readsThirdLast ? 0 : 1,
                    [&](const float* const r[3], int32_t c0, int32_t n) {
                      for (int32_t j = 0; j < rows; ++j) {
                        const int32_t dstRow = t.h - rows + j;
                        const float* wy = t.yWeight4 + 4 * dstRow;
                        const float w0 = wy[0], w1 = wy[1], w2 = wy[2], w3 = wy[3];
                        const int past = CubicPassed(t.yOffset[dstRow], secondLast, t.srcStep) ? 1 : 0;
                        const float* a = r[past];
                        const float* b = r[past + 1];
                        const float* last = r[2];
                        float* line = out + static_cast<int64_t>(j) * t.w + c0;
                        for (int32_t i = 0; i < n; ++i) line[i] = a[i] * w0 + b[i] * w1 + last[i] * w2 + last[i] * w3;
                      }
                    });
}

// Left and right columns of the rows between the top and bottom bands,
// each column stored as one run of hi samples.  A source row's value is
// computed once and kept while the window of four rows slides down.
template <typename T>
void SideColumnRun(const T* plane, const CubicPlaneTables& t, const SideColumn& column, float* run) {
  const int32_t step = t.srcStep;
  auto load = [&](float& value, int32_t line) { value = SideValue(RowAt(plane, line), column); };
  float v[4] = {0.0f, 0.0f, 0.0f, 0.0f};  // v[0] is loaded by the first advance
  const int32_t first = t.yOffset[t.y.Low()];
  load(v[1], first - step);
  load(v[2], first);
  load(v[3], first + step);
  int32_t prev = CubicWindowStart(first, step);
  for (int32_t j = 0; j < t.hi; ++j) {
    const int32_t r = t.y.Low() + j;
    AdvanceCubicWindow(v, t.yOffset[r], prev, step, load);
    run[j] = WeighRows(v, t.yWeight4 + 4 * r);
  }
}

template <typename T>
void SideColumns(const T* plane, const CubicPlaneTables& t, float* out) {
  if (t.hi <= 0) return;
  for (int32_t c = 0; c < t.x.Low() + t.x.High(); ++c, out += t.hi) SideColumnRun(plane, t, BandColumn(t, c), out);
}

}  // namespace

template <typename T>
void CubicFrame(const T* plane, const CubicPlaneTables& t, float* frame) {
  TopRows(plane, t, frame);
  BottomRows(plane, t, frame + static_cast<int64_t>(t.y.Low()) * t.w);
  // Otherwise the interior has resampled the side columns with its rows.
  if (!SidesWithInterior(t)) SideColumns(plane, t, CubicSideRuns(t, frame));
}

template void CubicFrame<uint8_t>(const uint8_t*, const CubicPlaneTables&, float*);
template void CubicFrame<uint16_t>(const uint16_t*, const CubicPlaneTables&, float*);
template void CubicFrame<float>(const float*, const CubicPlaneTables&, float*);
