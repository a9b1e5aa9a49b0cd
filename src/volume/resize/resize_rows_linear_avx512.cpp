// AVX-512 forms of the busiest linear row kernels, twice the width of the
// AVX2 forms and built the same way: each lane does exactly what a lane of
// the SSE form does (no fused multiply-add), and what a block loop leaves
// over goes to the SSE form.  This file alone is built for AVX-512 (F and
// BW), and runs only where the processor has both.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_rows_linear.h"

namespace {

__m512i LoadInts(const void* p) { return _mm512_loadu_si512(p); }

__m512 Lerp(__m512 a, __m512 b, __m512 f) {
  return _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), f));
}

__m512 Mix(__m512 a, __m512 b, __m512 oneMinusF, __m512 f) {
  return _mm512_add_ps(_mm512_mul_ps(a, oneMinusF), _mm512_mul_ps(b, f));
}

// The packing instructions work within 128-bit quarters; this puts the
// 64-bit pieces back in order after packing two vectors.
__m512i InOrder(__m512i packed) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
}

__m512i WeightPairs(uint16_t w1) {
  const int32_t w0 = 16384 - w1;
  return _mm512_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(w1) << 16) | uint32_t(w0)));
}

// (w0 * a + w1 * b + round) >> Shift for 32 16-bit lanes, packed back to 32
// signed 16-bit results with saturation, in order (unpacking and packing
// both stay within quarters, so their orders cancel).
template <int Shift>
__m512i BlendPairs16(__m512i a, __m512i b, __m512i weights, __m512i round) {
  const __m512i lo = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(_mm512_unpacklo_epi16(a, b), weights), round), Shift);
  const __m512i hi = _mm512_srai_epi32(_mm512_add_epi32(_mm512_madd_epi16(_mm512_unpackhi_epi16(a, b), weights), round), Shift);
  return _mm512_packs_epi32(lo, hi);
}

// Truncate, bias, saturate to signed 16, unbias: 32 floats to 16u.
__m512i FloatsToUint16(__m512 lo, __m512 hi) {
  const __m512i bias32 = _mm512_set1_epi32(-32768);
  const __m512i bias16 = _mm512_set1_epi16(static_cast<int16_t>(0x8000));
  const __m512i l = _mm512_add_epi32(_mm512_cvttps_epi32(lo), bias32);
  const __m512i h = _mm512_add_epi32(_mm512_cvttps_epi32(hi), bias32);
  return _mm512_add_epi16(InOrder(_mm512_packs_epi32(l, h)), bias16);
}

// Plain stores through the cache, or streaming stores past it (64-byte
// aligned: the head of a row up to the first aligned sample goes the plain
// way, and a row whose samples are not aligned to their own size goes all
// of it; fenced before the kernel returns).
struct PlainStores {
  template <typename T>
  static int32_t Head(const T*, int32_t) { return 0; }
  static void Put(void* p, __m512i v) { _mm512_storeu_si512(p, v); }
  static void Put(float* p, __m512 v) { _mm512_storeu_ps(p, v); }
  static void Finish() {}
};

struct StreamingStores {
  template <typename T>
  static int32_t Head(const T* p, int32_t n) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(p);
    if (at % sizeof(T) != 0) return n;
    const int32_t head = static_cast<int32_t>(((64 - at % 64) % 64) / sizeof(T));
    return head < n ? head : n;
  }
  static void Put(void* p, __m512i v) { _mm512_stream_si512(static_cast<__m512i*>(p), v); }
  static void Put(float* p, __m512 v) { _mm512_stream_ps(p, v); }
  static void Finish() { _mm_sfence(); }
};

// ---------------------------------------------------------------- along x

// The straight x pass reads the source as one stream; asking for it a
// little ahead keeps more of it in flight.
void PrefetchAhead(const void* p) {
  constexpr ptrdiff_t kAheadBytes = 2048;
  _mm_prefetch(static_cast<const char*>(p) + kAheadBytes, _MM_HINT_T0);
}

