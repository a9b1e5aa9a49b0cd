// The body of qelrSH_32f, inline so that the transforms, which call it once
// a direction, pay no extra call for it.
#pragma once

#include "sh/sh_evaluators.h"
#include "sh/sh_state_layout.h"

inline qelStatus shBasis(const float* x, const float* y, const float* z, int32_t count, float* dst, uint32_t order,
                         const qelrSHState* state) {
  if (!x || !y || !z || !dst || !state)
    return StatusNullPointer;
  if (count == 0)
    return StatusBadSize;
  const qelrSHState header = shReadHeader(state);
  if (order > header.order)
    return StatusBadOrder;

  // A negative count passes to the evaluator, which does nothing with it.
  switch (header.mode) {
    case SHModeClosedForm:
      return shEvalClosedForm(x, y, z, count, dst, order);
    case SHModeRecurrence:
      return shEvalRecurrence(header.recurA, header.recurB, x, y, z, count, dst, order);
    default:
      return StatusBadOrder;
  }
}
