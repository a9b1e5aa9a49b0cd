// The linear row kernels 256 bits wide (AVX2).  This file alone is built
// for AVX2, and runs only where the processor has it; the kernels are those
// of resize_rows_linear_wide.h over the operations below.
#include <immintrin.h>

#include <cstdint>

#include "volume/resize/resize_rows_linear_wide.h"

namespace {

struct Avx2 {
  static constexpr uintptr_t kBytes = 32;
  using Ints = __m256i;
  using Floats = __m256;

  static Ints Load(const int16_t* p) { return LoadInts(p); }
  static Ints LoadInts(const void* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static Floats Load(const float* p) { return _mm256_loadu_ps(p); }
  static void Store(void* p, Ints v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
  static void Store(float* p, Floats v) { _mm256_storeu_ps(p, v); }
  static void Stream(void* p, Ints v) { _mm256_stream_si256(static_cast<__m256i*>(p), v); }
  static void Stream(float* p, Floats v) { _mm256_stream_ps(p, v); }
  static Ints Set1(int32_t v) { return _mm256_set1_epi32(v); }
  static Floats Set1(float v) { return _mm256_set1_ps(v); }
  static Floats Add(Floats a, Floats b) { return _mm256_add_ps(a, b); }

  // a + (b - a) * f
  static Floats Lerp(Floats a, Floats b, Floats f) { return _mm256_add_ps(a, _mm256_mul_ps(_mm256_sub_ps(b, a), f)); }
  // a * (1 - f) + b * f
  static Floats Mix(Floats a, Floats b, Floats oneMinusF, Floats f) {
    return _mm256_add_ps(_mm256_mul_ps(a, oneMinusF), _mm256_mul_ps(b, f));
  }

  // The packing instructions work within 128-bit halves; this puts the
  // 64-bit quarters back in order after packing two vectors.
  static Ints InOrder(Ints packed) { return _mm256_permute4x64_epi64(packed, 0xD8); }

  // The pair (w0, w1) repeated in every 32-bit lane.
  static Ints WeightPairs(uint16_t w1) {
    const int32_t w0 = 16384 - w1;
    return _mm256_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(w1) << 16) | uint32_t(w0)));
  }

  // (w0 * a + w1 * b + round) >> Shift for sixteen 16-bit lanes, packed back
  // to signed 16 bits with saturation, in order (unpacking and packing both
  // stay within halves, so their orders cancel).
  template <int Shift>
  static Ints BlendPairs16(Ints a, Ints b, Ints weights, Ints round) {
    const Ints lo = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weights), round), Shift);
    const Ints hi = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weights), round), Shift);
    return _mm256_packs_epi32(lo, hi);
  }

  // Two vectors of signed 16-bit values to unsigned 8 bits, saturated.
  static Ints PackUint8(Ints v0, Ints v1) { return InOrder(_mm256_packus_epi16(v0, v1)); }

  // Truncate, bias, saturate to signed 16, unbias: sixteen floats to 16u.
  static Ints FloatsToUint16(Floats lo, Floats hi) {
    const Ints bias32 = _mm256_set1_epi32(-32768);
    const Ints l = _mm256_add_epi32(_mm256_cvttps_epi32(lo), bias32);
    const Ints h = _mm256_add_epi32(_mm256_cvttps_epi32(hi), bias32);
    return _mm256_add_epi16(InOrder(_mm256_packs_epi32(l, h)), _mm256_set1_epi16(static_cast<int16_t>(0x8000)));
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
  static YPass8u YPass(uint16_t w1) { return {WeightPairs(w1), _mm256_set1_epi32(8192)}; }
  static YPassFloat YPass(float f) { return {_mm256_set1_ps(f)}; }

  // One block of a straight x pass from its first tap on: 16 columns of 8u
  // (16-bit results, saturated as a row buffer holds them), 8 of 16u or 32f.
  static Ints XBlock(const uint8_t* src, const Weight8uPair* xWeight) {
    // Sixteen columns' pairs are 32 straight bytes, widened eight pairs at a time.
    const Ints taps07 = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
    const Ints taps8f = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16)));
    const Ints round = _mm256_set1_epi32(128);
    const Ints s07 = _mm256_madd_epi16(taps07, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(xWeight)));
    const Ints s8f = _mm256_madd_epi16(taps8f, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(xWeight + 8)));
    return InOrder(_mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(s07, round), 8),
                                      _mm256_srai_epi32(_mm256_add_epi32(s8f, round), 8)));
  }
  static Floats XBlock(const uint16_t* src, const float* xWeight) {
    const Ints taps = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
    const Floats a = _mm256_cvtepi32_ps(_mm256_and_si256(taps, _mm256_set1_epi32(0xFFFF)));
    const Floats b = _mm256_cvtepi32_ps(_mm256_srli_epi32(taps, 16));
    return Lerp(a, b, _mm256_loadu_ps(xWeight));
  }
  static Floats XBlock(const float* src, const float* xWeight) {
    // Columns 0 .. 3 in the low half, 4 .. 7 in the high half, so the
    // even/odd split within halves keeps the columns in order.
    const Floats p0 = _mm256_loadu2_m128(src + 8, src);
    const Floats p1 = _mm256_loadu2_m128(src + 12, src + 4);
    return Lerp(_mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0)), _mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1)),
                _mm256_loadu_ps(xWeight));
  }
  // The exact halving's eight-tap means (resize_rows_linear.h): kBytes 8u
  // outputs from adjacent byte pairs summed to 16 bits, or kBytes / 2 16u
  // outputs from adjacent sample pairs summed to 32 bits.
  static Ints HalvingBlock(const uint8_t* const rows[4], int32_t i) {
    const Ints ones = _mm256_set1_epi8(1);
    Ints lo = _mm256_set1_epi16(4), hi = lo;
    for (int32_t k = 0; k < 4; ++k) {
      const uint8_t* p = rows[k] + 2 * i;
      lo = _mm256_add_epi16(lo, _mm256_maddubs_epi16(LoadInts(p), ones));
      hi = _mm256_add_epi16(hi, _mm256_maddubs_epi16(LoadInts(p + kBytes), ones));
    }
    return PackUint8(_mm256_srli_epi16(lo, 3), _mm256_srli_epi16(hi, 3));
  }
  // 16u: each sample's top bit flipped makes it signed (s - 32768), so one
  // multiply-add by ones gives s0 + s1 - 65536; the start value puts back
  // the four rows' 4 * 65536 along with the rounding 4.
  static Ints HalvingBlock(const uint16_t* const rows[4], int32_t i) {
    const Ints flip = _mm256_set1_epi16(static_cast<int16_t>(0x8000));
    const Ints ones = _mm256_set1_epi16(1);
    Ints lo = _mm256_set1_epi32(4 * 65536 + 4), hi = lo;
    for (int32_t k = 0; k < 4; ++k) {
      const uint16_t* p = rows[k] + 2 * i;
      lo = _mm256_add_epi32(lo, _mm256_madd_epi16(_mm256_xor_si256(LoadInts(p), flip), ones));
      hi = _mm256_add_epi32(hi, _mm256_madd_epi16(_mm256_xor_si256(LoadInts(p + kBytes / 2), flip), ones));
    }
    return InOrder(_mm256_packus_epi32(_mm256_srli_epi32(lo, 3), _mm256_srli_epi32(hi, 3)));
  }
};

constexpr LinearRowKernels kAvx2Kernels = wide_rows::WideKernels<Avx2>();

}  // namespace

const LinearRowKernels* LinearRowKernelsAvx2() { return &kAvx2Kernels; }
