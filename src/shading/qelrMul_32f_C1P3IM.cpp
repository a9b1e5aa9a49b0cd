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

// ---- Blocked path: pSrc is the anchor, read aligned; the planes and the
// mask are read unaligned ------------------------------------------------------

inline void MulElement(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t i) {
  const float source = LoadFloat(pSrc + i);
  const float factor = KeepOrClearFactor(LoadWord(pMask + i));
  for (int c = 0; c < 3; ++c) {
    const float product = LoadFloat(dst[c] + i) * source;
    StoreFloat(dst[c] + i, product * factor);
  }
}

inline void MulBlockedBlock(__m128 source, const int32_t* pMask, Planes<float> dst, int32_t i) {
  const __m128 factor = KeepOrClearFactor(ActiveLanes(LoadMaskUnaligned(pMask + i)));
  for (int c = 0; c < 3; ++c) {
    const __m128 product = _mm_mul_ps(_mm_loadu_ps(dst[c] + i), source);
    _mm_storeu_ps(dst[c] + i, _mm_mul_ps(product, factor));
  }
}

SHADING_AVX2 void MulBlockedEight(const float* pSrc, const int32_t* pMask, Planes<float> dst,
                                  int32_t begin, int32_t end) {
  for (int32_t i = begin; i < end; i += 8) {
    const __m256 source = _mm256_loadu_ps(pSrc + i);
    const __m256 factor = KeepOrClearFactor8(ActiveLanes8(LoadMask8(pMask + i)));
    for (int c = 0; c < 3; ++c) {
      const __m256 product = _mm256_mul_ps(_mm256_loadu_ps(dst[c] + i), source);
      _mm256_storeu_ps(dst[c] + i, _mm256_mul_ps(product, factor));
    }
  }
}

template <Variant V, Width W>
void MulBlocked(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t len) {
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  RunBlocked(
      SplitAtAnchor(pSrc, len), len, [=](int32_t i) { MulElement(pSrc, pMask, dst, i); },
      [=](int32_t begin, int32_t end) {
        if constexpr (W == Width::Eight) {
          const int32_t wideEnd = EightWideEnd(begin, end);
          MulBlockedEight(pSrc, pMask, dst, begin, wideEnd);
          begin = wideEnd;
        }
        RunBlocksWithOperand<V>(begin, end, loadSource, [=](int32_t i, __m128 source) {
          MulBlockedBlock(source, pMask, dst, i);
        });
      });
}

// ---- Aligned path: every operand on a 16-byte boundary, len a multiple
// of 4 ---------------------------------------------------------------------------

inline void MulAlignedBlock(__m128 source, const int32_t* pMask, Planes<float> dst, int32_t i) {
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
}

SHADING_AVX2 void MulAlignedEight(const float* pSrc, const int32_t* pMask, Planes<float> dst,
                                  int32_t end) {
  for (int32_t i = 0; i < end; i += 8) {
    const __m256 source = _mm256_loadu_ps(pSrc + i);
    const __m256 active = ActiveLanes8(LoadMask8(pMask + i));
    for (int c = 0; c < 3; ++c) {
      const __m256 product = _mm256_mul_ps(_mm256_loadu_ps(dst[c] + i), source);
      _mm256_storeu_ps(dst[c] + i, _mm256_and_ps(product, active));
    }
  }
}

template <Variant V, Width W>
void MulAligned(const float* pSrc, const int32_t* pMask, Planes<float> dst, int32_t len) {
  int32_t begin = 0;
  if constexpr (W == Width::Eight) {
    begin = EightWideEnd(0, len);
    MulAlignedEight(pSrc, pMask, dst, begin);
  }
  const auto loadSource = [=](int32_t i) { return _mm_load_ps(pSrc + i); };
  RunBlocksWithOperand<V>(begin, len, loadSource, [=](int32_t i, __m128 source) {
    MulAlignedBlock(source, pMask, dst, i);
  });
}

template <Variant V, Width W>
qelStatus MulC1P3IM(const float* pSrc, const int32_t* pMask, float* const pSrcDst[3],
                    int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;

  const Planes<float> dst = PlanesOf(pSrcDst);
  if (AllAligned16(pSrc, pMask, dst[0], dst[1], dst[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    MulAligned<V, W>(pSrc, pMask, dst, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  MulBlocked<V, W>(pSrc, pMask, dst, len);
  return StatusOk;
}

}  // namespace

extern "C" {

qelStatus qelrMul_32f_C1P3IM_v8_four(const float* pSrc, const int32_t* pMask,
                                     float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::V8, Width::Four>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1P3IM_v8_eight(const float* pSrc, const int32_t* pMask,
                                      float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::V8, Width::Eight>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1P3IM_s8_four(const float* pSrc, const int32_t* pMask,
                                     float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::S8, Width::Four>(pSrc, pMask, pSrcDst, len);
}

qelStatus qelrMul_32f_C1P3IM_s8_eight(const float* pSrc, const int32_t* pMask,
                                      float* const pSrcDst[3], int32_t len) {
  return MulC1P3IM<Variant::S8, Width::Eight>(pSrc, pMask, pSrcDst, len);
}

}  // extern "C"

SHADING_CHOOSE_WIDTH(qelrMul_32f_C1P3IM_v8)
SHADING_CHOOSE_WIDTH(qelrMul_32f_C1P3IM_s8)
