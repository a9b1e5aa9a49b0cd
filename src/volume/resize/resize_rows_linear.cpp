#include "volume/resize/resize_rows_linear.h"

#include <emmintrin.h>

#include <cstddef>
#include <cstring>

namespace {

// --- Scalar forms, exactly what one vector lane does ---

int16_t SaturateToInt16(int32_t v) {
  return static_cast<int16_t>(v < -32768 ? -32768 : (v > 32767 ? 32767 : v));
}

uint8_t SaturateToUint8(int32_t v) {
  return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// Float to 16u as the vector code does it: truncate to 32 bits, bias by
// -32768, saturate to signed 16 bits, unbias modulo 65536.
uint16_t FloatToUint16(float v) {
  const int32_t cut = _mm_cvttss_si32(_mm_set_ss(v));
  const int32_t biased = static_cast<int32_t>(static_cast<uint32_t>(cut) - 32768u);
  return static_cast<uint16_t>(SaturateToInt16(biased) + 32768);
}

uint16_t LoadPair8u(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, 2);
  return v;
}

// Four 16-bit pairs, column 0 in the low bits.
int64_t GatherPairs8u(const uint8_t* src, const int32_t* xIndex) {
  const uint64_t p0 = LoadPair8u(src + xIndex[0]), p1 = LoadPair8u(src + xIndex[1]);
  const uint64_t p2 = LoadPair8u(src + xIndex[2]), p3 = LoadPair8u(src + xIndex[3]);
  return static_cast<int64_t>(p0 | (p1 << 16) | (p2 << 32) | (p3 << 48));
}

uint32_t LoadPair16u(const uint16_t* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return v;
}

// --- Vector helpers ---

// The pair (w0, w1) repeated in every 32-bit lane.
__m128i WeightPairs(uint16_t w1) {
  const int32_t w0 = 16384 - w1;
  return _mm_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(w1) << 16) | uint32_t(w0)));
}

// (w0 * a + w1 * b + round) >> shift for eight 16-bit lanes of a and b,
// as two vectors of four 32-bit results.
template <int Shift>
void BlendPairs16(__m128i a, __m128i b, __m128i weights, __m128i round, __m128i* lo, __m128i* hi) {
  *lo = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), weights), round), Shift);
  *hi = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), weights), round), Shift);
}

// Truncate, bias, saturate to signed 16, unbias: eight floats to 16u.
__m128i FloatsToUint16(__m128 lo, __m128 hi) {
  const __m128i bias32 = _mm_set1_epi32(-32768);
  const __m128i bias16 = _mm_set1_epi16(static_cast<int16_t>(0x8000));
  const __m128i l = _mm_add_epi32(_mm_cvttps_epi32(lo), bias32);
  const __m128i h = _mm_add_epi32(_mm_cvttps_epi32(hi), bias32);
  return _mm_add_epi16(_mm_packs_epi32(l, h), bias16);
}

__m128 Lerp(__m128 a, __m128 b, __m128 f) { return _mm_add_ps(a, _mm_mul_ps(_mm_sub_ps(b, a), f)); }

__m128 Mix(__m128 a, __m128 b, __m128 oneMinusF, __m128 f) {
  return _mm_add_ps(_mm_mul_ps(a, oneMinusF), _mm_mul_ps(b, f));
}

// --- The x pass of a few columns, once their tap pairs are loaded (the
// row kernels differ only in how they fetch the pairs) ---

// Eight 8u columns from 16 bytes: each column's left and right tap.
__m128i XColumns8u(__m128i taps, const Weight8uPair* xWeight) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i round = _mm_set1_epi32(128);
  const __m128i w03 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(xWeight));
  const __m128i w47 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(xWeight + 4));
  const __m128i s03 = _mm_madd_epi16(_mm_unpacklo_epi8(taps, zero), w03);
  const __m128i s47 = _mm_madd_epi16(_mm_unpackhi_epi8(taps, zero), w47);
  const __m128i r03 = _mm_srai_epi32(_mm_add_epi32(s03, round), 8);
  const __m128i r47 = _mm_srai_epi32(_mm_add_epi32(s47, round), 8);
  return _mm_packs_epi32(r03, r47);
}

int16_t XColumn8u(const uint8_t* s, Weight8uPair w) {
  return SaturateToInt16((w.w0 * s[0] + w.w1 * s[1] + 128) >> 8);
}

// Four 16u columns from four 32-bit words: left tap low, right tap high.
__m128 XColumns16u(__m128i taps, const float* xWeight) {
  const __m128i low16 = _mm_set1_epi32(0xFFFF);
  const __m128 a = _mm_cvtepi32_ps(_mm_and_si128(taps, low16));
  const __m128 b = _mm_cvtepi32_ps(_mm_srli_epi32(taps, 16));
  return Lerp(a, b, _mm_loadu_ps(xWeight));
}

