// The frame's side columns computed along with the interior rows: for each
// source row the interior reads, one value per side column (Resample), and
// for each destination row their four rows weighed into the columns' runs
// (Weigh).  Both forms perform SideValue's and WeighRows's operations in
// their order.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "volume/resize/resize_cubic_side.h"

// The side columns that ride along with the interior rows, one value per
// column and source row: `count` of them, or exactly kSides when kSides is
// not -1, so that the compiler keeps their taps and weights in registers.
template <int kSides>
class ScalarSides {
 public:
  ScalarSides(const CubicPlaneTables& t, int32_t count) : count_(kSides >= 0 ? kSides : count) {
    for (int32_t c = 0; c < count_; ++c) sides_[c] = BandColumn(t, c);
  }

  template <typename T>
  void Resample(const T* row, float* values) const {
    for (int32_t c = 0; c < count_; ++c) values[c] = SideValue(row, sides_[c]);
  }

  // Column c's run gets sample j from the four rows' values.
  void Weigh(const float* const values[4], const float* wy, float* runs, int32_t hi, int32_t j) const {
    for (int32_t c = 0; c < count_; ++c) {
      const float v[4] = {values[0][c], values[1][c], values[2][c], values[3][c]};
      runs[static_cast<int64_t>(c) * hi + j] = WeighRows(v, wy);
    }
  }

 private:
  int32_t count_;
  SideColumn sides_[kSidesWithInterior];
};

// One three-term column on either side, as a downscale has: both computed
// in one vector, the left in lane 0 and the right in lane 2, with the same
// operations in the same order as one at a time.
class PairedSides {
 public:
  explicit PairedSides(const CubicPlaneTables& t) : last_(t.srcW - 1) {
    const SideColumn left = BandColumn(t, 0), right = BandColumn(t, 1);
    for (int k = 0; k < 3; ++k) w_[k] = _mm_setr_ps(left.weights[k], left.weights[k], right.weights[k], right.weights[k]);
  }

  static bool Fits(const CubicPlaneTables& t) {
    return t.x.Low() == 1 && t.x.High() == 1 && BandColumn(t, 0).threeTerms && BandColumn(t, 1).threeTerms;
  }

  template <typename T>
  void Resample(const T* row, float* values) const {
    // Samples 0 .. 3 and last - 3 .. last: the taps are 0, 1, 2 and
    // last - 2, last - 1, last.
    const __m128 a = FourSamples(row), b = FourSamples(row + last_ - 3);
    const __m128 s0 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(1, 1, 0, 0));
    const __m128 s1 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 2, 1, 1));
    const __m128 s2 = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 3, 2, 2));
    const __m128 v = _mm_add_ps(_mm_mul_ps(w_[0], s0), _mm_mul_ps(w_[1], s1));
    _mm_store_ps(values, _mm_add_ps(v, _mm_mul_ps(w_[2], s2)));
  }

  void Weigh(const float* const values[4], const float* wy, float* runs, int32_t hi, int32_t j) const {
    __m128 sum = _mm_mul_ps(_mm_load_ps(values[0]), _mm_set1_ps(wy[0]));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_load_ps(values[1]), _mm_set1_ps(wy[1])));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_load_ps(values[2]), _mm_set1_ps(wy[2])));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_load_ps(values[3]), _mm_set1_ps(wy[3])));
    runs[j] = _mm_cvtss_f32(sum);
    runs[static_cast<int64_t>(hi) + j] = _mm_cvtss_f32(_mm_movehl_ps(sum, sum));
  }

 private:
  static __m128 FourSamples(const uint8_t* p) {
    int32_t bytes;
    std::memcpy(&bytes, p, sizeof bytes);
    const __m128i zero = _mm_setzero_si128();
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
  }
  static __m128 FourSamples(const uint16_t* p) {
    const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
  }
  static __m128 FourSamples(const float* p) { return _mm_loadu_ps(p); }

  int32_t last_;
  __m128 w_[3];
};
