// qelrCastEye_32f: directions of a block of eye rays of a pinhole camera.
//
// Two forms with different roundings, both kept: the scalar form computes
// each direction from its pixel position, the vector form (widths that are
// multiples of 4) adds the row step to a running row base, so its rounding
// accumulates down the block.
#include <emmintrin.h>

#include "frame/qelr_internal.h"
#include "raycast/ray_block.h"

namespace {

void CastEyeScalar(const float* pOrigin, const float* pStepX, const float* pStepY, float X, float Y,
                   float* const pDirection[3], qelrSize size) {
  for (int32_t k = 0; k < 3; ++k) {
    float* plane = pDirection[k];
    for (int32_t row = 0; row < size.height; ++row) {
      const float rowPart = (pStepY[k] * (static_cast<float>(row) + Y)) + pOrigin[k];
      for (int32_t col = 0; col < size.width; ++col)
        plane[static_cast<int64_t>(row) * size.width + col] =
            rowPart + (pStepX[k] * (static_cast<float>(col) + X));
    }
  }
}

template <bool Aligned>
void CastEyeVector(const float* pOrigin, const float* pStepX, const float* pStepY, float X, float Y,
                   float* const pDirection[3], qelrSize size) {
  for (int32_t k = 0; k < 3; ++k) {
    float* plane = pDirection[k];
    const __m128 stepX = _mm_set1_ps(pStepX[k]);
    float base = ((pStepY[k] * Y) + pOrigin[k]) + (pStepX[k] * X);
    for (int32_t row = 0; row < size.height; ++row) {
      float* out = plane + static_cast<int64_t>(row) * size.width;
      const __m128 rowBase = _mm_set1_ps(base);
      __m128 columns = _mm_setr_ps(0.0f, 1.0f, 2.0f, 3.0f);
      for (int32_t col = 0; col < size.width; col += 4) {
        const __m128 value = _mm_add_ps(_mm_mul_ps(stepX, columns), rowBase);
        if (Aligned)
          _mm_store_ps(out + col, value);
        else
          _mm_storeu_ps(out + col, value);
        columns = _mm_add_ps(columns, _mm_set1_ps(4.0f));
      }
      base += pStepY[k];
    }
  }
}

}  // namespace

extern "C" qelStatus qelrCastEye_32f_impl(const float* pOrigin, const float* pStepX, const float* pStepY,
                                          int32_t blockCol, int32_t blockRow, qelrSize blockSize,
                                          float* const pDirection[3], qelrSize size) {
  if (pDirection == nullptr) return StatusNullPointer;
  if (size.width <= 0 || size.height <= 0) return StatusOk;
  // The block's pixel offset, multiplied in 32-bit integers (wrapping).
  const float X = static_cast<float>(static_cast<int32_t>(static_cast<uint32_t>(blockCol) *
                                                          static_cast<uint32_t>(blockSize.width)));
  const float Y = static_cast<float>(static_cast<int32_t>(static_cast<uint32_t>(blockRow) *
                                                          static_cast<uint32_t>(blockSize.height)));
  if (size.width % 4 != 0)
    CastEyeScalar(pOrigin, pStepX, pStepY, X, Y, pDirection, size);
  else if (IsAligned16(pDirection[0]) && IsAligned16(pDirection[1]) && IsAligned16(pDirection[2]))
    CastEyeVector<true>(pOrigin, pStepX, pStepY, X, Y, pDirection, size);
  else
    CastEyeVector<false>(pOrigin, pStepX, pStepY, X, Y, pDirection, size);
  return StatusOk;
}
