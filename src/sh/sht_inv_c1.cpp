// qelrSHTInv_32f_C1: the value at each direction is the dot product of its
// basis with the coefficients.
#include "sh/sh_state_layout.h"
#include "sh/sht_jobs.h"

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

  shtInverse({x, y, z, count, 1, {coeffs}, {dst}, 1, order, state});
  return StatusOk;
}
