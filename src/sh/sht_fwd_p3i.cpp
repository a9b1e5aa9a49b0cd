// qelrSHTFwd_32f_P3I: three planes of values, three sets of coefficients.
// Adds value * basis per channel; no clearing, no weights.
#include "sh/sh_state_layout.h"
#include "sh/sht_jobs.h"

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

  shtForward({x, y, z, count, 3, {values[0], values[1], values[2]}, 1, {coeffs[0], coeffs[1], coeffs[2]}, order,
              state});
  return StatusOk;
}
