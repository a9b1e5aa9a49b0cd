// The frame of a linearly resampled plane: the bands of rows and columns
// whose taps fall off the source and are clamped to its edge.  Scalar code;
// the frame is a small share of the samples.
#pragma once

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_linear_plan.h"

namespace linear_frame {

// 8u frame weights as the pair (w0, w1); the others as the fraction f.
struct Pair {
  int32_t w0, w1;
};
inline Pair XFrameWeight(const Weight8uPair& p) { return {p.w0, p.w1}; }
inline Pair YFrameWeight(uint16_t w1) { return {16384 - w1, w1}; }
inline float XFrameWeight(float f) { return f; }
inline float YFrameWeight(float f) { return f; }

// trunc(double(v) + 0.5000001), clamped: the frame rounds in double
// precision where the interior kernels round in single.
inline uint16_t RoundFrame16u(float v) {
  int32_t r = _mm_cvttsd_si32(_mm_set_sd(double(v) + 0.5000001));
  return static_cast<uint16_t>(r < 0 ? 0 : (r > 65535 ? 65535 : r));
}

// One line of taps in a plane without a z blend, straight to the destination.
inline uint8_t Lerp2D(uint8_t a, uint8_t b, Pair w) {
  return static_cast<uint8_t>((w.w0 * a + w.w1 * b + 8192) >> 14);
}
inline uint16_t Lerp2D(uint16_t a, uint16_t b, float f) {
  const float fa = a, fb = b;
  return RoundFrame16u(fa + (fb - fa) * f);
}
inline float Lerp2D(float a, float b, float f) { return a + (b - a) * f; }

// One line of taps into an edge frame that is blended along z later.
inline uint16_t Lerp3D(uint8_t a, uint8_t b, Pair w) {
  return static_cast<uint16_t>((w.w0 * a + w.w1 * b + 8192) >> 14);
}
inline float Lerp3D(uint16_t a, uint16_t b, float f) {
  const float fa = a, fb = b;
  return (1.0f - f) * fa + f * fb;
}
inline float Lerp3D(float a, float b, float f) { return (1.0f - f) * a + f * b; }

// The z blend of two frame samples into a destination sample of type T.
template <typename T>
T BlendZ(typename LinearTypes<T>::Cell a, typename LinearTypes<T>::Cell b,
         typename LinearTypes<T>::Weight zWeight);
template <>
inline uint8_t BlendZ<uint8_t>(uint16_t a, uint16_t b, uint16_t w1) {
  return static_cast<uint8_t>(((16384 - w1) * a + w1 * b + 8192) >> 14);
}
template <>
inline uint16_t BlendZ<uint16_t>(float a, float b, float f) {
  return RoundFrame16u(a * (1.0f - f) + b * f);
}
template <>
inline float BlendZ<float>(float a, float b, float f) {
  return a * (1.0f - f) + b * f;
}

// Calls place(r, c) for every frame sample in frame order: the top rows,
// the bottom rows (w samples each), then the left and the right columns
// (hi samples each, each column as one run).
// The extents are copied first: stores through a sample pointer may alias
// anything, and would make every loop test read them again.
template <typename T, typename Place>
void ForEachFramePlace(const LinearPlaneTables<T>& t, Place place) {
  const int32_t w = t.w, h = t.h, xLow = t.xLow, xHigh = t.xHigh, yLow = t.yLow, yHigh = t.yHigh;
  for (int32_t r = 0; r < yLow; ++r)
    for (int32_t c = 0; c < w; ++c) place(r, c);
  for (int32_t r = h - yHigh; r < h; ++r)
    for (int32_t c = 0; c < w; ++c) place(r, c);
  for (int32_t c = 0; c < xLow; ++c)
    for (int32_t r = yLow; r < h - yHigh; ++r) place(r, c);
  for (int32_t c = w - xHigh; c < w; ++c)
    for (int32_t r = yLow; r < h - yHigh; ++r) place(r, c);
}

// Calls sample(r, c, a, b, weight) for every frame sample in frame order.
// Top and bottom rows read source row 0 or the last row and interpolate
// along x only, with taps clamped to the first or last column.  Left and
// right columns read source column 0 or the last column and interpolate
// along y only.
template <typename T, typename Sample>
void ForEachFrameSample(const T* plane, const LinearPlaneTables<T>& t, Sample sample) {
  const T* lastRow = plane + static_cast<ptrdiff_t>(t.srcHeight - 1) * t.srcRowStep;
  const int32_t lastColumn = t.srcWidth - 1;
  ForEachFramePlace(t, [&](int32_t r, int32_t c) {
    if (r < t.yLow || r >= t.h - t.yHigh) {
      const T* row = r < t.yLow ? plane : lastRow;
      const int32_t x = t.xIndex[c];
      const int32_t left = x < 0 ? 0 : (x > t.srcWidth - 2 ? lastColumn : x);
      const int32_t right = x < 0 ? 0 : (x > t.srcWidth - 2 ? lastColumn : x + 1);
      sample(r, c, row[left], row[right], XFrameWeight(t.xWeight[c]));
    } else {
      const int32_t column = c < t.xLow ? 0 : lastColumn;
      const T* row = plane + t.yOffset[r];
      sample(r, c, row[column], row[t.srcRowStep + column], YFrameWeight(t.yWeight[r]));
    }
  });
}

}  // namespace linear_frame

// The frame of one destination plane from one source plane (no z blend).
// `dst` is the destination sample at the box's first row and column.
template <typename T>
void LinearFrame2D(const T* plane, const LinearPlaneTables<T>& t, T* dst, int32_t dstStep) {
  linear_frame::ForEachFrameSample(plane, t, [&](int32_t r, int32_t c, T a, T b, auto weight) {
    dst[static_cast<ptrdiff_t>(r) * dstStep + c] = linear_frame::Lerp2D(a, b, weight);
  });
}

// The frame of one source plane into an edge frame, for a later z blend.
template <typename T>
void LinearFrame(const T* plane, const LinearPlaneTables<T>& t,
                 typename LinearTypes<T>::Cell* frame) {
  int64_t n = 0;
  linear_frame::ForEachFrameSample(plane, t, [&](int32_t, int32_t, T a, T b, auto weight) {
    frame[n++] = linear_frame::Lerp3D(a, b, weight);
  });
}

// The frame of one destination plane from two edge frames.
template <typename T>
void LinearBlendFrame(const typename LinearTypes<T>::Cell* a,
                      const typename LinearTypes<T>::Cell* b,
                      typename LinearTypes<T>::Weight zWeight, const LinearPlaneTables<T>& t,
                      T* dst, int32_t dstStep) {
  int64_t n = 0;
  const int32_t firstInnerRow = t.yLow, endInnerRow = t.h - t.yHigh;
  linear_frame::ForEachFramePlace(t, [&](int32_t r, int32_t c) {
    // A column meets a new cache line of the destination at every row:
    // ask for the line a few rows down ahead of time.
    constexpr int32_t kRowsAhead = 8;
    if (r >= firstInnerRow && r < endInnerRow)
      _mm_prefetch(reinterpret_cast<const char*>(dst + static_cast<ptrdiff_t>(r + kRowsAhead) * dstStep + c),
                   _MM_HINT_T0);
    dst[static_cast<ptrdiff_t>(r) * dstStep + c] = linear_frame::BlendZ<T>(a[n], b[n], zWeight);
    ++n;
  });
}
