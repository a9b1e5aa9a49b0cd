// The two evaluators behind qelrSH_32f.  Each refuses an order above 15 with
// StatusBadOrder and does nothing for a count below 1.
#pragma once

#include <cstdint>

#include "frame/qelr_internal.h"

qelStatus shEvalClosedForm(const float* x, const float* y, const float* z, int32_t count, float* dst, uint32_t order);

qelStatus shEvalRecurrence(const float* recurA, const float* recurB, const float* x, const float* y, const float* z,
                           int32_t count, float* dst, uint32_t order);
