// The edge frame of the cubic resize: scalar code that clamps the taps into
// the source.  Every sum here runs left to right in single precision.
#include <cstdint>

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_round.h"
#include "volume/resize/resize_cubic_taps.h"
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

// Whether a column's taps i - 1 .. i + 2 all lie in the row, so that the
// tap table leaves them as they are.
inline bool InsideRow(int32_t i, int32_t srcW) { return i >= 1 && i <= srcW - 3; }

// RowAtColumn for four columns whose taps lie in the row: the products are
// transposed so that each column's four are summed in order, as above.
template <typename T>
inline __m128 FourColumnsInOrder(const T* row, const int32_t* xIndex, const float* xWeight4) {
  __m128 p0 = _mm_mul_ps(LoadTaps(row + xIndex[0] - 1), _mm_load_ps(xWeight4 + 0));
  __m128 p1 = _mm_mul_ps(LoadTaps(row + xIndex[1] - 1), _mm_load_ps(xWeight4 + 4));
  __m128 p2 = _mm_mul_ps(LoadTaps(row + xIndex[2] - 1), _mm_load_ps(xWeight4 + 8));
  __m128 p3 = _mm_mul_ps(LoadTaps(row + xIndex[3] - 1), _mm_load_ps(xWeight4 + 12));
  _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
  return _mm_add_ps(_mm_add_ps(_mm_add_ps(p0, p1), p2), p3);
}

template <typename T>
const T* RowAt(const T* plane, int32_t offset) {
  return plane + static_cast<int64_t>(offset);
}

// A left or right frame column along x: two or three source columns, the
// weights of taps that land on the same column merged in single precision.
struct SideColumn {
  int32_t taps[3];
  float weights[3];
  bool threeTerms;
};

SideColumn LeftColumn(const CubicPlaneTables& t, int32_t c) {
  const float* wx = t.xWeight4 + 4 * c;
  if (c < t.x.outLow) return {{0, 1, 0}, {wx[0] + wx[1] + wx[2], wx[3], 0.0f}, false};
  return {{0, 1, 2}, {wx[0] + wx[1], wx[2], wx[3]}, true};
}

// Right column number c of the band, counted from its first column.
SideColumn RightColumn(const CubicPlaneTables& t, int32_t c) {
  const float* wx = t.xWeight4 + 4 * (t.w - t.x.High() + c);
  const int32_t last = t.srcW - 1;
  if (c < t.x.inHigh) return {{last - 2, last - 1, last}, {wx[0], wx[1], wx[2] + wx[3]}, true};
  return {{last - 1, last, 0}, {wx[0], wx[1] + wx[2] + wx[3], 0.0f}, false};
}

template <bool kThreeTerms, typename T>
inline float SideValue(const T* row, const SideColumn& s) {
  const float v = s.weights[0] * static_cast<float>(row[s.taps[0]]) +
                  s.weights[1] * static_cast<float>(row[s.taps[1]]);
  return kThreeTerms ? v + s.weights[2] * static_cast<float>(row[s.taps[2]]) : v;
}

// Sums four row values in order, each with its weight.
inline float WeighRows(const float r[4], const float* wy) {
  return r[0] * wy[0] + r[1] * wy[1] + r[2] * wy[2] + r[3] * wy[3];
}

// The frame's rows are computed a chunk of columns at a time: the few
// source rows they read are resampled along x once per chunk, not once per
// destination row.
constexpr int32_t kChunk = 256;

// Source rows first .. first + count - 1 resampled along x at destination
// columns c0 .. c0 + n - 1.
template <typename T>
void ResampleRows(const T* plane, const CubicPlaneTables& t, int32_t first, int32_t count, int32_t c0,
                  int32_t n, float (*out)[kChunk]) {
  for (int32_t k = 0; k < count; ++k) {
    const T* row = RowAt(plane, (first + k) * t.srcStep);
    int32_t i = 0;
    while (i < n) {
      const int32_t c = c0 + i;
      // Indexes grow with the column, so a block whose first and last
      // columns have their four taps inside the row has all of them inside.
      if (i + 4 <= n && InsideRow(t.xIndex[c], t.srcW) && InsideRow(t.xIndex[c + 3], t.srcW)) {
        _mm_storeu_ps(out[k] + i, FourColumnsInOrder(row, t.xIndex + c, t.xWeight4 + 4 * c));
        i += 4;
      } else {
        out[k][i] = RowAtColumn(row, t.xIndex[c], t.xWeight4 + 4 * c, t.srcW);
        ++i;
      }
    }
  }
}

