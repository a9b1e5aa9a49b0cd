// A transform call after its checks: the caller's arrays, counts and state,
// in one record for the routines that do the work.
#pragma once

#include <cstdint>

#include "frame/qelr_internal.h"

// Projects values onto coefficients: for each direction i in order and each
// channel c in turn, coeffs[c] += value * basis(i), where the value is
// values[c][i * valueStride] (the shortcuts of an exact 1 and 0 included).
struct ShtForwardJob {
  const float* x;
  const float* y;
  const float* z;
  int32_t count;  // at least 1
  int channels;   // 1 or 3
  const float* values[3];
  int32_t valueStride;  // 1: separate arrays; 3: interleaved, values[c] = values[0] + c
  float* coeffs[3];
  uint32_t order;  // at most the state's order
  const qelrSHState* state;
};

// Reconstructs values: for each direction i in order and each channel c in
// turn, dst[c][i * dstStride] = the dot product of basis(i) and coeffs[c].
struct ShtInverseJob {
  const float* x;
  const float* y;
  const float* z;
  int32_t count;  // at least 1
  int channels;   // 1 or 3
  const float* coeffs[3];
  float* dst[3];
  int32_t dstStride;  // 1: separate arrays; 3: interleaved, dst[c] = dst[0] + c
  uint32_t order;  // at most the state's order
  const qelrSHState* state;
};

// The whole transform, by blocks of directions where that gives the same
// bits, direction by direction otherwise.
void shtForward(const ShtForwardJob& job);
void shtInverse(const ShtInverseJob& job);
