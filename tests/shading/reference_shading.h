// Plain scalar models of the masked shading functions, one element at a
// time, each operation a single float operation rounded to 32 bits.  `at`
// holds where the library's operands sat (byte address modulo 16, one entry
// per array in argument order, planes in turn); the models choose the path
// from it as the library must.
#pragma once

#include "qelr.h"
#include "test_util.h"

namespace ref {

inline bool Active(int32_t maskWord) { return maskWord >= 0; }

// All of the operands at[first..last] on a 16-byte boundary, and len a
// multiple of 4 (a negative one included).
inline bool AlignedPath(const int* at, int first, int last, int32_t len) {
  for (int k = first; k <= last; ++k)
    if (at[k] != 0) return false;
  return len % 4 == 0;
}

// A real multiplication even by -1 or +1, which a compiler would otherwise
// turn into a sign operation (that leaves a signaling NaN signaling).
inline float Multiply(float a, float b) {
  volatile float factor = b;
  return a * factor;
}

// Whether element i lies in the body [head, end) of the blocked path, whose
// head and tail run scalar; a is the anchor's offset.
inline bool InBlockedBody(int a, int32_t len, int32_t i) {
  const int32_t head = a == 0 ? 0 : (16 - a) / 4;
  if (len < 4 || a % 4 != 0 || head + 4 > len) return false;
  return i >= head && i < len - (len - head) % 4;
}

// ---- qelrMul_32f_C1IM: one formula on every path --------------------------

inline qelStatus MulC1IM(const int* /*at*/, const float* src, const int32_t* mask, float* dst, int32_t len) {
  for (int32_t i = 0; i < len; ++i)
    dst[i] = (dst[i] * src[i]) * (Active(mask[i]) ? 1.0f : 0.0f);
  return StatusOk;
}

// ---- qelrMul_32f_C1P3IM ------------------------------------------------------

// at: src, mask, dst[0..2]
inline qelStatus MulC1P3IM(const int* at, const float* src, const int32_t* mask,
                           float* const dst[3], int32_t len) {
  const bool aligned = AlignedPath(at, 0, 4, len);
  for (int32_t i = 0; i < len; ++i)
    for (int c = 0; c < 3; ++c) {
      if (aligned)
        dst[c][i] = Active(mask[i]) ? dst[c][i] * src[i] : 0.0f;
      else
        dst[c][i] = (dst[c][i] * src[i]) * (Active(mask[i]) ? 1.0f : 0.0f);
    }
  return StatusOk;
}

// ---- qelrAddMulMul_32f_AC1P3IM ---------------------------------------------

// at: src1, src2[0..2], mask, dst[0..2]; the src2 planes are not tested.
inline qelStatus AddMulMul(const int* at, const float coef[3], const float* src1,
                           const float* const src2[3], const int32_t* mask, float* const dst[3],
                           int32_t len) {
  const bool aligned = at[0] == 0 && AlignedPath(at, 4, 7, len);
  for (int32_t i = 0; i < len; ++i)
    for (int c = 0; c < 3; ++c) {
      if (aligned) {
        if (Active(mask[i])) dst[c][i] = ((src2[c][i] * src1[i]) * coef[c]) + dst[c][i];
      } else if (Active(mask[i])) {
        dst[c][i] = ((coef[c] * src2[c][i]) * src1[i]) + dst[c][i];
      } else if (InBlockedBody(at[0], len, i)) {
        dst[c][i] = 0.0f + dst[c][i];  // a cleared product is still added
      }
    }
  return StatusOk;
}

// ---- qelrDot_32f_P3C1M: one formula on both paths ---------------------------

inline qelStatus Dot(const int* /*at*/, const float* const a[3], const float* const b[3], const int32_t* mask,
                     float* dst, int32_t len) {
  for (int32_t i = 0; i < len; ++i)
    dst[i] = Active(mask[i]) ? ((a[0][i] * b[0][i]) + (a[1][i] * b[1][i])) + (a[2][i] * b[2][i])
                             : 0.0f;
  return StatusOk;
}

// ---- qelrDotChangeNorm_32f_IM ------------------------------------------------

// at: s[0..2], mask, n[0..2], dot; every one of them is tested.
inline qelStatus DotChangeNorm(const int* at, const float* const s[3], const int32_t* mask,
                               float* const n[3], float* dot, int32_t len) {
  const bool aligned = AlignedPath(at, 0, 7, len);
  for (int32_t i = 0; i < len; ++i) {
    if (!Active(mask[i])) {
      dot[i] = 0.0f;
      continue;
    }
    const float d = ((s[0][i] * n[0][i]) + (s[1][i] * n[1][i])) + (s[2][i] * n[2][i]);
    if (aligned) {
      const uint32_t flip = d > 0.0f ? 0x80000000u : 0u;
      for (int c = 0; c < 3; ++c) n[c][i] = qt::FromBits(qt::Bits(n[c][i]) ^ flip);
      dot[i] = qt::FromBits(qt::Bits(d) ^ flip);
    } else {
      const float f = d > 0.0f ? -1.0f : 1.0f;
      for (int c = 0; c < 3; ++c) n[c][i] = Multiply(n[c][i], f);
      dot[i] = Multiply(d, f);
    }
  }
  return StatusOk;
}

// ---- qelrDiv_32f_C1IM: scalar only --------------------------------------------

inline qelStatus Div(const int* /*at*/, const float* src, const int32_t* mask, float* dst, int32_t len) {
  qelStatus status = StatusOk;
  for (int32_t i = 0; i < len; ++i) {
    if (!Active(mask[i])) {
      dst[i] = 0.0f;
    } else if (src[i] == 0.0f) {
      const float n = dst[i];
      dst[i] = qt::FromBits(n > 0.0f ? 0x7F800000u : n < 0.0f ? 0xFF800000u : 0xFFC00000u);
      status = StatusDivByZero;
    } else {
      dst[i] = dst[i] / src[i];
    }
  }
  return status;
}

}  // namespace ref
