// qelrAddMulMul_32f_AC1P3IM: for each plane c, an active element gains
// pCoef[c] times pSrc2[c][i] times pSrc1[i]; a masked-out element keeps its
// value.
//
// The paths differ in the last bit and at signed zeros, and the differences
// are kept:
// - scalar head and tail: ((pCoef[c] * pSrc2[c][i]) * pSrc1[i]) + pSrcDst,
//   masked-out elements neither read nor written;
// - blocked body: the same sum, and a masked-out lane adds a product cleared
//   to +0.0, so -0.0 there becomes +0.0;
// - aligned: ((pSrc2[c][i] * pSrc1[i]) * pCoef[c]) + pSrcDst, masked-out
//   lanes merged back with their exact bits.
// The aligned path reads the pSrc2 planes with aligned loads without testing
// them: when the tested operands are aligned, the caller must align pSrc2.
#include "shading/mask_paths.h"

namespace {

// ---- Scalar formula (head and tail of the blocked path) ------------------

void AddMulMulElement(const float pCoef[3], const float* pSrc1, Planes<const float> src2,
                      const int32_t* pMask, Planes<float> dst, int32_t i) {
  if (!IsActive(LoadWord(pMask + i))) return;
  const float source1 = LoadFloat(pSrc1 + i);
  for (int c = 0; c < 3; ++c) {
    const float product = (pCoef[c] * LoadFloat(src2[c] + i)) * source1;
    StoreFloat(dst[c] + i, product + LoadFloat(dst[c] + i));
  }
}

// ---- Blocked path: pSrc1 is the anchor, read aligned ---------------------

void AddMulMulBlock(const __m128 coef[3], const float* pSrc1, Planes<const float> src2,
                    const int32_t* pMask, Planes<float> dst, int32_t i) {
  const __m128 active = ActiveLanes(LoadMaskUnaligned(pMask + i));
  const __m128 source1 = _mm_load_ps(pSrc1 + i);
  for (int c = 0; c < 3; ++c) {
    const __m128 product = _mm_mul_ps(_mm_mul_ps(coef[c], _mm_loadu_ps(src2[c] + i)), source1);
    const __m128 sum = _mm_add_ps(_mm_and_ps(product, active), _mm_loadu_ps(dst[c] + i));
    _mm_storeu_ps(dst[c] + i, sum);
  }
}

SHADING_AVX2 void AddMulMulBlockedEight(const float pCoef[3], const float* pSrc1,
                                        Planes<const float> src2, const int32_t* pMask,
                                        Planes<float> dst, int32_t begin, int32_t end) {
  const __m256 coef[3] = {_mm256_set1_ps(pCoef[0]), _mm256_set1_ps(pCoef[1]),
                          _mm256_set1_ps(pCoef[2])};
  for (int32_t i = begin; i < end; i += 8) {
    const __m256 active = ActiveLanes8(LoadMask8(pMask + i));
    const __m256 source1 = _mm256_loadu_ps(pSrc1 + i);
    for (int c = 0; c < 3; ++c) {
      const __m256 product =
          _mm256_mul_ps(_mm256_mul_ps(coef[c], _mm256_loadu_ps(src2[c] + i)), source1);
      const __m256 sum = _mm256_add_ps(_mm256_and_ps(product, active), _mm256_loadu_ps(dst[c] + i));
      _mm256_storeu_ps(dst[c] + i, sum);
    }
  }
}

template <Width W>
void AddMulMulBlocked(const float pCoef[3], const float* pSrc1, Planes<const float> src2,
                      const int32_t* pMask, Planes<float> dst, int32_t len) {
  const __m128 coef[3] = {_mm_set1_ps(pCoef[0]), _mm_set1_ps(pCoef[1]), _mm_set1_ps(pCoef[2])};
  RunBlocked(
      SplitAtAnchor(pSrc1, len), len,
      [=](int32_t i) { AddMulMulElement(pCoef, pSrc1, src2, pMask, dst, i); },
      [&](int32_t begin, int32_t end) {
        if constexpr (W == Width::Eight) {
          const int32_t wideEnd = EightWideEnd(begin, end);
          AddMulMulBlockedEight(pCoef, pSrc1, src2, pMask, dst, begin, wideEnd);
          begin = wideEnd;
        }
        for (int32_t i = begin; i < end; i += 4) AddMulMulBlock(coef, pSrc1, src2, pMask, dst, i);
      });
}

// ---- Aligned path: blocks of four, or eight where the processor allows ----

void AddMulMulAlignedBlock(const __m128 coef[3], const float* pSrc1, Planes<const float> src2,
                           const int32_t* pMask, Planes<float> dst, int32_t i) {
  const __m128i maskWords = LoadMaskAligned(pMask + i);
  const int code = MaskBlockCode(maskWords);
  if (code == kAllMaskedOut) return;
  const __m128 source1 = _mm_load_ps(pSrc1 + i);
  __m128 product[3];
  for (int c = 0; c < 3; ++c)
    product[c] = _mm_mul_ps(_mm_mul_ps(_mm_load_ps(src2[c] + i), source1), coef[c]);
  if (code == kAllActive) {
    for (int c = 0; c < 3; ++c)
      _mm_store_ps(dst[c] + i, _mm_add_ps(product[c], _mm_load_ps(dst[c] + i)));
    return;
  }
  // Mixed block: sum every lane against a destination cleared where masked
  // out, then put the untouched destination back in those lanes.
  const __m128 active = ActiveLanes(maskWords);
  for (int c = 0; c < 3; ++c) {
    const __m128 destination = _mm_load_ps(dst[c] + i);
    const __m128 sum = _mm_add_ps(product[c], _mm_and_ps(destination, active));
    const __m128 merged = _mm_or_ps(_mm_and_ps(sum, active), _mm_andnot_ps(active, destination));
    _mm_store_ps(dst[c] + i, merged);
  }
}

// Eight lanes at a time: an active lane gets product + destination, which is
// what both the all-active and the mixed formula give it, and a masked-out
// lane is not written.
SHADING_AVX2 void AddMulMulAlignedEight(const float pCoef[3], const float* pSrc1,
                                        Planes<const float> src2, const int32_t* pMask,
                                        Planes<float> dst, int32_t end) {
  const __m256 coef[3] = {_mm256_set1_ps(pCoef[0]), _mm256_set1_ps(pCoef[1]),
                          _mm256_set1_ps(pCoef[2])};
  for (int32_t i = 0; i < end; i += 8) {
    const __m256 active = ActiveLanes8(LoadMask8(pMask + i));
    const __m256 source1 = _mm256_loadu_ps(pSrc1 + i);
    for (int c = 0; c < 3; ++c) {
      const __m256 product =
          _mm256_mul_ps(_mm256_mul_ps(_mm256_loadu_ps(src2[c] + i), source1), coef[c]);
      StoreActive8(dst[c] + i, active, _mm256_add_ps(product, _mm256_loadu_ps(dst[c] + i)));
    }
  }
}

template <Width W>
void AddMulMulAligned(const float pCoef[3], const float* pSrc1, Planes<const float> src2,
                      const int32_t* pMask, Planes<float> dst, int32_t len) {
  int32_t begin = 0;
  if constexpr (W == Width::Eight) {
    begin = EightWideEnd(0, len);
    AddMulMulAlignedEight(pCoef, pSrc1, src2, pMask, dst, begin);
  }
  const __m128 coef[3] = {_mm_set1_ps(pCoef[0]), _mm_set1_ps(pCoef[1]), _mm_set1_ps(pCoef[2])};
  for (int32_t i = begin; i < len; i += 4) AddMulMulAlignedBlock(coef, pSrc1, src2, pMask, dst, i);
}

template <Width W>
qelStatus AddMulMul(const float pCoef[3], const float* pSrc1, const float* const pSrc2[3],
                    const int32_t* pMask, float* const pSrcDst[3], int32_t len) {
  // pCoef is deliberately not checked.
  if (!pSrc1) return StatusNullPointer;
  if (!pSrc2) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;

  const Planes<const float> src2 = PlanesOf(pSrc2);
  const Planes<float> dst = PlanesOf(pSrcDst);
  // The pSrc2 planes are not part of the test (see the top of this file).
  if (AllAligned16(pSrc1, pMask, dst[0], dst[1], dst[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    AddMulMulAligned<W>(pCoef, pSrc1, src2, pMask, dst, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  AddMulMulBlocked<W>(pCoef, pSrc1, src2, pMask, dst, len);
  return StatusOk;
}

}  // namespace

extern "C" {

qelStatus qelrAddMulMul_32f_AC1P3IM_impl_four(const float pCoef[3], const float* pSrc1,
                                              const float* const pSrc2[3], const int32_t* pMask,
                                              float* const pSrcDst[3], int32_t len) {
  return AddMulMul<Width::Four>(pCoef, pSrc1, pSrc2, pMask, pSrcDst, len);
}

qelStatus qelrAddMulMul_32f_AC1P3IM_impl_eight(const float pCoef[3], const float* pSrc1,
                                               const float* const pSrc2[3], const int32_t* pMask,
                                               float* const pSrcDst[3], int32_t len) {
  return AddMulMul<Width::Eight>(pCoef, pSrc1, pSrc2, pMask, pSrcDst, len);
}

}  // extern "C"

SHADING_CHOOSE_WIDTH(qelrAddMulMul_32f_AC1P3IM_impl)
