// qelrDiv_32f_C1IM: pSrcDst[i] = pSrcDst[i] / pSrc[i] for an active element,
// +0.0 for a masked-out one.  A zero divisor (of either sign) in an active
// element gives +infinity, -infinity or the NaN 0xFFC00000 by the sign of the
// dividend, and the call then ends with the warning StatusDivByZero after the
// whole array is done.  pMask is deliberately not checked.
#include "shading/mask_paths.h"

namespace {

// What a zero divisor yields: the sign of the zero is ignored.
float DivideByZero(float dividend) {
  if (dividend > 0.0f) return __builtin_huge_valf();
  if (dividend < 0.0f) return -__builtin_huge_valf();
  uint32_t nanBits = 0xFFC00000u;  // zero or NaN over zero
  float nan;
  std::memcpy(&nan, &nanBits, sizeof nan);
  return nan;
}

}  // namespace

extern "C" qelStatus qelrDiv_32f_C1IM_impl(const float* pSrc, const int32_t* pMask,
                                           float* pSrcDst, int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;
  if (len < 1) return StatusOk;

  bool divisorWasZero = false;
  for (int32_t i = 0; i < len; ++i) {
    if (!IsActive(LoadWord(pMask + i))) {
      StoreFloat(pSrcDst + i, 0.0f);
      continue;
    }
    const float divisor = LoadFloat(pSrc + i);
    const float dividend = LoadFloat(pSrcDst + i);
    if (divisor == 0.0f) {  // a NaN divisor is not zero and divides normally
      StoreFloat(pSrcDst + i, DivideByZero(dividend));
      divisorWasZero = true;
      continue;
    }
    StoreFloat(pSrcDst + i, dividend / divisor);
  }
  return divisorWasZero ? StatusDivByZero : StatusOk;
}
