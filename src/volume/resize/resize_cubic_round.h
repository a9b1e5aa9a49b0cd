// How a cubic result leaves float for an integer destination.
//
// The interior adds a single-precision 0.5000001 and truncates with the
// vector conversion, then saturates in two packing steps; the frame adds a
// double-precision 0.5000001 and clamps.  The two differ in the last bit on
// purpose, and in what an out-of-range value becomes: the vector conversion
// gives INT32_MIN, which the 16u interior turns into 65535 while every other
// route turns it into 0.
#pragma once

#include <emmintrin.h>

#include <cstdint>

// Internal linkage: the kernels include this in files built for different
// instruction sets, whose copies must never merge at link time.
namespace {

// 0.5000001f, the float with bits 0x3F000002.
constexpr float kHalfUp32f = 0.5000001f;
constexpr double kHalfUp64f = 0.5000001;

// Truncation as the SSE conversions do it: INT32_MIN for NaN and overflow.
inline int32_t TruncToInt32(float v) { return _mm_cvttss_si32(_mm_set_ss(v)); }
inline int32_t TruncToInt32(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }

inline int32_t ClampInt32(int32_t v, int32_t lo, int32_t hi) {
  return v < lo ? lo : (v > hi ? hi : v);
}

// Interior, 8u: truncate, pack to signed 16 bits, pack to unsigned 8 bits.
inline uint8_t RoundSaturate8u(float rounded) {
  return static_cast<uint8_t>(ClampInt32(ClampInt32(TruncToInt32(rounded), -32768, 32767), 0, 255));
}

// Interior, 16u: truncate, add -32768 with wrap-around, pack to signed 16
// bits, add 32768 modulo 65536.
inline uint16_t RoundSaturate16u(float rounded) {
  const uint32_t shifted = static_cast<uint32_t>(TruncToInt32(rounded)) + 0xFFFF8000u;
  const int32_t packed = ClampInt32(static_cast<int32_t>(shifted), -32768, 32767);
  return static_cast<uint16_t>(packed + 32768);
}

// Frame: the float sum widened to double before the rounding constant.
inline uint8_t RoundClamp8u(float sum) {
  return static_cast<uint8_t>(ClampInt32(TruncToInt32(static_cast<double>(sum) + kHalfUp64f), 0, 255));
}

inline uint16_t RoundClamp16u(float sum) {
  return static_cast<uint16_t>(
      ClampInt32(TruncToInt32(static_cast<double>(sum) + kHalfUp64f), 0, 65535));
}

}  // namespace
