// Vectors of directions, one direction per lane, for the recurrence blocks
// and the block transforms.  Included by one source file per instruction
// set; everything here sits in an anonymous namespace, so the copies
// compiled for different instruction sets never merge at link time.
//
// An Ops type wraps one instruction set's vector of kWidth floats; a
// Lanes<Ops, K> holds K such vectors side by side, K * kWidth directions.
// An array of Lanes, one per coefficient, is therefore laid out in memory as
// float[coefficient][direction].
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace {

template <typename Ops, int K>
struct Lanes {
  typename Ops::Vec v[K];
};

template <typename Ops, int K>
inline Lanes<Ops, K> LoadLanes(const float* p) {
  Lanes<Ops, K> r;
  for (int k = 0; k < K; ++k)
    r.v[k] = Ops::Load(p + Ops::kWidth * k);
  return r;
}

template <typename Ops, int K>
inline void StoreLanes(float* p, Lanes<Ops, K> a) {
  for (int k = 0; k < K; ++k)
    Ops::Store(p + Ops::kWidth * k, a.v[k]);
}

// One number in every lane.
template <typename Ops, int K>
inline Lanes<Ops, K> Splat(float f) {
  Lanes<Ops, K> r;
  for (int k = 0; k < K; ++k)
    r.v[k] = Ops::Splat(f);
  return r;
}

template <typename Ops, int K>
inline Lanes<Ops, K> operator*(Lanes<Ops, K> a, Lanes<Ops, K> b) {
  for (int k = 0; k < K; ++k)
    a.v[k] = Ops::Mul(a.v[k], b.v[k]);
  return a;
}

template <typename Ops, int K>
inline Lanes<Ops, K> operator+(Lanes<Ops, K> a, Lanes<Ops, K> b) {
  for (int k = 0; k < K; ++k)
    a.v[k] = Ops::Add(a.v[k], b.v[k]);
  return a;
}

template <typename Ops, int K>
inline Lanes<Ops, K> operator-(Lanes<Ops, K> a, Lanes<Ops, K> b) {
  for (int k = 0; k < K; ++k)
    a.v[k] = Ops::Sub(a.v[k], b.v[k]);
  return a;
}

// `count` coefficient vectors of four directions at `column`, `stride`
// floats apart, transposed four by four into four records `recordLength`
// floats apart.
inline void StoreFourByFour(const float* column, int stride, int count, int recordLength, float* dst) {
  float* rec0 = dst;
  float* rec1 = rec0 + recordLength;
  float* rec2 = rec1 + recordLength;
  float* rec3 = rec2 + recordLength;
  int i = 0;
  for (; i + 4 <= count; i += 4) {
    __m128 r0 = _mm_loadu_ps(column + size_t(i) * stride);
    __m128 r1 = _mm_loadu_ps(column + size_t(i + 1) * stride);
    __m128 r2 = _mm_loadu_ps(column + size_t(i + 2) * stride);
    __m128 r3 = _mm_loadu_ps(column + size_t(i + 3) * stride);
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
    _mm_storeu_ps(rec0 + i, r0);
    _mm_storeu_ps(rec1 + i, r1);
    _mm_storeu_ps(rec2 + i, r2);
    _mm_storeu_ps(rec3 + i, r3);
  }
  for (; i < count; ++i) {
    const float* lanes = column + size_t(i) * stride;
    rec0[i] = lanes[0];
    rec1[i] = lanes[1];
    rec2[i] = lanes[2];
    rec3[i] = lanes[3];
  }
}

// Four lanes of SSE.
struct SseOps {
  using Vec = __m128;
  static constexpr int kWidth = 4;
  static Vec Load(const float* p) { return _mm_loadu_ps(p); }
  static void Store(float* p, Vec a) { _mm_storeu_ps(p, a); }
  static Vec Splat(float f) { return _mm_set1_ps(f); }
  static Vec SplatBits(uint32_t bits) { return _mm_castsi128_ps(_mm_set1_epi32(int32_t(bits))); }
  static Vec Mul(Vec a, Vec b) { return _mm_mul_ps(a, b); }
  static Vec Add(Vec a, Vec b) { return _mm_add_ps(a, b); }
  static Vec Sub(Vec a, Vec b) { return _mm_sub_ps(a, b); }
  static Vec And(Vec a, Vec b) { return _mm_and_ps(a, b); }
  static Vec Or(Vec a, Vec b) { return _mm_or_ps(a, b); }

  // Member k of each of the n coefficient vectors (`stride` vectors apart)
  // written as the records of its four directions.
  static void StoreRecords(const Vec* column, int stride, int n, float* dst) {
    StoreFourByFour(reinterpret_cast<const float*>(column), 4 * stride, n, n, dst);
  }

  // From coefficient vectors of eight directions (float[coefficient][8] at
  // `group`), the next kWidth coefficients of each direction: rows[d] holds
  // those of direction d.
  static void Rows(const float* group, Vec rows[8]) {
    for (int half = 0; half < 2; ++half) {
      __m128 r0 = _mm_loadu_ps(group + 4 * half);
      __m128 r1 = _mm_loadu_ps(group + 8 + 4 * half);
      __m128 r2 = _mm_loadu_ps(group + 16 + 4 * half);
      __m128 r3 = _mm_loadu_ps(group + 24 + 4 * half);
      _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
      rows[4 * half] = r0;
      rows[4 * half + 1] = r1;
      rows[4 * half + 2] = r2;
      rows[4 * half + 3] = r3;
    }
  }
};

}  // namespace
