// Loading the four taps of a cubic column (source samples index - 1 to
// index + 2) as one vector of floats, for any sample type.
#pragma once

#include <tmmintrin.h>

#include <cstdint>
#include <cstring>

// The four taps of a column, widened to float.
inline __m128 LoadTaps(const uint8_t* p) {
  uint32_t bytes;
  std::memcpy(&bytes, p, sizeof bytes);
  // Spread the four bytes into the low byte of four 32-bit lanes.
  const __m128i spread = _mm_setr_epi8(0, -1, -1, -1, 1, -1, -1, -1, 2, -1, -1, -1, 3, -1, -1, -1);
  return _mm_cvtepi32_ps(_mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(bytes)), spread));
}

inline __m128 LoadTaps(const uint16_t* p) {
  const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
}

inline __m128 LoadTaps(const float* p) { return _mm_loadu_ps(p); }