float XColumn16u(const uint16_t* s, float w) {
  const float a = static_cast<float>(s[0]);
  const float b = static_cast<float>(s[1]);
  return a + (b - a) * w;
}

// Four 32f columns from the pairs of columns 0, 1 (p01) and 2, 3 (p23):
// the even (left) and odd (right) lanes apart.
__m128 XColumns32f(__m128 p01, __m128 p23, const float* xWeight) {
  const __m128 a = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
  const __m128 b = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
  return Lerp(a, b, _mm_loadu_ps(xWeight));
}

float XColumn32f(const float* s, float w) { return s[0] + (s[1] - s[0]) * w; }

}  // namespace

// ---------------------------------------------------------------- along x

void LinearRowX(const uint8_t* src, int32_t n, const int32_t* xIndex, const Weight8uPair* xWeight,
                int16_t* row) {
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    // Each column's two adjacent source bytes in one 16-bit load, four
    // columns gathered into a 64-bit word.
    const __m128i taps = _mm_set_epi64x(GatherPairs8u(src, xIndex + i + 4), GatherPairs8u(src, xIndex + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + i), XColumns8u(taps, xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn8u(src + xIndex[i], xWeight[i]);
}

void LinearRowX(const uint16_t* src, int32_t n, const int32_t* xIndex, const float* xWeight,
                float* row) {
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    // Each column's two adjacent samples in one 32-bit load.
    const __m128i taps = _mm_setr_epi32(
        static_cast<int32_t>(LoadPair16u(src + xIndex[i])), static_cast<int32_t>(LoadPair16u(src + xIndex[i + 1])),
        static_cast<int32_t>(LoadPair16u(src + xIndex[i + 2])), static_cast<int32_t>(LoadPair16u(src + xIndex[i + 3])));
    _mm_storeu_ps(row + i, XColumns16u(taps, xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn16u(src + xIndex[i], xWeight[i]);
}

void LinearRowX(const float* src, int32_t n, const int32_t* xIndex, const float* xWeight,
                float* row) {
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    // Each column's two adjacent samples in one 64-bit load.
    const __m128 zero = _mm_setzero_ps();
    const __m128 p01 = _mm_loadh_pi(_mm_loadl_pi(zero, reinterpret_cast<const __m64*>(src + xIndex[i])),
                                    reinterpret_cast<const __m64*>(src + xIndex[i + 1]));
    const __m128 p23 = _mm_loadh_pi(_mm_loadl_pi(zero, reinterpret_cast<const __m64*>(src + xIndex[i + 2])),
                                    reinterpret_cast<const __m64*>(src + xIndex[i + 3]));
    _mm_storeu_ps(row + i, XColumns32f(p01, p23, xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn32f(src + xIndex[i], xWeight[i]);
}

// Columns whose taps are every second source sample: column i reads
// src[2i] and src[2i + 1], so straight loads give the same pairs as the
// per-column loads above, several columns at a time.

bool ColumnsStepBy2(const int32_t* xIndex, int32_t n) {
  for (int32_t i = 1; i < n; ++i)
    if (xIndex[i] != xIndex[i - 1] + 2) return false;
  return true;
}

void LinearRowXStep2(const uint8_t* src, int32_t n, const Weight8uPair* xWeight, int16_t* row) {
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i taps = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + i), XColumns8u(taps, xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn8u(src + 2 * i, xWeight[i]);
}

void LinearRowXStep2(const uint16_t* src, int32_t n, const float* xWeight, float* row) {
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i taps = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * i));
    _mm_storeu_ps(row + i, XColumns16u(taps, xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn16u(src + 2 * i, xWeight[i]);
}

void LinearRowXStep2(const float* src, int32_t n, const float* xWeight, float* row) {
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    _mm_storeu_ps(row + i, XColumns32f(_mm_loadu_ps(src + 2 * i), _mm_loadu_ps(src + 2 * i + 4), xWeight + i));
  }
  for (; i < n; ++i) row[i] = XColumn32f(src + 2 * i, xWeight[i]);
}

namespace {

template <typename T, typename XWeight, typename Weight, typename Inner>
void RowXYStep2(const T* srcA, const T* srcB, int32_t n, const XWeight* xWeight, Weight w,
                Inner* rowA, Inner* rowB, Inner* out) {
  LinearRowXStep2(srcA, n, xWeight, rowA);
  LinearRowXStep2(srcB, n, xWeight, rowB);
  LinearRowY(out, n, w, rowA, rowB);
}

}  // namespace

void LinearRowXYStep2(const uint8_t* srcA, const uint8_t* srcB, int32_t n, const Weight8uPair* xWeight,
                      uint16_t w1, int16_t* rowA, int16_t* rowB, int16_t* out) {
  RowXYStep2(srcA, srcB, n, xWeight, w1, rowA, rowB, out);
}
void LinearRowXYStep2(const uint16_t* srcA, const uint16_t* srcB, int32_t n, const float* xWeight, float f,
                      float* rowA, float* rowB, float* out) {
  RowXYStep2(srcA, srcB, n, xWeight, f, rowA, rowB, out);
}
void LinearRowXYStep2(const float* srcA, const float* srcB, int32_t n, const float* xWeight, float f,
                      float* rowA, float* rowB, float* out) {
  RowXYStep2(srcA, srcB, n, xWeight, f, rowA, rowB, out);
}

void LinearDirectInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* a, const float* b,
                          const int32_t* rowOffsets, int32_t rowStep, const float* xWeight, const float* yWeight,
                          float zWeight) {
  const float oneMinusZ = 1.0f - zWeight;
  const __m128 fz = _mm_set1_ps(zWeight), fz0 = _mm_set1_ps(oneMinusZ);
  for (int32_t r = 0; r < hi; ++r) {
    const FourSourceRows<float> rows(a, b, rowOffsets[r], rowStep);
    float* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    const float fy = yWeight[r];
    const __m128 weightY = _mm_set1_ps(fy);
    auto x = [&](int32_t k, int32_t i) {
      return XColumns32f(_mm_loadu_ps(rows.row[k] + 2 * i), _mm_loadu_ps(rows.row[k] + 2 * i + 4), xWeight + i);
    };
    int32_t i = 0;
    for (; i + 4 <= wi; i += 4)
      _mm_storeu_ps(out + i, Mix(Lerp(x(0, i), x(1, i), weightY), Lerp(x(2, i), x(3, i), weightY), fz0, fz));
    for (; i < wi; ++i) {
      float column[4];
      for (int32_t k = 0; k < 4; ++k) column[k] = XColumn32f(rows.row[k] + 2 * i, xWeight[i]);
      const float ya = column[0] + (column[1] - column[0]) * fy;
      const float yb = column[2] + (column[3] - column[2]) * fy;
      out[i] = ya * oneMinusZ + yb * zWeight;
    }
  }
}

// ---------------------------------------------------------------- along y

void LinearRowY(int16_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const __m128i weights = WeightPairs(w1);
  const __m128i round = _mm_set1_epi32(8192);
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    __m128i lo, hi;
    BlendPairs16<14>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i)),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)), weights, round, &lo, &hi);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packs_epi32(lo, hi));
  }
  const int32_t w0 = 16384 - w1;
  for (; i < n; ++i) out[i] = SaturateToInt16((w0 * a[i] + w1 * b[i] + 8192) >> 14);
}

