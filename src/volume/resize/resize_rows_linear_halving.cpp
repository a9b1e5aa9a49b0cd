// The exact halving of 8u and 16u interiors, SSE form: each destination
// sample is the rounded mean of its eight taps, two adjacent samples in
// each of four source rows (see resize_rows_linear.h for why that is the
// linear path's own result).
#include <tmmintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_rows_linear.h"

namespace {

template <typename T>
int32_t SumOfEight(const FourSourceRows<T>& rows, int32_t i) {
  int32_t sum = 0;
  for (const T* p : rows.row) sum += p[2 * i] + p[2 * i + 1];
  return sum;
}

__m128i Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }

// Sixteen 8u outputs: adjacent byte pairs summed to 16 bits.
__m128i MeanBlock(const FourSourceRows<uint8_t>& rows, int32_t i) {
  const __m128i ones = _mm_set1_epi8(1);
  __m128i lo = _mm_set1_epi16(4), hi = lo;
  for (const uint8_t* p : rows.row) {
    lo = _mm_add_epi16(lo, _mm_maddubs_epi16(Load(p + 2 * i), ones));
    hi = _mm_add_epi16(hi, _mm_maddubs_epi16(Load(p + 2 * i + 16), ones));
  }
  return _mm_packus_epi16(_mm_srli_epi16(lo, 3), _mm_srli_epi16(hi, 3));
}

// Eight 16u outputs: adjacent sample pairs summed to 32 bits, packed back
// through the signed range.
__m128i MeanBlock(const FourSourceRows<uint16_t>& rows, int32_t i) {
  const __m128i low16 = _mm_set1_epi32(0xFFFF);
  __m128i lo = _mm_set1_epi32(4), hi = lo;
  for (const uint16_t* p : rows.row) {
    const __m128i v0 = Load(p + 2 * i), v1 = Load(p + 2 * i + 8);
    lo = _mm_add_epi32(lo, _mm_add_epi32(_mm_and_si128(v0, low16), _mm_srli_epi32(v0, 16)));
    hi = _mm_add_epi32(hi, _mm_add_epi32(_mm_and_si128(v1, low16), _mm_srli_epi32(v1, 16)));
  }
  const __m128i bias32 = _mm_set1_epi32(32768);
  const __m128i packed = _mm_packs_epi32(_mm_sub_epi32(_mm_srli_epi32(lo, 3), bias32),
                                         _mm_sub_epi32(_mm_srli_epi32(hi, 3), bias32));
  return _mm_add_epi16(packed, _mm_set1_epi16(static_cast<int16_t>(0x8000)));
}

template <typename T>
void HalvingInterior(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a, const T* b,
                     const int32_t* rowOffsets, int32_t rowStep) {
  constexpr int32_t kBlock = int32_t(16 / sizeof(T));
  for (int32_t r = 0; r < hi; ++r) {
    const FourSourceRows<T> rows(a, b, rowOffsets[r], rowStep);
    T* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    int32_t i = 0;
    for (; i + kBlock <= wi; i += kBlock) _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), MeanBlock(rows, i));
    for (; i < wi; ++i) out[i] = static_cast<T>((SumOfEight(rows, i) + 4) >> 3);
  }
}

}  // namespace

void LinearHalvingInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi, const uint8_t* a,
                           const uint8_t* b, const int32_t* rowOffsets, int32_t rowStep) {
  HalvingInterior(dst, dstStep, wi, hi, a, b, rowOffsets, rowStep);
}

void LinearHalvingInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi, const uint16_t* a,
                           const uint16_t* b, const int32_t* rowOffsets, int32_t rowStep) {
  HalvingInterior(dst, dstStep, wi, hi, a, b, rowOffsets, rowStep);
}
