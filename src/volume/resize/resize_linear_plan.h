// What the linear path of a resize keeps in the scratch of one slab: the
// axis tables with their weights and bands, two row buffers, and a pair of
// resampled planes (an interior plane and an edge frame each).
#pragma once

#include <cstdint>

#include "volume/resize/resize_rows_linear.h"
#include "volume/volume_frame.h"

// Element types per sample type.  8u runs in fixed point: 14-bit weights,
// rows and interior planes as value times 64, frames as plain 8-bit values
// in 16-bit cells.  16u and 32f run in single precision.
template <typename T>
struct LinearTypes {
  using XWeight = float;
  using Weight = float;  // y and z
  using Inner = float;   // row buffers and interior planes
  using Cell = float;    // edge frames
  using Kernels = LinearRowKernelsOf<T, XWeight, Weight, Inner>;
};

template <>
struct LinearTypes<uint8_t> {
  using XWeight = Weight8uPair;
  using Weight = uint16_t;  // w1 alone; w0 = 16384 - w1
  using Inner = int16_t;
  using Cell = uint16_t;
  using Kernels = LinearRowKernelsOf<uint8_t, XWeight, Weight, Inner>;
};

// The in-plane tables and extents that resampling one source plane needs.
//
// Rows 0 .. yLow - 1 and h - yHigh .. h - 1, columns 0 .. xLow - 1 and
// w - xHigh .. w - 1 form the frame, where taps are clamped to the source;
// the rest is the interior, wi by hi samples, where every tap exists.
template <typename T>
struct LinearPlaneTables {
  using Types = LinearTypes<T>;
  int32_t w, h;
  const int32_t* xIndex;  // source column
  const typename Types::XWeight* xWeight;
  const int32_t* yOffset;  // source row times the row step
  const typename Types::Weight* yWeight;
  int32_t xLow, xHigh, yLow, yHigh;
  int32_t wi, hi;
  bool xStep2;  // the interior columns read every second source sample
  bool xyStep2;  // xStep2, and no two interior rows share a source row
  const typename Types::Kernels* kernels;  // the row kernels of this processor
  int32_t srcWidth, srcHeight, srcRowStep;
};

// One member of the rotating plane pair.
template <typename T>
struct ResampledPlane {
  typename LinearTypes<T>::Cell* frame;   // the frame samples, in frame order
  typename LinearTypes<T>::Inner* inner;  // hi rows, `innerStride` apart
};

// A frame has room for 4 * (w + h) samples, four lines along each axis;
// an upscale by more than about 4 overruns it, unchecked.
inline int64_t EdgeFrameCapacity(int32_t w, int32_t h) { return 4 * (int64_t(w) + h); }

// Interior rows are padded to a multiple of 64 samples, so each one starts
// 64-byte aligned.
inline int32_t InteriorStride(int32_t wi) { return (wi + 63) & ~63; }
