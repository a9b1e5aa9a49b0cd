// The left and right columns of a resampled plane's edge frame, in the rows
// between its top and bottom bands.  Along x each source row gives one value
// per column from two or three taps at the row's end, the weights of taps
// that land on the same column merged in single precision; along y four such
// row values are weighed in order.
#pragma once

#include <cstdint>

#include "volume/resize/resize_cubic_plane.h"

struct SideColumn {
  int32_t taps[3];
  float weights[3];
  bool threeTerms;
};

// Left column c of the band.
inline SideColumn LeftColumn(const CubicPlaneTables& t, int32_t c) {
  const float* wx = t.xWeight4 + 4 * c;
  if (c < t.x.outLow) return {{0, 1, 0}, {wx[0] + wx[1] + wx[2], wx[3], 0.0f}, false};
  return {{0, 1, 2}, {wx[0] + wx[1], wx[2], wx[3]}, true};
}

// Right column number c of the band, counted from its first column.
inline SideColumn RightColumn(const CubicPlaneTables& t, int32_t c) {
  const float* wx = t.xWeight4 + 4 * (t.w - t.x.High() + c);
  const int32_t last = t.srcW - 1;
  if (c < t.x.inHigh) return {{last - 2, last - 1, last}, {wx[0], wx[1], wx[2] + wx[3]}, true};
  return {{last - 1, last, 0}, {wx[0], wx[1] + wx[2] + wx[3], 0.0f}, false};
}

// Band column c, left columns first: the order of the frame's column runs.
inline SideColumn BandColumn(const CubicPlaneTables& t, int32_t c) {
  return c < t.x.Low() ? LeftColumn(t, c) : RightColumn(t, c - t.x.Low());
}

template <typename T>
inline float SideValue(const T* row, const SideColumn& s) {
  const float v = s.weights[0] * static_cast<float>(row[s.taps[0]]) +
                  s.weights[1] * static_cast<float>(row[s.taps[1]]);
  return s.threeTerms ? v + s.weights[2] * static_cast<float>(row[s.taps[2]]) : v;
}

// Sums four row values in order, each with its weight.
inline float WeighRows(const float r[4], const float* wy) {
  return r[0] * wy[0] + r[1] * wy[1] + r[2] * wy[2] + r[3] * wy[3];
}

// Up to this many band columns are resampled along with the interior rows,
// while those rows are in cache; more (large upscales) go on their own.
constexpr int32_t kSidesWithInterior = 8;

inline bool SidesWithInterior(const CubicPlaneTables& t) {
  return t.HasInterior() && t.x.Low() + t.x.High() <= kSidesWithInterior;
}
