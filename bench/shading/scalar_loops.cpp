#include "scalar_loops.h"

#include <limits>

void ScalarAddMulMul(const float coef[3], const float* src1, const float* const src2[3],
                     const int32_t* mask, float* const dst[3], int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (mask[i] < 0) continue;
    for (int c = 0; c < 3; ++c) dst[c][i] = ((coef[c] * src2[c][i]) * src1[i]) + dst[c][i];
  }
}

void ScalarDiv(const float* src, const int32_t* mask, float* dst, int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (mask[i] < 0) {
      dst[i] = 0.0f;
    } else if (src[i] == 0.0f) {
      dst[i] = dst[i] > 0.0f ? std::numeric_limits<float>::infinity()
                             : -std::numeric_limits<float>::infinity();
    } else {
      dst[i] = dst[i] / src[i];
    }
  }
}

void ScalarDotChangeNorm(const float* const src[3], const int32_t* mask, float* const normal[3],
                         float* dot, int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    if (mask[i] < 0) {
      dot[i] = 0.0f;
      continue;
    }
    const float d = ((src[0][i] * normal[0][i]) + (src[1][i] * normal[1][i])) +
                    (src[2][i] * normal[2][i]);
    const float f = d > 0.0f ? -1.0f : 1.0f;
    for (int c = 0; c < 3; ++c) normal[c][i] *= f;
    dot[i] = d * f;
  }
}

void ScalarDot(const float* const a[3], const float* const b[3], const int32_t* mask, float* dst,
               int32_t len) {
  for (int32_t i = 0; i < len; ++i)
    dst[i] = mask[i] < 0 ? 0.0f : ((a[0][i] * b[0][i]) + (a[1][i] * b[1][i])) + (a[2][i] * b[2][i]);
}

void ScalarMulC1(const float* src, const int32_t* mask, float* dst, int32_t len) {
  for (int32_t i = 0; i < len; ++i) dst[i] = (dst[i] * src[i]) * (mask[i] < 0 ? 0.0f : 1.0f);
}

void ScalarMulC1P3(const float* src, const int32_t* mask, float* const dst[3], int32_t len) {
  for (int32_t i = 0; i < len; ++i) {
    const float factor = mask[i] < 0 ? 0.0f : 1.0f;
    for (int c = 0; c < 3; ++c) dst[c][i] = (dst[c][i] * src[i]) * factor;
  }
}
