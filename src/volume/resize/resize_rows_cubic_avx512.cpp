// The cubic row kernels with AVX-512: sixteen columns or samples a step.
// This file alone is compiled for AVX-512 F, BW and VL (without FMA: no
// contraction may change a rounding); it is called only on processors that
// have them.
#include <immintrin.h>

#include <cstring>

#include "volume/resize/resize_rows_cubic_body.h"

namespace {

// The four taps of one column as 32-bit integers, or floats.
inline __m128i ColumnOf(const uint8_t* p) {
  int32_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes));
}

inline __m128i ColumnOf(const uint16_t* p) {
  return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

inline __m128 ColumnOf(const float* p) { return _mm_loadu_ps(p); }

// Columns k, k + 4, k + 8 and k + 12 of a block of sixteen, one per 128-bit
// lane, as floats.
template <typename T>
inline __m512 ColumnQuad(const T* src, const int32_t* index, int k) {
  const T* p[4] = {src + index[k] - 1, src + index[k + 4] - 1, src + index[k + 8] - 1, src + index[k + 12] - 1};
  if constexpr (sizeof(T) == 4) {
    __m512 v = _mm512_zextps128_ps512(ColumnOf(p[0]));
    v = _mm512_insertf32x4(v, ColumnOf(p[1]), 1);
    v = _mm512_insertf32x4(v, ColumnOf(p[2]), 2);
    return _mm512_insertf32x4(v, ColumnOf(p[3]), 3);
  } else {
    __m512i v = _mm512_zextsi128_si512(ColumnOf(p[0]));
    v = _mm512_inserti32x4(v, ColumnOf(p[1]), 1);
    v = _mm512_inserti32x4(v, ColumnOf(p[2]), 2);
    return _mm512_cvtepi32_ps(_mm512_inserti32x4(v, ColumnOf(p[3]), 3));
  }
}

// Transposes within each 128-bit lane: element j of lane l of result r is
// element r of lane l of input j.
inline void TransposeLanes(__m512& a0, __m512& a1, __m512& a2, __m512& a3) {
  const __m512 t0 = _mm512_unpacklo_ps(a0, a1), t1 = _mm512_unpackhi_ps(a0, a1);
  const __m512 t2 = _mm512_unpacklo_ps(a2, a3), t3 = _mm512_unpackhi_ps(a2, a3);
  a0 = _mm512_shuffle_ps(t0, t2, _MM_SHUFFLE(1, 0, 1, 0));
  a1 = _mm512_shuffle_ps(t0, t2, _MM_SHUFFLE(3, 2, 3, 2));
  a2 = _mm512_shuffle_ps(t1, t3, _MM_SHUFFLE(1, 0, 1, 0));
  a3 = _mm512_shuffle_ps(t1, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

// Thirty-two 16-bit samples split into the even ones and the odd ones, as
// floats, in order.
inline void EvenOdd(__m512i words, __m512& even, __m512& odd) {
  even = _mm512_cvtepi32_ps(_mm512_and_si512(words, _mm512_set1_epi32(0xFFFF)));
  odd = _mm512_cvtepi32_ps(_mm512_srli_epi32(words, 16));
}

struct Avx512Ops {
  using F = __m512;
  struct Taps {
    F s0, s1, s2, s3;  // first, second, third and fourth taps of the columns
  };
  static constexpr int kWidth = 16;
  static F Load(const float* p) { return _mm512_load_ps(p); }
  static F LoadU(const float* p) { return _mm512_loadu_ps(p); }
  static void Store(float* p, F v) { _mm512_store_ps(p, v); }
  static void StoreU(float* p, F v) { _mm512_storeu_ps(p, v); }
  static F Splat(float f) { return _mm512_set1_ps(f); }
  static F Mul(F a, F b) { return _mm512_mul_ps(a, b); }
  static F Add(F a, F b) { return _mm512_add_ps(a, b); }

  // Columns start at p[0], p[2], ..., p[30]: taps 0 and 1 are the even and
  // odd samples of p[0 .. 31], taps 2 and 3 those of p[2 .. 33].
  static Taps StepTwoTaps(const uint8_t* p) {
    Taps t;
    EvenOdd(_mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))), t.s0, t.s1);
    EvenOdd(_mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2))), t.s2, t.s3);
    return t;
  }

  static Taps StepTwoTaps(const uint16_t* p) {
    Taps t;
    EvenOdd(_mm512_loadu_si512(p), t.s0, t.s1);
    EvenOdd(_mm512_loadu_si512(p + 2), t.s2, t.s3);
    return t;
  }

  static Taps StepTwoTaps(const float* p) {
    const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const __m512i odd = _mm512_add_epi32(even, _mm512_set1_epi32(1));
    const F a = _mm512_loadu_ps(p), b = _mm512_loadu_ps(p + 16);
    const F c = _mm512_loadu_ps(p + 2), d = _mm512_loadu_ps(p + 18);
    return {_mm512_permutex2var_ps(a, even, b), _mm512_permutex2var_ps(a, odd, b),
            _mm512_permutex2var_ps(c, even, d), _mm512_permutex2var_ps(c, odd, d)};
  }

  template <typename T>
  static Taps ColumnTaps(const T* src, const int32_t* index) {
    Taps t = {ColumnQuad(src, index, 0), ColumnQuad(src, index, 1), ColumnQuad(src, index, 2),
              ColumnQuad(src, index, 3)};
    TransposeLanes(t.s0, t.s1, t.s2, t.s3);
    return t;
  }

  // Truncate and saturate to 0 .. 255, as packing to signed 16 bits and then
  // to unsigned 8 bits does.
  static void StoreBlend(uint8_t* dst, F v) {
    __m512i wide = _mm512_cvttps_epi32(_mm512_add_ps(v, _mm512_set1_ps(kHalfUp32f)));
    wide = _mm512_min_epi32(_mm512_max_epi32(wide, _mm512_setzero_si512()), _mm512_set1_epi32(255));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm512_cvtepi32_epi8(wide));
  }

  // Truncate, add -32768 with wrap-around, saturate to signed 16 bits, add
  // 32768 modulo 65536.
  static void StoreBlend(uint16_t* dst, F v) {
    __m512i wide = _mm512_cvttps_epi32(_mm512_add_ps(v, _mm512_set1_ps(kHalfUp32f)));
    wide = _mm512_add_epi32(wide, _mm512_set1_epi32(-32768));
    const __m256i words = _mm512_cvtsepi32_epi16(wide);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), _mm256_add_epi16(words, _mm256_set1_epi16(-32768)));
  }

  static void StoreBlend(float* dst, F v) { _mm512_storeu_ps(dst, v); }
};

}  // namespace

const CubicKernels& CubicKernelsAvx512() {
  static constexpr CubicKernels kSet = KernelSet<Avx512Ops>();
  return kSet;
}
