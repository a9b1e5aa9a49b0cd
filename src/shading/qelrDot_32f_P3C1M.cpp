// qelrDot_32f_P3C1M: pDst[i] = ((ax * bx) + (ay * by)) + (az * bz) for an
// active element, a from pSrc1 and b from pSrc2; +0.0 for a masked-out one.
// The scalar and aligned paths give the same bits.
#include "shading/mask_paths.h"

namespace {

void DotScalar(Planes<const float> a, Planes<const float> b, const int32_t* pMask, float* pDst,
               int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (!IsActive(LoadWord(pMask + i))) {
      StoreFloat(pDst + i, 0.0f);
      continue;
    }
    const float x = LoadFloat(a[0] + i) * LoadFloat(b[0] + i);
    const float y = LoadFloat(a[1] + i) * LoadFloat(b[1] + i);
    const float z = LoadFloat(a[2] + i) * LoadFloat(b[2] + i);
    StoreFloat(pDst + i, (x + y) + z);
  }
}

// ---- Aligned path: blocks of four, or eight where the processor allows ----

inline void DotAlignedBlock(Planes<const float> a, Planes<const float> b, const int32_t* pMask,
                            float* pDst, int32_t i) {
  const __m128i maskWords = LoadMaskAligned(pMask + i);
  if (MaskBlockCode(maskWords) == kAllMaskedOut) {
    _mm_store_ps(pDst + i, _mm_setzero_ps());
    return;
  }
  const __m128 x = _mm_mul_ps(_mm_load_ps(a[0] + i), _mm_load_ps(b[0] + i));
  const __m128 y = _mm_mul_ps(_mm_load_ps(a[1] + i), _mm_load_ps(b[1] + i));
  const __m128 z = _mm_mul_ps(_mm_load_ps(a[2] + i), _mm_load_ps(b[2] + i));
  const __m128 dot = _mm_add_ps(_mm_add_ps(x, y), z);
  _mm_store_ps(pDst + i, _mm_and_ps(dot, ActiveLanes(maskWords)));
}

SHADING_AVX2 void DotAlignedEight(Planes<const float> a, Planes<const float> b,
                                  const int32_t* pMask, float* pDst, int32_t end) {
  for (int32_t i = 0; i < end; i += 8) {
    const __m256 x = _mm256_mul_ps(_mm256_loadu_ps(a[0] + i), _mm256_loadu_ps(b[0] + i));
    const __m256 y = _mm256_mul_ps(_mm256_loadu_ps(a[1] + i), _mm256_loadu_ps(b[1] + i));
    const __m256 z = _mm256_mul_ps(_mm256_loadu_ps(a[2] + i), _mm256_loadu_ps(b[2] + i));
    const __m256 dot = _mm256_add_ps(_mm256_add_ps(x, y), z);
    _mm256_storeu_ps(pDst + i, _mm256_and_ps(dot, ActiveLanes8(LoadMask8(pMask + i))));
  }
}

template <Width W>
void DotAligned(Planes<const float> a, Planes<const float> b, const int32_t* pMask, float* pDst,
                int32_t len) {
  int32_t begin = 0;
  if constexpr (W == Width::Eight) {
    begin = EightWideEnd(0, len);
    DotAlignedEight(a, b, pMask, pDst, begin);
  }
  for (int32_t i = begin; i < len; i += 4) DotAlignedBlock(a, b, pMask, pDst, i);
}

template <Width W>
qelStatus Dot(const float* const pSrc1[3], const float* const pSrc2[3], const int32_t* pMask,
              float* pDst, int32_t len) {
  if (!pSrc1) return StatusNullPointer;
  if (!pSrc2) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pDst) return StatusNullPointer;

  const Planes<const float> a = PlanesOf(pSrc1), b = PlanesOf(pSrc2);
  if (AllAligned16(b[0], b[1], b[2], pMask, pDst, a[0], a[1], a[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    DotAligned<W>(a, b, pMask, pDst, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  DotScalar(a, b, pMask, pDst, len);
  return StatusOk;
}

}  // namespace

extern "C" {

qelStatus qelrDot_32f_P3C1M_impl_four(const float* const pSrc1[3], const float* const pSrc2[3],
                                      const int32_t* pMask, float* pDst, int32_t len) {
  return Dot<Width::Four>(pSrc1, pSrc2, pMask, pDst, len);
}

qelStatus qelrDot_32f_P3C1M_impl_eight(const float* const pSrc1[3], const float* const pSrc2[3],
                                       const int32_t* pMask, float* pDst, int32_t len) {
  return Dot<Width::Eight>(pSrc1, pSrc2, pMask, pDst, len);
}

}  // extern "C"

SHADING_CHOOSE_WIDTH(qelrDot_32f_P3C1M_impl)