// One block of columns of a straight x pass, from the block's first tap
// on: 32 columns of 8u as 16-bit values (saturated as a row buffer holds
// them), 16 columns of 16u or 32f as floats.
__m512i XBlock(const uint8_t* src, const Weight8uPair* xWeight) {
  const __m512i round = _mm512_set1_epi32(128);
  // 32 columns' pairs are 64 straight bytes, widened sixteen pairs at a time.
  const __m512i taps0 = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src)));
  const __m512i taps1 = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 32)));
  const __m512i s0 = _mm512_madd_epi16(taps0, LoadInts(xWeight));
  const __m512i s1 = _mm512_madd_epi16(taps1, LoadInts(xWeight + 16));
  const __m512i r0 = _mm512_srai_epi32(_mm512_add_epi32(s0, round), 8);
  const __m512i r1 = _mm512_srai_epi32(_mm512_add_epi32(s1, round), 8);
  return InOrder(_mm512_packs_epi32(r0, r1));
}

__m512 XBlock(const uint16_t* src, const float* xWeight) {
  const __m512i taps = LoadInts(src);
  const __m512 a = _mm512_cvtepi32_ps(_mm512_and_si512(taps, _mm512_set1_epi32(0xFFFF)));
  const __m512 b = _mm512_cvtepi32_ps(_mm512_srli_epi32(taps, 16));
  return Lerp(a, b, _mm512_loadu_ps(xWeight));
}

__m512 XBlock(const float* src, const float* xWeight) {
  const __m512i even = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  const __m512i odd = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
  const __m512 p0 = _mm512_loadu_ps(src);
  const __m512 p1 = _mm512_loadu_ps(src + 16);
  return Lerp(_mm512_permutex2var_ps(p0, even, p1), _mm512_permutex2var_ps(p0, odd, p1), _mm512_loadu_ps(xWeight));
}

template <typename T>
constexpr int32_t kXBlock = sizeof(T) == 1 ? 32 : 16;

void Put(int16_t* p, __m512i v) { _mm512_storeu_si512(p, v); }
void Put(float* p, __m512 v) { _mm512_storeu_ps(p, v); }

template <typename T, typename XWeight, typename Inner>
void RowXStep2(const T* src, int32_t n, const XWeight* xWeight, Inner* row) {
  int32_t i = 0;
  for (; i + kXBlock<T> <= n; i += kXBlock<T>) {
    PrefetchAhead(src + 2 * i);
    Put(row + i, XBlock(src + 2 * i, xWeight + i));
  }
  if (i < n) LinearRowXStep2(src + 2 * i, n - i, xWeight + i, row + i);
}

// The y pass of one block, with the weight of its row.
struct YPass8u {
  __m512i weights = _mm512_setzero_si512(), round = _mm512_set1_epi32(8192);
  __m512i operator()(__m512i a, __m512i b) const { return BlendPairs16<14>(a, b, weights, round); }
};
struct YPassFloat {
  __m512 f;
  __m512 operator()(__m512 a, __m512 b) const { return Lerp(a, b, f); }
};
YPass8u MakeYPass(uint16_t w1) {
  YPass8u y;
  y.weights = WeightPairs(w1);
  return y;
}
YPassFloat MakeYPass(float f) { return {_mm512_set1_ps(f)}; }

// Both source rows of a destination row along x, then their blend along y,
// without the round trip through the row buffers (the remainder goes to
// the SSE form, which uses them).
template <typename T, typename XWeight, typename Weight, typename Inner>
void RowXYStep2(const T* srcA, const T* srcB, int32_t n, const XWeight* xWeight, Weight w,
                Inner* rowA, Inner* rowB, Inner* out) {
  const auto blendY = MakeYPass(w);
  int32_t i = 0;
  for (; i + kXBlock<T> <= n; i += kXBlock<T>) {
    PrefetchAhead(srcA + 2 * i);
    PrefetchAhead(srcB + 2 * i);
    Put(out + i, blendY(XBlock(srcA + 2 * i, xWeight + i), XBlock(srcB + 2 * i, xWeight + i)));
  }
  if (i < n) LinearRowXYStep2(srcA + 2 * i, srcB + 2 * i, n - i, xWeight + i, w, rowA, rowB, out + i);
}

// ---------------------------------------------------------------- along y

void RowY(int16_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const __m512i weights = WeightPairs(w1);
  const __m512i round = _mm512_set1_epi32(8192);
  int32_t i = 0;
  for (; i + 32 <= n; i += 32)
    _mm512_storeu_si512(out + i, BlendPairs16<14>(LoadInts(a + i), LoadInts(b + i), weights, round));
  if (i < n) LinearRowY(out + i, n - i, w1, a + i, b + i);
}

