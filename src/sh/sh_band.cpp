// qelrSHBand_32f: the 2L + 1 values of band L at each direction, always by
// the closed forms.
#include "sh/sh_closed_form.h"
#include "sh/sh_state_layout.h"

extern "C" qelStatus qelrSHBand_32f_impl(const float* x, const float* y, const float* z, int32_t count, float* dst,
                                         uint32_t band) {
  if (!x || !y || !z || !dst)
    return StatusNullPointer;
  if (band > kShMaxOrder)
    return StatusBadOrder;
  if (count == 0)
    return StatusBadSize;
  if (count < 0)
    return StatusOk;

  // The band's block is chosen once; it loops over the directions itself.
  const ShBandBlock block = shClosedFormBandBlocks[band];
  block(x, y, z, count, dst);
  return StatusOk;
}
