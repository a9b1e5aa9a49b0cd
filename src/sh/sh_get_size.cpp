// qelrSHGetSize_32f: bytes of the block that qelrSHInit_32f fills.
#include "sh/sh_state_layout.h"

extern "C" qelStatus qelrSHGetSize_32f_impl(uint32_t order, int32_t mode, int32_t* size) {
  if (!size)
    return StatusNullPointer;
  if (!shModeIsKnown(mode))
    return StatusBadOrder;
  // Only the closed forms are limited here; a recurrence state of any
  // order can be sized and built, and is refused above band 15 only when
  // it is evaluated.
  if (mode == SHModeClosedForm && order > kShMaxOrder)
    return StatusBadSize;

  if (mode == SHModeClosedForm)
    *size = static_cast<int32_t>(kShClosedFormBytes);
  else
    *size = static_cast<int32_t>(shRecurrenceStateBytes(order));
  return StatusOk;
}
