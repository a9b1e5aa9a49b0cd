// Resampling one source plane along x and y with a cubic kernel, and
// weighing four resampled planes along z into a destination plane.
//
// A resampled plane has two parts: the interior, where all sixteen taps of a
// sample exist and the row kernels run, and the edge frame around it, where
// taps are clamped into the source by scalar code.  The frame is stored as
// the top rows, the bottom rows, the left columns and the right columns,
// each column as one run.  All samples are float, unrounded, whatever the
// source type.
#pragma once

#include <cstdint>

#include "volume/resize/resize_cubic_tables.h"
#include "volume/resize/resize_rows_cubic.h"

// Everything needed to resample a plane of one slab: the in-plane tables,
// bands and row buffers.  Built once per call.
struct CubicPlaneTables {
  int32_t w, h;          // destination box, in samples
  int32_t wi, hi;        // interior extents; either may be 0 or negative
  CubicBands x, y;       // edge bands of the two axes
  int32_t srcW, srcH;    // source volume extents
  int32_t srcStep;       // source rows apart, in samples
  const int32_t* xIndex;   // source column of each destination column
  const int32_t* yOffset;  // source row times srcStep of each destination row
  const float* xWeight4;   // four weights per band column (the interior's are in xInterior)
  const float* yWeight4;   // four weights per destination row
  CubicXTable xInterior;   // the x tables of the interior columns
  float* rows[4];          // row buffers of the interior's y pass, free between planes
  int32_t planeStride;     // floats from row to row of an interior plane
  const CubicKernels* kernels;

  bool HasInterior() const { return wi > 0 && hi > 0; }
};

// Where the left and right column runs begin in a frame.
inline float* CubicSideRuns(const CubicPlaneTables& t, float* frame) {
  return frame + static_cast<int64_t>(t.y.Low() + t.y.High()) * t.w;
}

// Fills the edge frame of one source plane; after CubicInterior, whose row
// buffers it reuses and which may have filled the side columns.
template <typename T>
void CubicFrame(const T* plane, const CubicPlaneTables& t, float* frame);

// Fills the interior plane of one source plane: x pass per source row into
// the row buffers, then a y pass per destination row.  Resamples the frame's
// side columns from the same rows when SidesWithInterior(t).
template <typename T>
void CubicInterior(const T* plane, const CubicPlaneTables& t, float* interior, float* frame);

// Weighs four frames with `zWeight4` into the frame of a destination plane;
// `dst` is its sample at the box's first row and column.
template <typename T>
void CubicBlendFrame(const float* const frames[4], const float* zWeight4, const CubicPlaneTables& t,
                     T* dst, int32_t dstStep);
