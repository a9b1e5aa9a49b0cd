// SSE forms of the cubic row kernels.  Vector blocks and single samples run
// the same operations in the same order; only the width differs.
#include "volume/resize/resize_rows_cubic.h"

#include <tmmintrin.h>

#include <cstring>

#include "volume/resize/resize_cubic_round.h"
#include "volume/resize/resize_cubic_taps.h"

namespace {

// ---- x pass ---------------------------------------------------------------

// Four columns: three horizontal adds give, per column, (p0 + p1) + (p2 + p3)
// of the four products.
template <typename T>
inline __m128 FourColumns(const T* src, const int32_t* xIndex, const float* xWeight4) {
  const __m128 p0 = _mm_mul_ps(LoadTaps(src + xIndex[0] - 1), _mm_load_ps(xWeight4 + 0));
  const __m128 p1 = _mm_mul_ps(LoadTaps(src + xIndex[1] - 1), _mm_load_ps(xWeight4 + 4));
  const __m128 p2 = _mm_mul_ps(LoadTaps(src + xIndex[2] - 1), _mm_load_ps(xWeight4 + 8));
  const __m128 p3 = _mm_mul_ps(LoadTaps(src + xIndex[3] - 1), _mm_load_ps(xWeight4 + 12));
  return _mm_hadd_ps(_mm_hadd_ps(p0, p1), _mm_hadd_ps(p2, p3));
}

template <typename T>
void CubicRowXAny(const T* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
                  float* row) {
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) _mm_store_ps(row + i, FourColumns(src, xIndex + i, xWeight4 + 4 * i));
  // The last block overlaps the previous one and stores the same values
  // again there; rows shorter than a block go one column a step.
  if (i < n && n >= 4) {
    _mm_storeu_ps(row + n - 4, FourColumns(src, xIndex + n - 4, xWeight4 + 4 * (n - 4)));
    return;
  }
  for (; i < n; ++i) {
    const __m128 p = _mm_mul_ps(LoadTaps(src + xIndex[i] - 1), _mm_load_ps(xWeight4 + 4 * i));
    const __m128 pairs = _mm_hadd_ps(p, p);
    _mm_store_ss(row + i, _mm_hadd_ps(pairs, pairs));
  }
}

// ---- weighing four rows ---------------------------------------------------

struct Weights4 {
  __m128 w0, w1, w2, w3;
  float s0, s1, s2, s3;
};

inline Weights4 SplatWeights(const float* weights4) {
  return {_mm_set1_ps(weights4[0]), _mm_set1_ps(weights4[1]), _mm_set1_ps(weights4[2]),
          _mm_set1_ps(weights4[3]), weights4[0], weights4[1], weights4[2], weights4[3]};
}

inline __m128 Weigh4(const Weights4& w, const float* a, const float* b, const float* c,
                     const float* d, int32_t i) {
  const __m128 ab = _mm_add_ps(_mm_mul_ps(_mm_load_ps(a + i), w.w0), _mm_mul_ps(_mm_load_ps(b + i), w.w1));
  const __m128 cd = _mm_add_ps(_mm_mul_ps(_mm_load_ps(c + i), w.w2), _mm_mul_ps(_mm_load_ps(d + i), w.w3));
  return _mm_add_ps(ab, cd);
}

// The same at any offset, for blocks that do not start on a multiple of 4.
inline __m128 Weigh4u(const Weights4& w, const float* a, const float* b, const float* c,
                      const float* d, int32_t i) {
  const __m128 ab = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(a + i), w.w0), _mm_mul_ps(_mm_loadu_ps(b + i), w.w1));
  const __m128 cd = _mm_add_ps(_mm_mul_ps(_mm_loadu_ps(c + i), w.w2), _mm_mul_ps(_mm_loadu_ps(d + i), w.w3));
  return _mm_add_ps(ab, cd);
}

inline float Weigh1(const Weights4& w, const float* a, const float* b, const float* c,
                    const float* d, int32_t i) {
  return (a[i] * w.s0 + b[i] * w.s1) + (c[i] * w.s2 + d[i] * w.s3);
}

// ---- storing blended samples ----------------------------------------------

