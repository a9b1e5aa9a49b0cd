// The step shared by the six transforms: the basis of one direction.
#pragma once

#include <cstdint>

#include "sh/sh_basis.h"

// Room for bands 0..15 of one direction.  A transform holds one such array
// for the basis and, with three channels forward, one for its scaled copy.
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
