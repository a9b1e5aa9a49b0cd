// Axis tables of the cubic resize: per destination coordinate the source
// index (times the axis step) and the fraction, and the four band counts.
#pragma once

#include <cstdint>

#include "frame/qelr_internal.h"
#include "volume/resize/resize_tables.h"

// How many destination samples of an axis fall in each edge band.  The four
// are counted independently: on a source shorter than four samples one
// coordinate may count both in a low and in a high band.
struct CubicBands {
  int32_t outLow;   // pos < 0
  int32_t inLow;    // 0 <= pos < 1
  int32_t inHigh;   // size - 2 <= pos < size - 1
  int32_t outHigh;  // pos >= size - 1

  int32_t Low() const { return outLow + inLow; }
  int32_t High() const { return inHigh + outHigh; }
};

// Maps one axis of the box onto a source axis of `size` samples.  Writes
// floor(pos) * multiplier to `offsets` and pos - floor(pos), narrowed to
// float, to `fractions`, and counts the bands on the way.
template <Variant V>
CubicBands BuildCubicAxis(const AxisMap& m, int32_t size, int32_t multiplier, int32_t* offsets,
                          float* fractions) {
  CubicBands bands = {0, 0, 0, 0};
  const double secondLast = double(size) - 2.0;
  const double last = double(size) - 1.0;
  ForEachSourcePosition<V>(m, [&](int32_t j, int32_t index, double fraction, double pos) {
    offsets[j] = WrapMul(index, multiplier);
    fractions[j] = static_cast<float>(fraction);
    if (pos < 0.0) ++bands.outLow;
    if (0.0 <= pos && pos < 1.0) ++bands.inLow;
    if (secondLast <= pos && pos < last) ++bands.inHigh;
    if (pos >= last) ++bands.outHigh;
  });
  return bands;
}
