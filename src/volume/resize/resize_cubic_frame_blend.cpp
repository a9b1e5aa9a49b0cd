// The z blend of the edge frame: four frame samples at a time, each summed
// left to right in single precision; an integer result is rounded through
// double precision and clamped.
#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_round.h"

namespace {

struct ZWeights {
  __m128 v[4];
  const float* s;

  explicit ZWeights(const float* z)
      : v{_mm_set1_ps(z[0]), _mm_set1_ps(z[1]), _mm_set1_ps(z[2]), _mm_set1_ps(z[3])}, s(z) {}
};

inline __m128 BlendFour(const float* const frames[4], int64_t p, const ZWeights& z) {
  __m128 sum = _mm_mul_ps(_mm_loadu_ps(frames[0] + p), z.v[0]);
  sum = _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(frames[1] + p), z.v[1]));
  sum = _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(frames[2] + p), z.v[2]));
  return _mm_add_ps(sum, _mm_mul_ps(_mm_loadu_ps(frames[3] + p), z.v[3]));
}

inline float BlendOne(const float* const frames[4], int64_t p, const ZWeights& z) {
  return frames[0][p] * z.s[0] + frames[1][p] * z.s[1] + frames[2][p] * z.s[2] + frames[3][p] * z.s[3];
}

// Each sum widened to double, plus 0.5000001, truncated (INT32_MIN for NaN
// and overflow, as one at a time).
inline __m128i RoundThroughDouble(__m128 v) {
  const __m128d half = _mm_set1_pd(kHalfUp64f);
  const __m128i low = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(v), half));
  const __m128i high = _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(v, v)), half));
  return _mm_unpacklo_epi64(low, high);
}

inline void StoreFour(uint8_t* dst, __m128 v) {
  // Packing to signed 16 bits, then to unsigned 8 bits, clamps to 0 .. 255.
  const __m128i words = _mm_packs_epi32(RoundThroughDouble(v), _mm_setzero_si128());
  const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
  std::memcpy(dst, &bytes, sizeof bytes);
}

inline void StoreFour(uint16_t* dst, __m128 v) {
  __m128i wide = RoundThroughDouble(v);
  wide = _mm_and_si128(wide, _mm_cmpgt_epi32(wide, _mm_set1_epi32(-1)));  // below 0: 0
  const __m128i top = _mm_set1_epi32(65535);
  const __m128i over = _mm_cmpgt_epi32(wide, top);
  wide = _mm_or_si128(_mm_andnot_si128(over, wide), _mm_and_si128(over, top));
  // 0 .. 65535 moved into the signed range packs without saturating.
  const __m128i words = _mm_packs_epi32(_mm_sub_epi32(wide, _mm_set1_epi32(32768)), _mm_setzero_si128());
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_add_epi16(words, _mm_set1_epi16(-32768)));
}

inline void StoreFour(float* dst, __m128 v) { _mm_storeu_ps(dst, v); }

inline void StoreOne(uint8_t* dst, float v) { *dst = RoundClamp8u(v); }
inline void StoreOne(uint16_t* dst, float v) { *dst = RoundClamp16u(v); }
inline void StoreOne(float* dst, float v) { *dst = v; }

// Frame samples p .. p + n - 1 into the destination samples at(0) .. at(n - 1).
template <typename T, typename At>
void BlendRun(const float* const frames[4], int64_t p, int32_t n, const ZWeights& z, At&& at) {
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    T four[4];
    StoreFour(four, BlendFour(frames, p + k, z));
    for (int e = 0; e < 4; ++e) *at(k + e) = four[e];
  }
  for (; k < n; ++k) StoreOne(at(k), BlendOne(frames, p + k, z));
}

}  // namespace

template <typename T>
void CubicBlendFrame(const float* const frames[4], const float* zWeight4, const CubicPlaneTables& t,
                     T* dst, int32_t dstStep) {
  const ZWeights z(zWeight4);
  const int32_t yLow = t.y.Low(), yHigh = t.y.High();
  const int32_t xLow = t.x.Low(), xHigh = t.x.High();
  int64_t p = 0;
  // Top rows, then bottom rows, each across the whole width.
  for (int32_t r = 0; r < yLow + yHigh; ++r, p += t.w) {
    const int32_t dstRow = r < yLow ? r : t.h - yHigh + (r - yLow);
    T* out = dst + static_cast<int64_t>(dstRow) * dstStep;
    BlendRun<T>(frames, p, t.w, z, [out](int32_t c) { return out + c; });
  }
  // Left columns, then right columns, each down the rows between.
  if (t.hi <= 0) return;
  for (int32_t c = 0; c < xLow + xHigh; ++c, p += t.hi) {
    T* out = dst + static_cast<int64_t>(yLow) * dstStep + (c < xLow ? c : t.w - xHigh + (c - xLow));
    BlendRun<T>(frames, p, t.hi, z, [out, dstStep](int32_t j) { return out + static_cast<int64_t>(j) * dstStep; });
  }
}

template void CubicBlendFrame<uint8_t>(const float* const[4], const float*, const CubicPlaneTables&,
                                       uint8_t*, int32_t);
template void CubicBlendFrame<uint16_t>(const float* const[4], const float*, const CubicPlaneTables&,
                                        uint16_t*, int32_t);
template void CubicBlendFrame<float>(const float* const[4], const float*, const CubicPlaneTables&,
                                     float*, int32_t);