void LinearRowY(float* out, int32_t n, float f, const float* a, const float* b) {
  const __m128 weight = _mm_set1_ps(f);
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    _mm_storeu_ps(out + i, Lerp(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i), weight));
    _mm_storeu_ps(out + i + 4, Lerp(_mm_loadu_ps(a + i + 4), _mm_loadu_ps(b + i + 4), weight));
  }
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(out + i, Lerp(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i), weight));
  for (; i < n; ++i) out[i] = a[i] + (b[i] - a[i]) * f;
}

void LinearRowY2D(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const __m128i weights = WeightPairs(w1);
  const __m128i round = _mm_set1_epi32(524288);
  int32_t i = 0;
  for (; i + 16 <= n; i += 16) {
    __m128i lo0, hi0, lo1, hi1;
    BlendPairs16<20>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i)),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)), weights, round, &lo0, &hi0);
    BlendPairs16<20>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i + 8)),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i + 8)), weights, round, &lo1, &hi1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                     _mm_packus_epi16(_mm_packs_epi32(lo0, hi0), _mm_packs_epi32(lo1, hi1)));
  }
  for (; i + 8 <= n; i += 8) {
    __m128i lo, hi;
    BlendPairs16<20>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i)),
                     _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)), weights, round, &lo, &hi);
    const __m128i packed = _mm_packs_epi32(lo, hi);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(packed, packed));
  }
  const int32_t w0 = 16384 - w1;
  for (; i < n; ++i) {
    const int16_t narrowed = SaturateToInt16((w0 * a[i] + w1 * b[i] + 524288) >> 20);
    out[i] = SaturateToUint8(narrowed);
  }
}