// Top rows read source rows 0 to 2 and merge the weights of the taps that
// fall on row 0.
template <typename T>
void TopRows(const T* plane, const CubicPlaneTables& t, float* out) {
  const int32_t rows = t.y.Low();
  if (rows <= 0) return;
  float r[3][kChunk];
  for (int32_t c0 = 0; c0 < t.w; c0 += kChunk) {
    const int32_t n = t.w - c0 < kChunk ? t.w - c0 : kChunk;
    // Row 2 only when some row is in the inner low band: sources of one or
    // two rows read past their end exactly as far as the taps say.
    ResampleRows(plane, t, 0, rows > t.y.outLow ? 3 : 2, c0, n, r);
    for (int32_t j = 0; j < rows; ++j) {
      const float* wy = t.yWeight4 + 4 * j;
      float* line = out + static_cast<int64_t>(j) * t.w + c0;
      if (j < t.y.outLow) {
        for (int32_t i = 0; i < n; ++i) line[i] = (wy[0] + wy[1] + wy[2]) * r[0][i] + wy[3] * r[1][i];
      } else {
        for (int32_t i = 0; i < n; ++i)
          line[i] = (wy[0] + wy[1]) * r[0][i] + wy[2] * r[1][i] + wy[3] * r[2][i];
      }
    }
  }
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
  float r[3][kChunk];  // source rows srcH - 3, srcH - 2, srcH - 1
  for (int32_t c0 = 0; c0 < t.w; c0 += kChunk) {
    const int32_t n = t.w - c0 < kChunk ? t.w - c0 : kChunk;
    if (readsThirdLast)
      ResampleRows(plane, t, t.srcH - 3, 3, c0, n, r);
    else
      ResampleRows(plane, t, t.srcH - 2, 2, c0, n, r + 1);
    for (int32_t j = 0; j < rows; ++j) {
      const int32_t dstRow = t.h - rows + j;
      const float* wy = t.yWeight4 + 4 * dstRow;
      const int first = CubicPassed(t.yOffset[dstRow], secondLast, t.srcStep) ? 1 : 0;
      const float* a = r[first];
      const float* b = r[first + 1];
      const float* last = r[2];
      float* line = out + static_cast<int64_t>(j) * t.w + c0;
      for (int32_t i = 0; i < n; ++i) line[i] = a[i] * wy[0] + b[i] * wy[1] + last[i] * wy[2] + last[i] * wy[3];
    }
  }
}

// Left and right columns of the rows between the top and bottom bands,
// each column stored as one run of hi samples.
template <bool kThreeTerms, typename T>
void SideColumnRun(const T* plane, const CubicPlaneTables& t, const SideColumn& column, float* run) {
  for (int32_t j = 0; j < t.hi; ++j) {
    const int32_t r = t.y.Low() + j;
    const float* wy = t.yWeight4 + 4 * r;
    const T* row = RowAt(plane, t.yOffset[r] - t.srcStep);
    float v[4];
    for (int k = 0; k < 4; ++k, row += t.srcStep) v[k] = SideValue<kThreeTerms>(row, column);
    run[j] = WeighRows(v, wy);
  }
}

template <typename T>
void SideColumnRun(const T* plane, const CubicPlaneTables& t, const SideColumn& column, float* run) {
  if (column.threeTerms)
    SideColumnRun<true>(plane, t, column, run);
  else
    SideColumnRun<false>(plane, t, column, run);
}

template <typename T>
void SideColumns(const T* plane, const CubicPlaneTables& t, float* out) {
  if (t.hi <= 0) return;
  for (int32_t c = 0; c < t.x.Low(); ++c, out += t.hi) SideColumnRun(plane, t, LeftColumn(t, c), out);
  for (int32_t c = 0; c < t.x.High(); ++c, out += t.hi) SideColumnRun(plane, t, RightColumn(t, c), out);
}

// A frame result leaves float through a double-precision rounding constant.
inline void StoreFrame(uint8_t* dst, float v) { *dst = RoundClamp8u(v); }
inline void StoreFrame(uint16_t* dst, float v) { *dst = RoundClamp16u(v); }
inline void StoreFrame(float* dst, float v) { *dst = v; }

inline float BlendAt(const float* const frames[4], int64_t p, const float* z) {
  return frames[0][p] * z[0] + frames[1][p] * z[1] + frames[2][p] * z[2] + frames[3][p] * z[3];
}

}  // namespace

template <typename T>
void CubicFrame(const T* plane, const CubicPlaneTables& t, float* frame) {
  TopRows(plane, t, frame);
  BottomRows(plane, t, frame + static_cast<int64_t>(t.y.Low()) * t.w);
  SideColumns(plane, t, frame + static_cast<int64_t>(t.y.Low() + t.y.High()) * t.w);
}

template <typename T>
void CubicBlendFrame(const float* const frames[4], const float* zWeight4, const CubicPlaneTables& t,
                     T* dst, int32_t dstStep) {
  const int32_t yLow = t.y.Low(), yHigh = t.y.High();
  const int32_t xLow = t.x.Low(), xHigh = t.x.High();
  int64_t p = 0;
  // Top rows, then bottom rows, each across the whole width.
  for (int32_t r = 0; r < yLow + yHigh; ++r) {
    const int32_t dstRow = r < yLow ? r : t.h - yHigh + (r - yLow);
    T* out = dst + static_cast<int64_t>(dstRow) * dstStep;
    for (int32_t c = 0; c < t.w; ++c, ++p) StoreFrame(out + c, BlendAt(frames, p, zWeight4));
  }
  // Left columns, then right columns, each down the rows between.
  for (int32_t c = 0; c < xLow + xHigh; ++c) {
    const int32_t dstColumn = c < xLow ? c : t.w - xHigh + (c - xLow);
    for (int32_t j = 0; j < t.hi; ++j, ++p) {
      StoreFrame(dst + static_cast<int64_t>(yLow + j) * dstStep + dstColumn, BlendAt(frames, p, zWeight4));
    }
  }
}

template void CubicFrame<uint8_t>(const uint8_t*, const CubicPlaneTables&, float*);
template void CubicFrame<uint16_t>(const uint16_t*, const CubicPlaneTables&, float*);
template void CubicFrame<float>(const float*, const CubicPlaneTables&, float*);
template void CubicBlendFrame<uint8_t>(const float* const[4], const float*, const CubicPlaneTables&,
                                       uint8_t*, int32_t);
template void CubicBlendFrame<uint16_t>(const float* const[4], const float*, const CubicPlaneTables&,
                                        uint16_t*, int32_t);
template void CubicBlendFrame<float>(const float* const[4], const float*, const CubicPlaneTables&,
                                     float*, int32_t);
