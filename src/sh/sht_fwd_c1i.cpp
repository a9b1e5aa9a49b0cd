// qelrSHTFwd_32f_C1I: adds value * basis of each direction to one set of
// coefficients.  No clearing, no weights: the caller does both.
#include "sh/sh_state_layout.h"
#include "sh/sht_jobs.h"

extern "C" qelStatus qelrSHTFwd_32f_C1I_impl(const float* x, const float* y, const float* z, const float* values,
                                             int32_t count, float* coeffs, uint32_t order, const qelrSHState* state) {
  if (!x || !y || !z || !values || !coeffs || !state)
    return StatusNullPointer;
  if (count == 0)
    return StatusBadSize;
  if (order > shReadHeader(state).order)
    return StatusBadOrder;
  if (count < 0)
    return StatusOk;

  shtForward({x, y, z, count, 1, {values}, 1, {coeffs}, order, state});
  return StatusOk;
}
