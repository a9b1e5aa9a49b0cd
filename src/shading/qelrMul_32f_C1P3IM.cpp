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

inline void MulElement(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3],
                       int32_t i) {
  const float source = LoadFloat(pSrc + i);
  const float factor = KeepOrClearFactor(LoadWord(pMask + i));
  for (int c = 0; c < 3; ++c) {
    const float product = LoadFloat(pSrcDst[c] + i) * source;
    StoreFloat(pSrcDst[c] + i, product * factor);
  }
}

// Blocked path: pSrc is the anchor, read aligned; the planes and the mask
// are read unaligned.
template <Variant V>
void MulBlocked(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3], int32_t len) {
  float* const x = pSrcDst[0];
  float* const y = pSrcDst[1];
  float* const z = pSrcDst[2];
  const auto scalarStep = [=](int32_t i) { MulElement(pSrc, pMask, pSrcDst, i); };
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  const auto blockStep = [=](int32_t i, __m128 source) {
    const __m128 factor = KeepOrClearFactor(ActiveLanes(LoadMaskUnaligned(pMask + i)));
    _mm_storeu_ps(x + i, _mm_mul_ps(_mm_mul_ps(_mm_loadu_ps(x + i), source), factor));
    _mm_storeu_ps(y + i, _mm_mul_ps(_mm_mul_ps(_mm_loadu_ps(y + i), source), factor));
    _mm_storeu_ps(z + i, _mm_mul_ps(_mm_mul_ps(_mm_loadu_ps(z + i), source), factor));
  };
  RunBlocked(SplitAtAnchor(pSrc, len), len, scalarStep, [=](int32_t begin, int32_t end) {
    RunBlocksWithOperand<V>(begin, end, loadSource, blockStep);
  });
}

// Aligned path: every operand on a 16-byte boundary and len a multiple of 4.
template <Variant V>
void MulAligned(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3], int32_t len) {
  float* const x = pSrcDst[0];
  float* const y = pSrcDst[1];
  float* const z = pSrcDst[2];
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  RunBlocksWithOperand<V>(0, len, loadSource, [=](int32_t i, __m128 source) {
    const __m128i maskWords = LoadMaskAligned(pMask + i);
    if (MaskBlockCode(maskWords) == kAllMaskedOut) {
      const __m128 zero = _mm_setzero_ps();
      _mm_store_ps(x + i, zero);
      _mm_store_ps(y + i, zero);
      _mm_store_ps(z + i, zero);
      return;
    }
    const __m128 active = ActiveLanes(maskWords);
    _mm_store_ps(x + i, _mm_and_ps(_mm_mul_ps(_mm_load_ps(x + i), source), active));
    _mm_store_ps(y + i, _mm_and_ps(_mm_mul_ps(_mm_load_ps(y + i), source), active));
    _mm_store_ps(z + i, _mm_and_ps(_mm_mul_ps(_mm_load_ps(z + i), source), active));
  });
}

template <Variant V>
qelStatus MulC1P3IM(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3],
                    int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;

  if (AllAligned16(pSrc, pMask, pSrcDst[0], pSrcDst[1], pSrcDst[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    MulAligned<V>(pSrc, pMask, pSrcDst, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  MulBlocked<V>(pSrc, pMask, pSrcDst, len);
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
