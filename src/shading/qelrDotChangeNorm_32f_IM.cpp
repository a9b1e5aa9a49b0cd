// qelrDotChangeNorm_32f_IM: turns each active normal in pSrcDst to face
// against the ray direction in pSrc.  With
//   d = ((sx * nx) + (sy * ny)) + (sz * nz),
// a normal with d > 0 and d itself change sign, and pDot[i] = d, so pDot is
// never positive.  A masked-out element keeps its normal and gets pDot 0.0.
//
// The scalar path multiplies the normal and d by -1.0 or +1.0; the aligned
// path flips sign bits where d > 0 and otherwise stores the bits it read.
// They differ only for a signaling NaN in an active normal, which the scalar
// multiply by +1.0 quiets.
#include "shading/mask_paths.h"

namespace {

void DotChangeNormScalar(Planes<const float> s, const int32_t* pMask, Planes<float> n,
                         float* pDot, int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (!IsActive(LoadWord(pMask + i))) {
      StoreFloat(pDot + i, 0.0f);
      continue;
    }
    const float nx = LoadFloat(n[0] + i), ny = LoadFloat(n[1] + i), nz = LoadFloat(n[2] + i);
    const float d = ((LoadFloat(s[0] + i) * nx) + (LoadFloat(s[1] + i) * ny)) +
                    (LoadFloat(s[2] + i) * nz);
    // The comparison is strict: a d of 0.0 or NaN keeps the normal's side.
    const float factor = d > 0.0f ? -1.0f : 1.0f;
    StoreFloat(n[0] + i, MulByRuntimeFactor(nx, factor));
    StoreFloat(n[1] + i, MulByRuntimeFactor(ny, factor));
    StoreFloat(n[2] + i, MulByRuntimeFactor(nz, factor));
    StoreFloat(pDot + i, MulByRuntimeFactor(d, factor));
  }
}

// ---- Aligned path: blocks of four, or eight where the processor allows ----

struct Directions {
  __m128 x, y, z;
};

inline Directions LoadDirections(Planes<const float> s, int32_t i) {
  return Directions{_mm_load_ps(s[0] + i), _mm_load_ps(s[1] + i), _mm_load_ps(s[2] + i)};
}

inline void DotChangeNormBlock(Directions direction, const int32_t* pMask, Planes<float> n,
                               float* pDot, int32_t i) {
  const __m128i maskWords = LoadMaskAligned(pMask + i);
  if (MaskBlockCode(maskWords) == kAllMaskedOut) {
    _mm_store_ps(pDot + i, _mm_setzero_ps());  // the normals are not stored at all
    return;
  }
  const __m128 x = _mm_load_ps(n[0] + i);
  const __m128 y = _mm_load_ps(n[1] + i);
  const __m128 z = _mm_load_ps(n[2] + i);
  const __m128 d = _mm_add_ps(_mm_add_ps(_mm_mul_ps(direction.x, x), _mm_mul_ps(direction.y, y)),
                              _mm_mul_ps(direction.z, z));
  const __m128 active = ActiveLanes(maskWords);
  const __m128 facingAway = _mm_and_ps(_mm_cmpgt_ps(d, _mm_setzero_ps()), active);
  const __m128 flip = _mm_and_ps(facingAway, _mm_set1_ps(-0.0f));  // sign bits only
  // Masked-out lanes are rewritten with the bits they had.
  _mm_store_ps(n[0] + i, _mm_xor_ps(x, flip));
  _mm_store_ps(n[1] + i, _mm_xor_ps(y, flip));
  _mm_store_ps(n[2] + i, _mm_xor_ps(z, flip));
  _mm_store_ps(pDot + i, _mm_and_ps(_mm_xor_ps(d, flip), active));
}

