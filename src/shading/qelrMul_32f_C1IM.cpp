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

// The body from begin to end, four at a time: pSrcDst is on a 16-byte
// boundary there, and so is pSrc when kSrcAligned.
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

// The same arithmetic eight at a time, for end - begin a multiple of 8.
SHADING_AVX2 void MulBodyEight(const float* pSrc, const int32_t* pMask, float* pSrcDst,
                               int32_t begin, int32_t end) {
  for (int32_t i = begin; i < end; i += 8) {
    const __m256 factor = KeepOrClearFactor8(ActiveLanes8(LoadMask8(pMask + i)));
    const __m256 product = _mm256_mul_ps(_mm256_loadu_ps(pSrcDst + i), _mm256_loadu_ps(pSrc + i));
    _mm256_storeu_ps(pSrcDst + i, _mm256_mul_ps(product, factor));
  }
}

template <Variant V, Width W>
qelStatus MulC1IM(const float* pSrc, const int32_t* pMask, float* pSrcDst, int32_t len) {
  if (len < 1) return StatusOk;
  const BlockedSplit split = SplitAtAnchor(pSrcDst, len);
  const bool srcAligned = IsAligned16(pSrc + split.head);
  RunBlocked(
      split, len, [=](int32_t i) { MulElement(pSrc, pMask, pSrcDst, i); },
      [=](int32_t begin, int32_t end) {
        if constexpr (W == Width::Eight) {
          const int32_t wideEnd = EightWideEnd(begin, end);
          MulBodyEight(pSrc, pMask, pSrcDst, begin, wideEnd);
          begin = wideEnd;
        }
        // Two copies of the body, chosen once: the loads differ, not the
        // arithmetic.
        if (srcAligned)
          MulBody<V, true>(pSrc, pMask, pSrcDst, begin, end);
        else
          MulBody<V, false>(pSrc, pMask, pSrcDst, begin, end);
      });
  return StatusOk;
}

}  // namespace

extern "C" {

qelStatus qelrMul_32f_C1IM_v8_four(const float* pSrc, const int32_t* pMask, float* pSrcDst,
                                   int32_t len) {
  return MulC1IM<Variant::V8, Width::Four>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1IM_v8_eight(const float* pSrc, const int32_t* pMask, float* pSrcDst,
                                    int32_t len) {
  return MulC1IM<Variant::V8, Width::Eight>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1IM_s8_four(const float* pSrc, const int32_t* pMask, float* pSrcDst,
                                   int32_t len) {
  return MulC1IM<Variant::S8, Width::Four>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1IM_s8_eight(const float* pSrc, const int32_t* pMask, float* pSrcDst,
                                    int32_t len) {
  return MulC1IM<Variant::S8, Width::Eight>(pSrc, pMask, pSrcDst, len);
}

}  // extern "C"

SHADING_CHOOSE_WIDTH(qelrMul_32f_C1IM_v8)
SHADING_CHOOSE_WIDTH(qelrMul_32f_C1IM_s8)
