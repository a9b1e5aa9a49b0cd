// qelrMul_32f_C1IM: pSrcDst[i] = (pSrcDst[i] * pSrc[i]) * factor, where the
// factor is 1.0 for an active element and 0.0 for a masked-out one.  The
// factor is multiplied, not masked in, so a masked-out element whose product
// is negative becomes -0.0 and one whose product is infinite or NaN becomes
// NaN.  No pointer is checked.
#include "shading/mask_paths.h"

namespace {

inline void MulElement(const float* pSrc, const int32_t* pMask, float* pSrcDst, int32_t i) {
  const float product = LoadFloat(pSrcDst + i) * LoadFloat(pSrc + i);
  StoreFloat(pSrcDst + i, product * KeepOrClearFactor(LoadWord(pMask + i)));
}

// The body from begin to end: pSrcDst is on a 16-byte boundary there, and
// so is pSrc when kSrcAligned.
template <Variant V, bool kSrcAligned>
void MulBody(const float* pSrc, const int32_t* pMask, float* pSrcDst, int32_t begin, int32_t end) {
  const auto loadSource = [=](int32_t i) {
    return kSrcAligned ? _mm_load_ps(pSrc + i) : _mm_loadu_ps(pSrc + i);
  };
  RunBlocksWithOperand<V>(begin, end, loadSource, [=](int32_t i, __m128 source) {
    const __m128 factor = KeepOrClearFactor(ActiveLanes(LoadMaskUnaligned(pMask + i)));
    const __m128 product = _mm_mul_ps(_mm_load_ps(pSrcDst + i), source);
    _mm_store_ps(pSrcDst + i, _mm_mul_ps(product, factor));
  });
}

template <Variant V>
qelStatus MulC1IM(const float* pSrc, const int32_t* pMask, float* pSrcDst, int32_t len) {
  if (len < 1) return StatusOk;
  const BlockedSplit split = SplitAtAnchor(pSrcDst, len);
  const auto scalarStep = [=](int32_t i) { MulElement(pSrc, pMask, pSrcDst, i); };
  // Two copies of the body, chosen once: the loads differ, not the arithmetic.
  if (IsAligned16(pSrc + split.head))
    RunBlocked(split, len, scalarStep, [=](int32_t begin, int32_t end) {
      MulBody<V, true>(pSrc, pMask, pSrcDst, begin, end);
    });
  else
    RunBlocked(split, len, scalarStep, [=](int32_t begin, int32_t end) {
      MulBody<V, false>(pSrc, pMask, pSrcDst, begin, end);
    });
  return StatusOk;
}

}  // namespace

extern "C" qelStatus qelrMul_32f_C1IM_v8(const float* pSrc, const int32_t* pMask,
                                         float* pSrcDst, int32_t len) {
  return MulC1IM<Variant::V8>(pSrc, pMask, pSrcDst, len);
}

extern "C" qelStatus qelrMul_32f_C1IM_s8(const float* pSrc, const int32_t* pMask,
                                         float* pSrcDst, int32_t len) {
  return MulC1IM<Variant::S8>(pSrc, pMask, pSrcDst, len);
}
