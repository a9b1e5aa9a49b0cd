// Small arithmetic shared by the ray functions: the constants of the
// traversals, min/max with the processor's NaN rule, and the 12-bit
// reciprocal with its one Newton step.
#pragma once

#include <cstdint>
#include <cstring>
#include <emmintrin.h>

// A direction component at most this large (2^-23) counts as zero.
constexpr float kTinyDirection = 1.1920929e-7f;
// Single-ray inverse of a zero component: the axis is then never clipped.
constexpr float kSingleZeroInverse = 838860800.0f;
// Packet paths replace a near-zero component by this before inverting it.
constexpr float kPacketZeroDirection = 1.1920929e-5f;
// Added to the far end of the clipped interval before the walk.
constexpr float kIntervalPad = 0.0001f;
// Tolerance of the single-ray split-plane test.
constexpr float kSplitEpsilon = 1e-5f;

// The processor's minps/maxps rule, kept in the scalar code too: when either
// operand is NaN the second one is the result.  Written as minss / maxss,
// since the compiler may otherwise make a branch of them inside the walks.
inline float MinF(float a, float b) { return _mm_cvtss_f32(_mm_min_ss(_mm_set_ss(a), _mm_set_ss(b))); }
inline float MaxF(float a, float b) { return _mm_cvtss_f32(_mm_max_ss(_mm_set_ss(a), _mm_set_ss(b))); }

inline bool SignBit(float x) {
  uint32_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return (bits >> 31) != 0;
}

// The one Newton step that refines the approximate reciprocal r of d
// (rcpps, about 12 bits): r' = (r + r) - ((r * r) * d), in any lanes type.
// The result depends on the processor's table, so r must never come from a
// true division or from rcp14.
template <class L>
inline typename L::V NewtonStep(typename L::V r, typename L::V d) {
  return L::Sub(L::Add(r, r), L::Mul(L::Mul(r, r), d));
}

// Lane-wise choice without SSE4.1: mask ? a : b.
inline __m128 Select(__m128 mask, __m128 a, __m128 b) {
  return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
}

// All-ones lanes for the set bits 0-3 of `bits`.
inline __m128 LaneMaskFromBits(int32_t bits) {
  const __m128i laneBit = _mm_setr_epi32(1, 2, 4, 8);
  return _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(_mm_set1_epi32(bits), laneBit), laneBit));
}
