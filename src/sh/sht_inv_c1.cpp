// qelrSHTInv_32f_C1: the value at each direction is the dot product of its
// basis with the coefficients.
#include "sh/sht_direction_basis.h"

extern "C" qelStatus qelrSHTInv_32f_C1_impl(const float* coeffs, uint32_t order, const float* x, const float* y,
                                            const float* z, float* dst, int32_t count, const qelrSHState* state) {
  if (!coeffs || !x || !y || !z || !dst || !state)
    return StatusNullPointer;
  if (count == 0)
    return StatusBadSize;
  if (order > shReadHeader(state).order)
    return StatusBadOrder;
  if (count < 0)
    return StatusOk;

  const int32_t n = shtCoefficientCount(order);
  alignas(16) float basis[kShtWorkFloats];
  for (int32_t i = 0; i < count; ++i) {
    shtDirectionBasis(x, y, z, i, basis, order, state);
    ownDot32f(basis, coeffs, n, &dst[i]);
  }
  return StatusOk;
}
