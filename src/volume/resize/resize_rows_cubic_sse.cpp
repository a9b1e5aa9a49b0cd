// The cubic row kernels with SSE up to SSSE3: four columns or samples a step.
#include <tmmintrin.h>

#include <cstring>

#include "volume/resize/resize_rows_cubic_body.h"

namespace {

// The four taps of one column, widened to float.
inline __m128 ColumnOf(const uint8_t* p) {
  uint32_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  // Spread the four bytes into the low byte of four 32-bit lanes.
  const __m128i spread = _mm_setr_epi8(0, -1, -1, -1, 1, -1, -1, -1, 2, -1, -1, -1, 3, -1, -1, -1);
  return _mm_cvtepi32_ps(_mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(bytes)), spread));
}

inline __m128 ColumnOf(const uint16_t* p) {
  const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
}

inline __m128 ColumnOf(const float* p) { return _mm_loadu_ps(p); }

// Eight 16-bit samples split into the even ones and the odd ones, as floats.
inline void EvenOdd(__m128i words, __m128& even, __m128& odd) {
  even = _mm_cvtepi32_ps(_mm_and_si128(words, _mm_set1_epi32(0xFFFF)));
  odd = _mm_cvtepi32_ps(_mm_srli_epi32(words, 16));
}

struct SseOps {
  using F = __m128;
  struct Taps {
    F s0, s1, s2, s3;  // first, second, third and fourth taps of the columns
  };
  static constexpr int kWidth = 4;
  static F Load(const float* p) { return _mm_load_ps(p); }
  static F LoadU(const float* p) { return _mm_loadu_ps(p); }
  static void Store(float* p, F v) { _mm_store_ps(p, v); }
  static void StoreU(float* p, F v) { _mm_storeu_ps(p, v); }
  static F Splat(float f) { return _mm_set1_ps(f); }
  static F Mul(F a, F b) { return _mm_mul_ps(a, b); }
  static F Add(F a, F b) { return _mm_add_ps(a, b); }

  // Columns start at p[0], p[2], p[4], p[6]: taps 0 and 1 are the even and
  // odd samples of p[0 .. 7], taps 2 and 3 those of p[2 .. 9].
  static Taps StepTwoTaps(const uint8_t* p) {
    const __m128i zero = _mm_setzero_si128();
    Taps t;
    EvenOdd(_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), zero), t.s0, t.s1);
    EvenOdd(_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 2)), zero), t.s2, t.s3);
    return t;
  }

  static Taps StepTwoTaps(const uint16_t* p) {
    Taps t;
    EvenOdd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), t.s0, t.s1);
    EvenOdd(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2)), t.s2, t.s3);
    return t;
  }

  static Taps StepTwoTaps(const float* p) {
    const F a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4);
    const F c = _mm_loadu_ps(p + 2), d = _mm_loadu_ps(p + 6);
    return {_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1)),
            _mm_shuffle_ps(c, d, _MM_SHUFFLE(2, 0, 2, 0)), _mm_shuffle_ps(c, d, _MM_SHUFFLE(3, 1, 3, 1))};
  }

  template <typename T>
  static Taps ColumnTaps(const T* src, const int32_t* index) {
    Taps t = {ColumnOf(src + index[0] - 1), ColumnOf(src + index[1] - 1), ColumnOf(src + index[2] - 1),
                 ColumnOf(src + index[3] - 1)};
    _MM_TRANSPOSE4_PS(t.s0, t.s1, t.s2, t.s3);
    return t;
  }

  // Truncate, pack to signed 16 bits, pack to unsigned 8 bits.
  static void StoreBlend(uint8_t* dst, F v) {
    const __m128i words = _mm_packs_epi32(_mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(kHalfUp32f))),
                                          _mm_setzero_si128());
    const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
    std::memcpy(dst, &bytes, sizeof bytes);
  }

  // Truncate, add -32768 with wrap-around, pack to signed 16 bits, add
  // 32768 modulo 65536.
  static void StoreBlend(uint16_t* dst, F v) {
    __m128i wide = _mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(kHalfUp32f)));
    wide = _mm_add_epi32(wide, _mm_set1_epi32(-32768));
    const __m128i words = _mm_add_epi16(_mm_packs_epi32(wide, wide), _mm_set1_epi16(-32768));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), words);
  }

  static void StoreBlend(float* dst, F v) { _mm_storeu_ps(dst, v); }
};

}  // namespace

const CubicKernels& CubicKernelsSse() {
  static constexpr CubicKernels kSet = KernelSet<SseOps>();
  return kSet;
}
