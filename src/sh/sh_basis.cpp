// qelrSH_32f: bands 0..order of the real spherical harmonics at each
// direction, by the method of the state.
#include "sh/sh_evaluators.h"
#include "sh/sh_state_layout.h"

extern "C" qelStatus qelrSH_32f_impl(const float* x, const float* y, const float* z, int32_t count, float* dst,
                                     uint32_t order, const qelrSHState* state)
{
    if (!x || !y || !z || !dst || !state)
        return StatusNullPointer;
    if (count == 0)
        return StatusBadSize;
    if (order > state->order)
        return StatusBadOrder;

    // A negative count passes to the evaluator, which does nothing with it.
    switch (state->mode) {
    case SHModeClosedForm:
        return shEvalClosedForm(x, y, z, count, dst, order);
    case SHModeRecurrence:
        return shEvalRecurrence(state->recurA, state->recurB, x, y, z, count, dst, order);
    default:
        return StatusBadOrder;
    }
}
