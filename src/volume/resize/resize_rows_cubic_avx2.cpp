// The cubic row kernels with AVX2: eight columns or samples a step.
// This file alone is compiled for AVX2 (without FMA: no contraction may
// change a rounding); it is called only on processors that have it.
#include <immintrin.h>

#include <cstring>

#include "volume/resize/resize_rows_cubic_body.h"

namespace {

// Two 128-bit halves as one vector.
inline __m256 Halves(__m128 low, __m128 high) { return _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1); }

inline __m256i Halves(__m128i low, __m128i high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

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

// Columns k and k + 4 of a block of eight, as floats.
template <typename T>
inline __m256 ColumnPair(const T* src, const int32_t* index, int k) {
  const T* low = src + index[k] - 1;
  const T* high = src + index[k + 4] - 1;
  if constexpr (sizeof(T) == 4)
    return Halves(ColumnOf(low), ColumnOf(high));
  else
    return _mm256_cvtepi32_ps(Halves(ColumnOf(low), ColumnOf(high)));
}

// Transposes within each 128-bit half: element j of half h of result r is
// element r of half h of input j.
inline void TransposeHalves(__m256& a0, __m256& a1, __m256& a2, __m256& a3) {
  const __m256 t0 = _mm256_unpacklo_ps(a0, a1), t1 = _mm256_unpackhi_ps(a0, a1);
  const __m256 t2 = _mm256_unpacklo_ps(a2, a3), t3 = _mm256_unpackhi_ps(a2, a3);
  a0 = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(1, 0, 1, 0));
  a1 = _mm256_shuffle_ps(t0, t2, _MM_SHUFFLE(3, 2, 3, 2));
  a2 = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(1, 0, 1, 0));
  a3 = _mm256_shuffle_ps(t1, t3, _MM_SHUFFLE(3, 2, 3, 2));
}

// Sixteen 16-bit samples split into the even ones and the odd ones, as
// floats, in order.
inline void EvenOdd(__m256i words, __m256& even, __m256& odd) {
  even = _mm256_cvtepi32_ps(_mm256_and_si256(words, _mm256_set1_epi32(0xFFFF)));
  odd = _mm256_cvtepi32_ps(_mm256_srli_epi32(words, 16));
}

inline __m128 Load4(const float* p) { return _mm_loadu_ps(p); }

struct AvxOps {
  using F = __m256;
  struct Taps {
    F s0, s1, s2, s3;  // first, second, third and fourth taps of the columns
  };
  static constexpr int kWidth = 8;
  static F Load(const float* p) { return _mm256_load_ps(p); }
  static F LoadU(const float* p) { return _mm256_loadu_ps(p); }
  static void Store(float* p, F v) { _mm256_store_ps(p, v); }
  static void StoreU(float* p, F v) { _mm256_storeu_ps(p, v); }
  static F Splat(float f) { return _mm256_set1_ps(f); }
  static F Mul(F a, F b) { return _mm256_mul_ps(a, b); }
  static F Add(F a, F b) { return _mm256_add_ps(a, b); }

  // Columns start at p[0], p[2], ..., p[14]: taps 0 and 1 are the even and
  // odd samples of p[0 .. 15], taps 2 and 3 those of p[2 .. 17].
  static Taps StepTwoTaps(const uint8_t* p) {
    Taps t;
    EvenOdd(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))), t.s0, t.s1);
    EvenOdd(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2))), t.s2, t.s3);
    return t;
  }

  static Taps StepTwoTaps(const uint16_t* p) {
    Taps t;
    EvenOdd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), t.s0, t.s1);
    EvenOdd(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2)), t.s2, t.s3);
    return t;
  }

  // The halves are loaded so that an in-lane shuffle leaves the columns in
  // order: p[0 .. 3] beside p[8 .. 11] and p[4 .. 7] beside p[12 .. 15].
  static Taps StepTwoTaps(const float* p) {
    const F a = Halves(Load4(p), Load4(p + 8)), b = Halves(Load4(p + 4), Load4(p + 12));
    const F c = Halves(Load4(p + 2), Load4(p + 10)), d = Halves(Load4(p + 6), Load4(p + 14));
    return {_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)),
            _mm256_shuffle_ps(c, d, _MM_SHUFFLE(2, 0, 2, 0)), _mm256_shuffle_ps(c, d, _MM_SHUFFLE(3, 1, 3, 1))};
  }

  template <typename T>
  static Taps ColumnTaps(const T* src, const int32_t* index) {
    Taps t = {ColumnPair(src, index, 0), ColumnPair(src, index, 1), ColumnPair(src, index, 2),
                 ColumnPair(src, index, 3)};
    TransposeHalves(t.s0, t.s1, t.s2, t.s3);
    return t;
  }

  // Truncate, pack to signed 16 bits, pack to unsigned 8 bits.
  static void StoreBlend(uint8_t* dst, F v) {
    const __m256i wide = _mm256_cvttps_epi32(_mm256_add_ps(v, _mm256_set1_ps(kHalfUp32f)));
    const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(words, words));
  }

  // Truncate, add -32768 with wrap-around, pack to signed 16 bits, add
  // 32768 modulo 65536.
  static void StoreBlend(uint16_t* dst, F v) {
    __m256i wide = _mm256_cvttps_epi32(_mm256_add_ps(v, _mm256_set1_ps(kHalfUp32f)));
    wide = _mm256_add_epi32(wide, _mm256_set1_epi32(-32768));
    const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(wide), _mm256_extracti128_si256(wide, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_add_epi16(words, _mm_set1_epi16(-32768)));
  }

  static void StoreBlend(float* dst, F v) { _mm256_storeu_ps(dst, v); }
};

}  // namespace

const CubicKernels& CubicKernelsAvx2() {
  static constexpr CubicKernels kSet = KernelSet<AvxOps>();
  return kSet;
}
