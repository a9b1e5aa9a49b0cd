// The linear row kernels 512 bits wide (AVX-512 F and BW).  This file alone
// is built for AVX-512, and runs only where the processor has both; the
// kernels are those of resize_rows_linear_wide.h over the operations below.
// GCC 12's AVX-512 headers fill unused lanes from an "undefined" vector that
// its own flow analysis then reports as maybe uninitialized.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

#include <immintrin.h>

#include <cstdint>

#include "volume/resize/resize_rows_linear_wide.h"

namespace {

struct Avx512 {
  static constexpr uintptr_t kBytes = 64;
  using Ints = __m512i;
  using Floats = __m512;

  static Ints Load(const int16_t* p) { return LoadInts(p); }
  static Ints LoadInts(const void* p) { return _mm512_loadu_si512(p); }
  static Floats Load(const float* p) { return _mm512_loadu_ps(p); }
  static void Store(void* p, Ints v) { _mm512_storeu_si512(p, v); }
  static void Store(float* p, Floats v) { _mm512_storeu_ps(p, v); }
  static void Stream(void* p, Ints v) { _mm512_stream_si512(static_cast<__m512i*>(p), v); }
  static void Stream(float* p, Floats v) { _mm512_stream_ps(p, v); }
  static Ints Set1(int32_t v) { return _mm512_set1_epi32(v); }
  static Floats Set1(float v) { return _mm512_set1_ps(v); }
  static Floats Add(Floats a, Floats b) { return _mm512_add_ps(a, b); }