// Four results a call for the vector block, one for the remainder.
inline void StoreBlend4(uint8_t* dst, __m128 v) {
  const __m128i words = _mm_packs_epi32(_mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(kHalfUp32f))),
                                        _mm_setzero_si128());
  const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(dst, &bytes, sizeof bytes);
}

inline void StoreBlend4(uint16_t* dst, __m128 v) {
  __m128i wide = _mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(kHalfUp32f)));
  wide = _mm_add_epi32(wide, _mm_set1_epi32(-32768));
  const __m128i words = _mm_add_epi16(_mm_packs_epi32(wide, wide), _mm_set1_epi16(-32768));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), words);
}

inline void StoreBlend4(float* dst, __m128 v) { _mm_storeu_ps(dst, v); }

inline void StoreBlend1(uint8_t* dst, float v) { *dst = RoundSaturate8u(v + kHalfUp32f); }
inline void StoreBlend1(uint16_t* dst, float v) { *dst = RoundSaturate16u(v + kHalfUp32f); }
inline void StoreBlend1(float* dst, float v) { *dst = v; }

template <typename T>
void CubicBlendInteriorAny(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* weights4,
                           const float* const planes[4], int32_t planeStride) {
  const Weights4 w = SplatWeights(weights4);
  for (int32_t j = 0; j < hi; ++j) {
    const int64_t at = static_cast<int64_t>(j) * planeStride;
    const float* a = planes[0] + at;
    const float* b = planes[1] + at;
    const float* c = planes[2] + at;
    const float* e = planes[3] + at;
    T* out = dst + static_cast<int64_t>(j) * dstStep;
    int32_t i = 0;
    for (; i + 8 <= wi; i += 8) {
      const __m128 lo = Weigh4(w, a, b, c, e, i);
      const __m128 hi = Weigh4(w, a, b, c, e, i + 4);
      StoreBlend4(out + i, lo);
      StoreBlend4(out + i + 4, hi);
    }
    for (; i + 4 <= wi; i += 4) StoreBlend4(out + i, Weigh4(w, a, b, c, e, i));
    if (i < wi && wi >= 4) {  // an overlapping last block writes equal values twice
      StoreBlend4(out + wi - 4, Weigh4u(w, a, b, c, e, wi - 4));
      continue;
    }
    for (; i < wi; ++i) StoreBlend1(out + i, Weigh1(w, a, b, c, e, i));
  }
}

}  // namespace

void CubicRowX(const uint8_t* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row) {
  CubicRowXAny(src, n, xIndex, xWeight4, row);
}

void CubicRowX(const uint16_t* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row) {
  CubicRowXAny(src, n, xIndex, xWeight4, row);
}

void CubicRowX(const float* src, int32_t n, const int32_t* xIndex, const float* xWeight4,
               float* row) {
  CubicRowXAny(src, n, xIndex, xWeight4, row);
}

void CubicRowY(float* out, int32_t n, const float* weights4, const float* const rows[4]) {
  const Weights4 w = SplatWeights(weights4);
  // Local copies: stores to `out` could otherwise alias the pointer array.
  const float* a = rows[0];
  const float* b = rows[1];
  const float* c = rows[2];
  const float* d = rows[3];
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128 lo = Weigh4(w, a, b, c, d, i);
    const __m128 hi = Weigh4(w, a, b, c, d, i + 4);
    _mm_store_ps(out + i, lo);
    _mm_store_ps(out + i + 4, hi);
  }
  for (; i + 4 <= n; i += 4) _mm_store_ps(out + i, Weigh4(w, a, b, c, d, i));
  if (i < n && n >= 4) {  // an overlapping last block, as in the x pass
    _mm_storeu_ps(out + n - 4, Weigh4u(w, a, b, c, d, n - 4));
    return;
  }
  for (; i < n; ++i) out[i] = Weigh1(w, a, b, c, d, i);
}

void CubicBlendInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride) {
  CubicBlendInteriorAny(dst, dstStep, wi, hi, weights4, planes, planeStride);
}

void CubicBlendInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride) {
  CubicBlendInteriorAny(dst, dstStep, wi, hi, weights4, planes, planeStride);
}

void CubicBlendInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi,
                        const float* weights4, const float* const planes[4], int32_t planeStride) {
  CubicBlendInteriorAny(dst, dstStep, wi, hi, weights4, planes, planeStride);
}
