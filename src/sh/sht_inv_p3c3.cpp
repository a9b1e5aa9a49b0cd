// qelrSHTInv_32f_P3C3: three sets of coefficients to interleaved
// three-channel values.
#include "sh/sh_state_layout.h"
#include "sh/sht_jobs.h"

extern "C" qelStatus qelrSHTInv_32f_P3C3_impl(const float* const coeffs[], uint32_t order, const float* x,
                                              const float* y, const float* z, float* dst, int32_t count,
                                              const qelrSHState* state) {
  if (!coeffs || !x || !y || !z || !dst || !state)
    return StatusNullPointer;
  if (!coeffs[0] || !coeffs[1] || !coeffs[2])
    return StatusNullPointer;
  if (count == 0)
    return StatusBadSize;
  if (order > shReadHeader(state).order)
    return StatusBadOrder;
  if (count < 0)
    return StatusOk;

  shtInverse({x, y, z, count, 3, {coeffs[0], coeffs[1], coeffs[2]}, {dst, dst + 1, dst + 2}, 3, order, state});
  return StatusOk;
}
