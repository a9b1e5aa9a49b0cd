// shEvalClosedForm: every band up to the order, direction by direction.
#include "sh/sh_closed_form.h"
#include "sh/sh_evaluators.h"
#include "sh/sh_state_layout.h"

qelStatus shEvalClosedForm(const float* x, const float* y, const float* z, int32_t count, float* dst, uint32_t order) {
  if (order > kShMaxOrder)
    return StatusBadOrder;
  if (count < 1)
    return StatusOk;

  // Band 0 alone is a constant: the coordinates are not even read.
  if (order == 0) {
    for (int32_t i = 0; i < count; ++i)
      shClosedFormDirection(0.0f, 0.0f, 0.0f, dst + i, 0);
    return StatusOk;
  }
  const uint32_t perDirection = (order + 1) * (order + 1);
  for (int32_t i = 0; i < count; ++i, dst += perDirection)
    shClosedFormDirection(x[i], y[i], z[i], dst, order);
  return StatusOk;
}
