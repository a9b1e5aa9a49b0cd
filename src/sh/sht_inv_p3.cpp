// qelrSHTInv_32f_P3: three sets of coefficients to three planes of values.
#include "sh/sht_direction_basis.h"

extern "C" qelStatus qelrSHTInv_32f_P3_impl(const float* const coeffs[], uint32_t order, const float* x, const float* y,
                                            const float* z, float* const dst[], int32_t count,
                                            const qelrSHState* state) {
  if (!coeffs || !x || !y || !z || !dst || !state)
    return StatusNullPointer;
  if (!coeffs[0] || !coeffs[1] || !coeffs[2] || !dst[0] || !dst[1] || !dst[2])
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
    for (int c = 0; c < 3; ++c)
      ownDot32f(basis, coeffs[c], n, &dst[c][i]);
  }
  return StatusOk;
}