  // a + (b - a) * f
  static Floats Lerp(Floats a, Floats b, Floats f) { return _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), f)); }
  // a * (1 - f) + b * f
  static Floats Mix(Floats a, Floats b, Floats oneMinusF, Floats f) {
    return _mm512_add_ps(_mm512_mul_ps(a, oneMinusF), _mm512_mul_ps(b, f));
  }

  // The packing instructions work within 128-bit quarters; this puts the
  // 64-bit pieces back in order after packing two vectors.
  static Ints InOrder(Ints packed) {
    return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
  }

  // The pair (w0, w1) repeated in every 32-bit lane.
  static Ints WeightPairs(uint16_t w1) {
    const int32_t w0 = 16384 - w1;
    return _mm512_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(w1) << 16) | uint32_t(w0)));
  }

  // (w0 * a + w1 * b + round) >> Shift for 32 16-bit lanes, packed back to
  // signed 16 bits with saturation, in order (unpacking and packing both
  // stay within quarters, so their orders cancel).
  template <int Shift>
  static Ints BlendPairs16(Ints a, Ints b, Ints weights, Ints round) {
    const Ints lo = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(a, b), weights), round), Shift);
    const Ints hi = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(a, b), weights), round), Shift);
    return _mm512_packs_epi32(lo, hi);
  }

  // Two vectors of signed 16-bit values to unsigned 8 bits, saturated.
  static Ints PackUint8(Ints v0, Ints v1) { return InOrder(_mm512_packus_epi16(v0, v1)); }

  // Truncate, bias, saturate to signed 16, unbias: 32 floats to 16u.
  static Ints FloatsToUint16(Floats lo, Floats hi) {
    const Ints bias32 = _mm512_set1_epi32(-32768);
    const Ints l = _mm512_add_epi32(_mm512_cvttps_epi32(lo), bias32);
    const Ints h = _mm512_add_epi32(_mm512_cvttps_epi32(hi), bias32);
    return _mm512_add_epi16(InOrder(_mm512_packs_epi32(l, h)), _mm512_set1_epi16(static_cast<int16_t>(0x8000)));
  }

  // The y pass of a block with the weight of its row: 8u in fixed point,
  // the others in float.
  struct YPass8u {
    Ints weights, round;
    Ints operator()(Ints a, Ints b) const { return BlendPairs16<14>(a, b, weights, round); }
  };
  struct YPassFloat {
    Floats f;
    Floats operator()(Floats a, Floats b) const { return Lerp(a, b, f); }
  };
  static YPass8u YPass(uint16_t w1) { return {WeightPairs(w1), _mm512_set1_epi32(8192)}; }
  static YPassFloat YPass(float f) { return {_mm512_set1_ps(f)}; }

  // One block of a straight x pass from its first tap on: 32 columns of 8u
  // (16-bit results, saturated as a row buffer holds them), 16 of 16u or 32f.
  static Ints XBlock(const uint8_t* src, const Weight8uPair* xWeight) {
    // 32 columns' pairs are 64 straight bytes, widened sixteen pairs at a time.
    const Ints taps0 = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src)));
    const Ints taps1 = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 32)));
    const Ints round = _mm512_set1_epi32(128);
    const Ints s0 = _mm512_madd_epi16(taps0, _mm512_loadu_si512(xWeight));
    const Ints s1 = _mm512_madd_epi16(taps1, _mm512_loadu_si512(xWeight + 16));
    return InOrder(_mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(s0, round), 8),
                                      _mm512_srai_epi32(_mm512_add_epi32(s1, round), 8)));
  }
  static Floats XBlock(const uint16_t* src, const float* xWeight) {
    const Ints taps = _mm512_loadu_si512(src);
    const Floats a = _mm512_cvtepi32_ps(_mm512_and_si512(taps, _mm512_set1_epi32(0xFFFF)));
    const Floats b = _mm512_cvtepi32_ps(_mm512_srli_epi32(taps, 16));
    return Lerp(a, b, _mm512_loadu_ps(xWeight));
  }
  static Floats XBlock(const float* src, const float* xWeight) {
    const Ints even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const Ints odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    const Floats p0 = _mm512_loadu_ps(src);
    const Floats p1 = _mm512_loadu_ps(src + 16);
    return Lerp(_mm512_permutex2var_ps(p0, even, p1), _mm512_permutex2var_ps(p0, odd, p1), _mm512_loadu_ps(xWeight));
  }
  // The exact halving's eight-tap means (resize_rows_linear.h): kBytes 8u
  // outputs from adjacent byte pairs summed to 16 bits, or kBytes / 2 16u
  // outputs from adjacent sample pairs summed to 32 bits.
  static Ints HalvingBlock(const uint8_t* const rows[4], int32_t i) {
    const Ints ones = _mm512_set1_epi8(1);
    Ints lo = _mm512_set1_epi16(4), hi = lo;
    for (int32_t k = 0; k < 4; ++k) {
      const uint8_t* p = rows[k] + 2 * i;
      lo = _mm512_add_epi16(lo, _mm512_maddubs_epi16(LoadInts(p), ones));
      hi = _mm512_add_epi16(hi, _mm512_maddubs_epi16(LoadInts(p + kBytes), ones));
    }
    return PackUint8(_mm512_srli_epi16(lo, 3), _mm512_srli_epi16(hi, 3));
  }
  // 16u: each sample's top bit flipped makes it signed (s - 32768), so one
  // multiply-add by ones gives s0 + s1 - 65536; the start value puts back
  // the four rows' 4 * 65536 along with the rounding 4.
  static Ints HalvingBlock(const uint16_t* const rows[4], int32_t i) {
    const Ints flip = _mm512_set1_epi16(static_cast<int16_t>(0x8000));
    const Ints ones = _mm512_set1_epi16(1);
    Ints lo = _mm512_set1_epi32(4 * 65536 + 4), hi = lo;
    for (int32_t k = 0; k < 4; ++k) {
      const uint16_t* p = rows[k] + 2 * i;
      lo = _mm512_add_epi32(lo, _mm512_madd_epi16(_mm512_xor_si512(LoadInts(p), flip), ones));
      hi = _mm512_add_epi32(hi, _mm512_madd_epi16(_mm512_xor_si512(LoadInts(p + kBytes / 2), flip), ones));
    }
    return InOrder(_mm512_packus_epi32(_mm512_srli_epi32(lo, 3), _mm512_srli_epi32(hi, 3)));
  }
};

constexpr LinearRowKernels kAvx512Kernels = wide_rows::WideKernels<Avx512>();

}  // namespace

const LinearRowKernels* LinearRowKernelsAvx512() { return &kAvx512Kernels; }
