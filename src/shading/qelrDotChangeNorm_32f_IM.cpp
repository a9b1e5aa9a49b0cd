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

void DotChangeNormScalar(const float* const pSrc[3], const int32_t* pMask,
                         float* const pSrcDst[3], float* pDot, int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (!IsActive(LoadWord(pMask + i))) {
      StoreFloat(pDot + i, 0.0f);
      continue;
    }
    float n[3];
    for (int c = 0; c < 3; ++c) n[c] = LoadFloat(pSrcDst[c] + i);
    const float d = ((LoadFloat(pSrc[0] + i) * n[0]) + (LoadFloat(pSrc[1] + i) * n[1])) +
                    (LoadFloat(pSrc[2] + i) * n[2]);
    // The comparison is strict: a d of 0.0 or NaN keeps the normal's side.
    const float factor = d > 0.0f ? -1.0f : 1.0f;
    for (int c = 0; c < 3; ++c) StoreFloat(pSrcDst[c] + i, MulByRuntimeFactor(n[c], factor));
    StoreFloat(pDot + i, MulByRuntimeFactor(d, factor));
  }
}

struct Directions {
  __m128 x, y, z;
};

template <Variant V>
void DotChangeNormAligned(const float* const pSrc[3], const int32_t* pMask,
                          float* const pSrcDst[3], float* pDot, int32_t len) {
  float* const nx = pSrcDst[0];
  float* const ny = pSrcDst[1];
  float* const nz = pSrcDst[2];
  const auto loadDirections = [=](int32_t i) {
    return Directions{_mm_load_ps(pSrc[0] + i), _mm_load_ps(pSrc[1] + i),
                      _mm_load_ps(pSrc[2] + i)};
  };
  RunBlocksWithOperand<V>(0, len, loadDirections, [=](int32_t i, Directions s) {
    const __m128i maskWords = LoadMaskAligned(pMask + i);
    if (MaskBlockCode(maskWords) == kAllMaskedOut) {
      _mm_store_ps(pDot + i, _mm_setzero_ps());  // the normals are not stored at all
      return;
    }
    const __m128 x = _mm_load_ps(nx + i);
    const __m128 y = _mm_load_ps(ny + i);
    const __m128 z = _mm_load_ps(nz + i);
    const __m128 d =
        _mm_add_ps(_mm_add_ps(_mm_mul_ps(s.x, x), _mm_mul_ps(s.y, y)), _mm_mul_ps(s.z, z));
    const __m128 active = ActiveLanes(maskWords);
    const __m128 facingAway = _mm_and_ps(_mm_cmpgt_ps(d, _mm_setzero_ps()), active);
    const __m128 flip = _mm_and_ps(facingAway, _mm_set1_ps(-0.0f));  // sign bits only
    // Masked-out lanes are rewritten with the bits they had.
    _mm_store_ps(nx + i, _mm_xor_ps(x, flip));
    _mm_store_ps(ny + i, _mm_xor_ps(y, flip));
    _mm_store_ps(nz + i, _mm_xor_ps(z, flip));
    _mm_store_ps(pDot + i, _mm_and_ps(_mm_xor_ps(d, flip), active));
  });
}

template <Variant V>
qelStatus DotChangeNorm(const float* const pSrc[3], const int32_t* pMask,
                        float* const pSrcDst[3], float* pDot, int32_t len) {
  if (!pSrc) return StatusNullPointer;
  if (!pMask) return StatusNullPointer;
  if (!pSrcDst) return StatusNullPointer;
  if (!pDot) return StatusNullPointer;

  if (AllAligned16(pSrc[0], pSrc[1], pSrc[2], pMask, pDot, pSrcDst[0], pSrcDst[1], pSrcDst[2]) &&
      IsMultipleOf4(len)) {
    if (len < 1) return StatusOk;
    DotChangeNormAligned<V>(pSrc, pMask, pSrcDst, pDot, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  DotChangeNormScalar(pSrc, pMask, pSrcDst, pDot, len);
  return StatusOk;
}

}  // namespace

extern "C" qelStatus qelrDotChangeNorm_32f_IM_v8(const float* const pSrc[3], const int32_t* pMask,
                                                 float* const pSrcDst[3], float* pDot,
                                                 int32_t len) {
  return DotChangeNorm<Variant::V8>(pSrc, pMask, pSrcDst, pDot, len);
}

extern "C" qelStatus qelrDotChangeNorm_32f_IM_s8(const float* const pSrc[3], const int32_t* pMask,
                                                 float* const pSrcDst[3], float* pDot,
                                                 int32_t len) {
  return DotChangeNorm<Variant::S8>(pSrc, pMask, pSrcDst, pDot, len);
}
