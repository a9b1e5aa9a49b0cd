// qelrSH_32f: bands 0..order of the real spherical harmonics at each
// direction, by the method of the state.
#include "sh/sh_basis.h"

extern "C" qelStatus qelrSH_32f_impl(const float* x, const float* y, const float* z, int32_t count, float* dst,
                                     uint32_t order, const qelrSHState* state) {
  return shBasis(x, y, z, count, dst, order, state);
}
