// qelrMul_32f_C1P3IM: each of the three planes of pSrcDst is multiplied in
// place by the plane pSrc.
//
// The scalar and blocked paths compute (pSrcDst[c][i] * pSrc[i]) * factor,
// with factor 1.0 for an active element and 0.0 for a masked-out one, so a
// masked-out element can become -0.0 or NaN.  The aligned path clears a
// masked-out element to +0.0 by bit masking instead.  Callers can see the
// difference, and it is kept.
#include "shading/mask_paths.h"

namespace {

inline void MulElement(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t i) {
  const float source = LoadFloat(pSrc + i);
  const float factor = KeepOrClearFactor(LoadWord(pMask + i));
  for (int c = 0; c < 3; ++c) {
    const float product = LoadFloat(dst[c] + i) * source;
    StoreFloat(dst[c] + i, product * factor);
  }
}

// Blocked path: pSrc is the anchor, read aligned; the planes and the mask
// are read unaligned.
template <Variant V>
void MulBlocked(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t len) {
  const auto scalarStep = [=](int32_t i) { MulElement(pSrc, pMask, dst, i); };
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  const auto blockStep = [=](int32_t i, __m128 source) {
    const __m128 factor = KeepOrClearFactor(ActiveLanes(LoadMaskUnaligned(pMask + i)));
    for (int c = 0; c < 3; ++c) {
      const __m128 product = _mm_mul_ps(_mm_loadu_ps(dst[c] + i), source);
      _mm_storeu_ps(dst[c] + i, _mm_mul_ps(product, factor));
    }
  };
  RunBlocked(SplitAtAnchor(pSrc, len), len, scalarStep, [=](int32_t begin, int32_t end) {
    RunBlocksWithOperand<V>(begin, end, loadSource, blockStep);
  });
}

// Aligned path: every operand on a 16-byte boundary and len a multiple of 4.
template <Variant V>
void MulAligned(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t len) {
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  RunBlocksWithOperand<V>(0, len, loadSource, [=](int32_t i, __m128 source) {
    const __m128i maskWords = LoadMaskAligned(pMask + i);
    if (MaskBlockCode(maskWords) == kAllMaskedOut) {
      for (int c = 0; c < 3; ++c) _mm_store_ps(dst[c] + i, _mm_setzero_ps());
      return;
    }
    const __m128 active = ActiveLanes(maskWords);
    for (int c = 0; c < 3; ++c) {
      const __m128 product = _mm_mul_ps(_mm_load_ps(dst[c] + i), source);
      _mm_store_ps(dst[c] + i, _mm_and_ps(product, active));
    }
  });
}

template <Variant V>
qelStatus MulC1P3IM(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3],
                    int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;

  const Planes<float> dst = PlanesOf(pSrcDst);
  if (AllAligned16(pSrc, pMask, dst[0], dst[1], dst[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    MulAligned<V>(pSrc, pMask, dst, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  MulBlocked<V>(pSrc, pMask, dst, len);
  return StatusOk;
}

}  // namespace

extern "C" qelStatus qelrMul_32f_C1P3IM_v8(const float* pSrc, const int32_t* pMask,
                                           float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::V8>(pSrc, pMask, pSrcDst, len);
}

extern "C" qelStatus qelrMul_32f_C1P3IM_s8(const float* pSrc, const int32_t* pMask,
                                           float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::S8>(pSrc, pMask, pSrcDst, len);
}