void RowY(float* out, int32_t n, float f, const float* a, const float* b) {
  const __m512 weight = _mm512_set1_ps(f);
  int32_t i = 0;
  for (; i + 16 <= n; i += 16)
    _mm512_storeu_ps(out + i, Lerp(_mm512_loadu_ps(a + i), _mm512_loadu_ps(b + i), weight));
  if (i < n) LinearRowY(out + i, n - i, f, a + i, b + i);
}

// The y pass into a plain 8u row, and the z pass of an 8u interior row (the
// same arithmetic).
template <typename Store>
void BlendRow8u(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const __m512i weights = WeightPairs(w1);
  const __m512i round = _mm512_set1_epi32(524288);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearRowY2D(out, i, w1, a, b);
  for (; i + 64 <= n; i += 64) {
    const __m512i v0 = BlendPairs16<20>(LoadInts(a + i), LoadInts(b + i), weights, round);
    const __m512i v1 = BlendPairs16<20>(LoadInts(a + i + 32), LoadInts(b + i + 32), weights, round);
    Store::Put(out + i, InOrder(_mm512_packus_epi16(v0, v1)));
  }
  if (i < n) LinearRowY2D(out + i, n - i, w1, a + i, b + i);
}

void RowY2D(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  BlendRow8u<PlainStores>(out, n, w1, a, b);
}

void RowY2D(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const __m512 weight = _mm512_set1_ps(f);
  const __m512 round = _mm512_set1_ps(0.5000001f);
  int32_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m512 lo = _mm512_add_ps(Lerp(_mm512_loadu_ps(a + i), _mm512_loadu_ps(b + i), weight), round);
    const __m512 hi = _mm512_add_ps(Lerp(_mm512_loadu_ps(a + i + 16), _mm512_loadu_ps(b + i + 16), weight), round);
    _mm512_storeu_si512(out + i, FloatsToUint16(lo, hi));
  }
  if (i < n) LinearRowY2D(out + i, n - i, f, a + i, b + i);
}

// ---------------------------------------------------------------- along z

template <typename Store>
void BlendRow(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const __m512 weight = _mm512_set1_ps(f), weight0 = _mm512_set1_ps(1.0f - f);
  const __m512 round = _mm512_set1_ps(0.5000001f);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearBlendInterior(out, 0, i, 1, f, a, b, 0);
  for (; i + 32 <= n; i += 32) {
    const __m512 lo = _mm512_add_ps(Mix(_mm512_loadu_ps(a + i), _mm512_loadu_ps(b + i), weight0, weight), round);
    const __m512 hi = _mm512_add_ps(Mix(_mm512_loadu_ps(a + i + 16), _mm512_loadu_ps(b + i + 16), weight0, weight), round);
    Store::Put(out + i, FloatsToUint16(lo, hi));
  }
  if (i < n) LinearBlendInterior(out + i, 0, n - i, 1, f, a + i, b + i, 0);
}

template <typename Store>
void BlendRow(float* out, int32_t n, float f, const float* a, const float* b) {
  const __m512 weight = _mm512_set1_ps(f), weight0 = _mm512_set1_ps(1.0f - f);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearBlendInterior(out, 0, i, 1, f, a, b, 0);
  for (; i + 16 <= n; i += 16)
    Store::Put(out + i, Mix(_mm512_loadu_ps(a + i), _mm512_loadu_ps(b + i), weight0, weight));
  if (i < n) LinearBlendInterior(out + i, 0, n - i, 1, f, a + i, b + i, 0);
}

template <typename Store>
void BlendRow(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  BlendRow8u<Store>(out, n, w1, a, b);
}

template <typename Store, typename T, typename Weight, typename Inner>
void BlendInterior(T* dst, int32_t dstStep, int32_t wi, int32_t hi, Weight w, const Inner* a,
                   const Inner* b, int32_t stride) {
  for (int32_t r = 0; r < hi; ++r) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(r) * stride;
    BlendRow<Store>(dst + static_cast<ptrdiff_t>(r) * dstStep, wi, w, a + at, b + at);
  }
  Store::Finish();
}

// The gathering x pass stays in its SSE form: per-column loads dominate it.
const LinearRowKernels kAvx512Kernels = {
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY2D, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY2D, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
};

}  // namespace

const LinearRowKernels& LinearRowKernelsAvx512() { return kAvx512Kernels; }
