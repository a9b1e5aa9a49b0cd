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

struct Directions {
  __m128 x, y, z;
};

template <Variant V>
void DotChangeNormAligned(Planes<const float> s, const int32_t* pMask, Planes<float> n,
                          float* pDot, int32_t len) {
  const auto loadDirections = [=](int32_t i) {
    return Directions{_mm_load_ps(s[0] + i), _mm_load_ps(s[1] + i), _mm_load_ps(s[2] + i)};
  };
  RunBlocksWithOperand<V>(0, len, loadDirections, [=](int32_t i, Directions direction) {
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
  });
}

template <Variant V>
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
    DotChangeNormAligned<V>(s, pMask, n, pDot, len);
    return StatusOk;
  }
  if (len < 1) return StatusOk;
  DotChangeNormScalar(s, pMask, n, pDot, len);
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