SHADING_AVX2 void DotChangeNormEight(Planes<const float> s, const int32_t* pMask,
                                     Planes<float> n, float* pDot, int32_t end) {
  for (int32_t i = 0; i < end; i += 8) {
    const __m256 x = _mm256_loadu_ps(n[0] + i);
    const __m256 y = _mm256_loadu_ps(n[1] + i);
    const __m256 z = _mm256_loadu_ps(n[2] + i);
    const __m256 d =
        _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(_mm256_loadu_ps(s[0] + i), x),
                                    _mm256_mul_ps(_mm256_loadu_ps(s[1] + i), y)),
                      _mm256_mul_ps(_mm256_loadu_ps(s[2] + i), z));
    const __m256 active = ActiveLanes8(LoadMask8(pMask + i));
    const __m256 facingAway =
        _mm256_and_ps(_mm256_cmp_ps(d, _mm256_setzero_ps(), _CMP_GT_OS), active);
    const __m256 flip = _mm256_and_ps(facingAway, _mm256_set1_ps(-0.0f));
    StoreActive8(n[0] + i, active, _mm256_xor_ps(x, flip));
    StoreActive8(n[1] + i, active, _mm256_xor_ps(y, flip));
    StoreActive8(n[2] + i, active, _mm256_xor_ps(z, flip));
    _mm256_storeu_ps(pDot + i, _mm256_and_ps(_mm256_xor_ps(d, flip), active));
  }
}

template <Variant V, Width W>
void DotChangeNormAligned(Planes<const float> s, const int32_t* pMask, Planes<float> n,
                          float* pDot, int32_t len) {
  int32_t begin = 0;
  if constexpr (W == Width::Eight) {
    begin = EightWideEnd(0, len);
    DotChangeNormEight(s, pMask, n, pDot, begin);
  }
  RunBlocksWithOperand<V>(
      begin, len, [=](int32_t i) { return LoadDirections(s, i); },
      [=](int32_t i, Directions direction) { DotChangeNormBlock(direction, pMask, n, pDot, i); });
}

template <Variant V, Width W>
qelStatus DotChangeNorm(const float* const pSrc[3], const int32_t* pMask,
                        float* const pSrcDst[3], float* pDot, int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;
  if (!pDot) return StatusNullPointer;

  const Planes<const float> s = PlanesOf(pSrc);
  const Planes<float> n = PlanesOf(pSrcDst);
  if (AllAligned16(s[0], s[1], s[2], pMask, pDot, n[0], n[1], n[2]) && IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    DotChangeNormAligned<V, W>(s, pMask, n, pDot, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  DotChangeNormScalar(s, pMask, n, pDot, len);
  return StatusOk;
}

}  // namespace

extern "C" {

qelStatus qelrDotChangeNorm_32f_IM_v8_four(const float* const pSrc[3], const int32_t* pMask,
                                           float* const pSrcDst[3], float* pDot, int32_t len) {
  return DotChangeNorm<Variant::V8, Width::Four>(pSrc, pMask, pSrcDst, pDot, len);
}

qelStatus qelrDotChangeNorm_32f_IM_v8_eight(const float* const pSrc[3], const int32_t* pMask,
                                            float* const pSrcDst[3], float* pDot, int32_t len) {
  return DotChangeNorm<Variant::V8, Width::Eight>(pSrc, pMask, pSrcDst, pDot, len);
}

qelStatus qelrDotChangeNorm_32f_IM_s8_four(const float* const pSrc[3], const int32_t* pMask,
                                           float* const pSrcDst[3], float* pDot, int32_t len) {
  return DotChangeNorm<Variant::S8, Width::Four>(pSrc, pMask, pSrcDst, pDot, len);
}

qelStatus qelrDotChangeNorm_32f_IM_s8_eight(const float* const pSrc[3], const int32_t* pMask,
                                            float* const pSrcDst[3], float* pDot, int32_t len) {
  return DotChangeNorm<Variant::S8, Width::Eight>(pSrc, pMask, pSrcDst, pDot, len);
}

}  // extern "C"

SHADING_CHOOSE_WIDTH(qelrDotChangeNorm_32f_IM_v8)
SHADING_CHOOSE_WIDTH(qelrDotChangeNorm_32f_IM_s8)