void LinearRowY2D(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const __m128 weight = _mm_set1_ps(f);
  const __m128 round = _mm_set1_ps(0.5000001f);
  int32_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128 lo = _mm_add_ps(Lerp(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i), weight), round);
    const __m128 hi = _mm_add_ps(Lerp(_mm_loadu_ps(a + i + 4), _mm_loadu_ps(b + i + 4), weight), round);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), FloatsToUint16(lo, hi));
  }
  for (; i < n; ++i) out[i] = FloatToUint16(a[i] + (b[i] - a[i]) * f + 0.5000001f);
}

// ---------------------------------------------------------------- along z

void LinearBlendInterior(uint8_t* dst, int32_t dstStep, int32_t wi, int32_t hi, uint16_t w1,
                         const int16_t* a, const int16_t* b, int32_t stride) {
  // The z pass of 8u has the final rounding of the 2-D y pass.
  for (int32_t r = 0; r < hi; ++r) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(r) * stride;
    LinearRowY2D(dst + static_cast<ptrdiff_t>(r) * dstStep, wi, w1, a + at, b + at);
  }
}

void LinearBlendInterior(uint16_t* dst, int32_t dstStep, int32_t wi, int32_t hi, float f,
                         const float* a, const float* b, int32_t stride) {
  const float oneMinusF = 1.0f - f;
  const __m128 weight = _mm_set1_ps(f), weight0 = _mm_set1_ps(oneMinusF);
  const __m128 round = _mm_set1_ps(0.5000001f);
  for (int32_t r = 0; r < hi; ++r) {
    const float* pa = a + static_cast<ptrdiff_t>(r) * stride;
    const float* pb = b + static_cast<ptrdiff_t>(r) * stride;
    uint16_t* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    int32_t i = 0;
    for (; i + 8 <= wi; i += 8) {
      const __m128 lo = _mm_add_ps(Mix(_mm_loadu_ps(pa + i), _mm_loadu_ps(pb + i), weight0, weight), round);
      const __m128 hi4 = _mm_add_ps(Mix(_mm_loadu_ps(pa + i + 4), _mm_loadu_ps(pb + i + 4), weight0, weight), round);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), FloatsToUint16(lo, hi4));
    }
    for (; i < wi; ++i) out[i] = FloatToUint16(pa[i] * oneMinusF + pb[i] * f + 0.5000001f);
  }
}

void LinearBlendInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi, float f,
                         const float* a, const float* b, int32_t stride) {
  const float oneMinusF = 1.0f - f;
  const __m128 weight = _mm_set1_ps(f), weight0 = _mm_set1_ps(oneMinusF);
  for (int32_t r = 0; r < hi; ++r) {
    const float* pa = a + static_cast<ptrdiff_t>(r) * stride;
    const float* pb = b + static_cast<ptrdiff_t>(r) * stride;
    float* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    int32_t i = 0;
    for (; i + 8 <= wi; i += 8) {
      _mm_storeu_ps(out + i, Mix(_mm_loadu_ps(pa + i), _mm_loadu_ps(pb + i), weight0, weight));
      _mm_storeu_ps(out + i + 4, Mix(_mm_loadu_ps(pa + i + 4), _mm_loadu_ps(pb + i + 4), weight0, weight));
    }
    for (; i + 4 <= wi; i += 4)
      _mm_storeu_ps(out + i, Mix(_mm_loadu_ps(pa + i), _mm_loadu_ps(pb + i), weight0, weight));
    for (; i < wi; ++i) out[i] = pa[i] * oneMinusF + pb[i] * f;
  }
}

namespace {

// The SSE forms write through the cache in either case.
const LinearRowKernels kSseKernels = {
    {LinearRowX, LinearRowXStep2, LinearRowXYStep2, LinearRowY, LinearRowY2D, LinearBlendInterior, LinearBlendInterior,
     LinearHalvingInterior, LinearHalvingInterior, nullptr, nullptr},
    {LinearRowX, LinearRowXStep2, LinearRowXYStep2, LinearRowY, LinearRowY2D, LinearBlendInterior, LinearBlendInterior,
     LinearHalvingInterior, LinearHalvingInterior, nullptr, nullptr},
    // Float rows: the 3-D kernel serves the planes without a z blend too.
    {LinearRowX, LinearRowXStep2, LinearRowXYStep2, LinearRowY, LinearRowY, LinearBlendInterior, LinearBlendInterior,
     nullptr, nullptr, LinearDirectInterior, LinearDirectInterior},
};

}  // namespace

const LinearRowKernels* LinearRowKernelsSse() { return &kSseKernels; }
