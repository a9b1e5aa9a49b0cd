// The step shared by the six transforms: the basis of one direction.
#pragma once

#include <cstdint>

#include "sh/sh_basis.h"

// Room for bands 0..15 of one direction.  A transform holds one such array
// for the basis.
constexpr int32_t kShtWorkFloats = 256;

// Coefficients of bands 0..order.
inline int32_t shtCoefficientCount(uint32_t order) {
  return static_cast<int32_t>((order + 1) * (order + 1));
}

// Evaluates direction i into `basis` as qelrSH_32f does.  Its status is not
// looked at: a state that the evaluator refuses (a corrupted mode, an order
// above 15) leaves `basis` as it was, and the transform goes on with it.
// Callers must keep the order at 15 or below; nothing here enforces it.
inline void shtDirectionBasis(const float* x, const float* y, const float* z, int32_t i, float* basis, uint32_t order,
                              const qelrSHState* state) {
  (void)shBasis(x + i, y + i, z + i, 1, basis, order, state);
}

// coeffs += value * basis, with the results of scaling a copy through
// ownMulC32f and adding it with ownAdd32fInPlace, in one pass and without
// the copy: a value of exactly 1 adds the basis as it is, and a value of
// exactly 0 adds +0.0 (the scaled copy would have been cleared, not
// multiplied, so infinities in the basis leave no NaN).
inline void shtAddScaledBasis(const float* basis, float value, float* coeffs, int32_t n) {
  if (value == 0.0f) {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += 0.0f;
  } else if (value == 1.0f) {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += basis[k];
  } else {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += basis[k] * value;
  }
}

// The three channels of one direction, as three shtAddScaledBasis calls in
// channel order.  When no value takes a shortcut the three run in one pass
// over the basis; each coefficient still sees the same operations.
inline void shtAddScaledBasis3(const float* basis, const float value[3], float* const coeffs[], int32_t n) {
  const bool shortcut = value[0] == 0.0f || value[0] == 1.0f || value[1] == 0.0f || value[1] == 1.0f ||
                        value[2] == 0.0f || value[2] == 1.0f;
  if (shortcut) {
    for (int c = 0; c < 3; ++c) shtAddScaledBasis(basis, value[c], coeffs[c], n);
    return;
  }
  float* c0 = coeffs[0];
  float* c1 = coeffs[1];
  float* c2 = coeffs[2];
  for (int32_t k = 0; k < n; ++k) {
    const float b = basis[k];
    c0[k] += b * value[0];
    c1[k] += b * value[1];
    c2[k] += b * value[2];
  }
}
