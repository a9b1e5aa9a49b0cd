// Plain element-by-element loops of the shading arithmetic: the baseline the
// library's vector paths are measured against.  Compiled without automatic
// vectorisation.
#pragma once

#include <cstdint>

void ScalarAddMulMul(const float coef[3], const float* src1, const float* const src2[3],
                     const int32_t* mask, float* const dst[3], int32_t len);
void ScalarDiv(const float* src, const int32_t* mask, float* dst, int32_t len);
void ScalarDotChangeNorm(const float* const src[3], const int32_t* mask, float* const normal[3],
                         float* dot, int32_t len);
void ScalarDot(const float* const a[3], const float* const b[3], const int32_t* mask, float* dst,
               int32_t len);
void ScalarMulC1(const float* src, const int32_t* mask, float* dst, int32_t len);
void ScalarMulC1P3(const float* src, const int32_t* mask, float* const dst[3], int32_t len);
