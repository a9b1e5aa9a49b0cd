// qelrSHTFwd_32f_P3I: three planes of values, three sets of coefficients.
// Adds value * basis per channel; no clearing, no weights.
#include "sh/sht_direction_basis.h"

extern "C" qelStatus qelrSHTFwd_32f_P3I_impl(const float* x, const float* y, const float* z,
                                             const float* const values[], int32_t count, float* const coeffs[],
                                             uint32_t order, const qelrSHState* state) {
  if (!x || !y || !z || !values || !coeffs || !state)
    return StatusNullPointer;
  if (!values[0] || !values[1] || !values[2] || !coeffs[0] || !coeffs[1] || !coeffs[2])
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
    const float v[3] = {values[0][i], values[1][i], values[2][i]};
    shtAddScaledBasis3(basis, v, coeffs, n);
  }
  return StatusOk;
}
