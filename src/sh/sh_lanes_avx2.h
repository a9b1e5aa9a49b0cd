// Eight lanes of AVX, for the files compiled for AVX2 alone (without FMA:
// no contraction may change a rounding).  Like sh_lanes.h, everything sits
// in an anonymous namespace.
#pragma once

#include "sh/sh_lanes.h"

namespace {

// Two 4-float halves from memory as one vector: no shuffle needed.
inline __m256 Halves(const float* low, const float* high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
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

struct AvxOps {
  using Vec = __m256;
  static constexpr int kWidth = 8;
  static Vec Load(const float* p) { return _mm256_loadu_ps(p); }
  static void Store(float* p, Vec a) { _mm256_storeu_ps(p, a); }
  static Vec Splat(float f) { return _mm256_set1_ps(f); }
  static Vec SplatBits(uint32_t bits) { return _mm256_castsi256_ps(_mm256_set1_epi32(int32_t(bits))); }
  static Vec Mul(Vec a, Vec b) { return _mm256_mul_ps(a, b); }
  static Vec Add(Vec a, Vec b) { return _mm256_add_ps(a, b); }
  static Vec Sub(Vec a, Vec b) { return _mm256_sub_ps(a, b); }
  static Vec And(Vec a, Vec b) { return _mm256_and_ps(a, b); }
  static Vec Or(Vec a, Vec b) { return _mm256_or_ps(a, b); }

  // Eight coefficients at a time: vectors i..i+7 hold eight directions
  // each; the record of direction d takes coefficients i..i+7 in one store.
  static void StoreRecords(const Vec* column, int stride, int n, float* dst) {
    const float* c = reinterpret_cast<const float*>(column);
    const size_t step = size_t(8) * stride;  // floats from one vector to the next
    int i = 0;
    for (; i + 8 <= n; i += 8) {
      const float* v = c + i * step;
      for (int half = 0; half < 2; ++half) {
        const int lane = 4 * half;  // directions lane .. lane + 3
        __m256 a0 = Halves(v + lane, v + 4 * step + lane);
        __m256 a1 = Halves(v + step + lane, v + 5 * step + lane);
        __m256 a2 = Halves(v + 2 * step + lane, v + 6 * step + lane);
        __m256 a3 = Halves(v + 3 * step + lane, v + 7 * step + lane);
        TransposeHalves(a0, a1, a2, a3);
        _mm256_storeu_ps(dst + size_t(lane) * n + i, a0);
        _mm256_storeu_ps(dst + size_t(lane + 1) * n + i, a1);
        _mm256_storeu_ps(dst + size_t(lane + 2) * n + i, a2);
        _mm256_storeu_ps(dst + size_t(lane + 3) * n + i, a3);
      }
    }
    // The last n % 8 coefficients, four directions at a time.
    if (i < n) {
      StoreFourByFour(c + i * step, int(step), n - i, n, dst + i);
      StoreFourByFour(c + i * step + 4, int(step), n - i, n, dst + size_t(4) * n + i);
    }
  }

  // From coefficient vectors of eight directions (float[coefficient][8] at
  // `group`), the next eight coefficients of each direction: rows[d] holds
  // those of direction d.
  static void Rows(const float* group, Vec rows[8]) {
    for (int half = 0; half < 2; ++half) {
      const int lane = 4 * half;
      __m256 a0 = Halves(group + lane, group + 32 + lane);
      __m256 a1 = Halves(group + 8 + lane, group + 40 + lane);
      __m256 a2 = Halves(group + 16 + lane, group + 48 + lane);
      __m256 a3 = Halves(group + 24 + lane, group + 56 + lane);
      TransposeHalves(a0, a1, a2, a3);
      rows[lane] = a0;
      rows[lane + 1] = a1;
      rows[lane + 2] = a2;
      rows[lane + 3] = a3;
    }
  }
};

}  // namespace
