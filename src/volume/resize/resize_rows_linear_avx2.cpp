// AVX2 forms of the busiest linear row kernels.  Each lane does exactly what
// a lane of the SSE form does (the same operations in the same order, no
// fused multiply-add), so the results are the same bits; only the width
// differs.  What a block loop leaves over goes to the SSE form.  This file
// alone is built for AVX2, and runs only where the processor has it.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_rows_linear.h"

namespace {

__m256i LoadInts(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
void StoreInts(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }

__m256 Lerp(__m256 a, __m256 b, __m256 f) {
  return _mm256_add_ps(a, _mm256_mul_ps(_mm256_sub_ps(b, a), f));
}

__m256 Mix(__m256 a, __m256 b, __m256 oneMinusF, __m256 f) {
  return _mm256_add_ps(_mm256_mul_ps(a, oneMinusF), _mm256_mul_ps(b, f));
}

// The packing instructions work within 128-bit halves; this puts the
// 64-bit quarters back in order after packing two vectors.
__m256i InOrder(__m256i packed) { return _mm256_permute4x64_epi64(packed, 0xD8); }

// The pair (w0, w1) repeated in every 32-bit lane.
__m256i WeightPairs(uint16_t w1) {
  const int32_t w0 = 16384 - w1;
  return _mm256_set1_epi32(static_cast<int32_t>((static_cast<uint32_t>(w1) << 16) | uint32_t(w0)));
}

// (w0 * a + w1 * b + round) >> Shift for sixteen 16-bit lanes, packed back
// to sixteen signed 16-bit results with saturation, in order (unpacking and
// packing both stay within halves, so their orders cancel).
template <int Shift>
__m256i BlendPairs16(__m256i a, __m256i b, __m256i weights, __m256i round) {
  const __m256i lo = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), weights), round), Shift);
  const __m256i hi = _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), weights), round), Shift);
  return _mm256_packs_epi32(lo, hi);
}

// Truncate, bias, saturate to signed 16, unbias: sixteen floats to 16u.
__m256i FloatsToUint16(__m256 lo, __m256 hi) {
  const __m256i bias32 = _mm256_set1_epi32(-32768);
  const __m256i bias16 = _mm256_set1_epi16(static_cast<int16_t>(0x8000));
  const __m256i l = _mm256_add_epi32(_mm256_cvttps_epi32(lo), bias32);
  const __m256i h = _mm256_add_epi32(_mm256_cvttps_epi32(hi), bias32);
  return _mm256_add_epi16(InOrder(_mm256_packs_epi32(l, h)), bias16);
}

// How a kernel writes its full vectors.  Plain stores go through the
// cache.  Streaming stores bypass it, for destinations far larger than the
// cache that nothing reads again soon: they need 32-byte alignment, so a
// row's head up to the first aligned sample goes the plain way (a row whose
// samples are not even aligned to their own size goes all of it), and they
// are fenced before the kernel returns.
struct PlainStores {
  template <typename T>
  static int32_t Head(const T*, int32_t) { return 0; }
  static void Put(void* p, __m256i v) { StoreInts(p, v); }
  static void Put(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
  static void Finish() {}
};

struct StreamingStores {
  template <typename T>
  static int32_t Head(const T* p, int32_t n) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(p);
    if (at % sizeof(T) != 0) return n;
    const int32_t head = static_cast<int32_t>(((32 - at % 32) % 32) / sizeof(T));
    return head < n ? head : n;
  }
  static void Put(void* p, __m256i v) { _mm256_stream_si256(static_cast<__m256i*>(p), v); }
  static void Put(float* p, __m256 v) { _mm256_stream_ps(p, v); }
  static void Finish() { _mm_sfence(); }
};

// ---------------------------------------------------------------- along x

// A straight x pass reads the source as one stream, row after row and
// plane after plane; asking for the bytes a little ahead keeps more of the
// stream in flight than the processor's own prefetching does.
void PrefetchAhead(const void* p) {
  constexpr ptrdiff_t kAheadBytes = 2048;
  _mm_prefetch(static_cast<const char*>(p) + kAheadBytes, _MM_HINT_T0);
}

// One block of columns of a straight x pass, from the block's first tap
// on: 16 columns of 8u as 16-bit values (saturated as a row buffer holds
// them), 8 columns of 16u or 32f as floats.
__m256i XBlock(const uint8_t* src, const Weight8uPair* xWeight) {
  const __m256i round = _mm256_set1_epi32(128);
  // Sixteen columns' pairs are 32 straight bytes, widened eight pairs at a time.
  const __m256i taps07 = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)));
  const __m256i taps8f = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16)));
  const __m256i s07 = _mm256_madd_epi16(taps07, LoadInts(xWeight));
  const __m256i s8f = _mm256_madd_epi16(taps8f, LoadInts(xWeight + 8));
  const __m256i r07 = _mm256_srai_epi32(_mm256_add_epi32(s07, round), 8);
  const __m256i r8f = _mm256_srai_epi32(_mm256_add_epi32(s8f, round), 8);
  return InOrder(_mm256_packs_epi32(r07, r8f));
}

__m256 XBlock(const uint16_t* src, const float* xWeight) {
  const __m256i taps = LoadInts(src);
  const __m256 a = _mm256_cvtepi32_ps(_mm256_and_si256(taps, _mm256_set1_epi32(0xFFFF)));
  const __m256 b = _mm256_cvtepi32_ps(_mm256_srli_epi32(taps, 16));
  return Lerp(a, b, _mm256_loadu_ps(xWeight));
}

__m256 XBlock(const float* src, const float* xWeight) {
  // Columns 0 .. 3 in the low half, 4 .. 7 in the high half, so the
  // even/odd split within halves keeps the columns in order.
  const __m256 p0 = _mm256_loadu2_m128(src + 8, src);
  const __m256 p1 = _mm256_loadu2_m128(src + 12, src + 4);
  const __m256 a = _mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0));
  const __m256 b = _mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1));
  return Lerp(a, b, _mm256_loadu_ps(xWeight));
}

template <typename T>
constexpr int32_t kXBlock = sizeof(T) == 1 ? 16 : 8;

void Put(int16_t* p, __m256i v) { StoreInts(p, v); }
void Put(float* p, __m256 v) { _mm256_storeu_ps(p, v); }

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
  __m256i weights = _mm256_setzero_si256(), round = _mm256_set1_epi32(8192);
  __m256i operator()(__m256i a, __m256i b) const { return BlendPairs16<14>(a, b, weights, round); }
};
struct YPassFloat {
  __m256 f;
  __m256 operator()(__m256 a, __m256 b) const { return Lerp(a, b, f); }
};
YPass8u MakeYPass(uint16_t w1) {
  YPass8u y;
  y.weights = WeightPairs(w1);
  return y;
}
YPassFloat MakeYPass(float f) { return {_mm256_set1_ps(f)}; }

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
  const __m256i weights = WeightPairs(w1);
  const __m256i round = _mm256_set1_epi32(8192);
  int32_t i = 0;
  for (; i + 16 <= n; i += 16)
    StoreInts(out + i, BlendPairs16<14>(LoadInts(a + i), LoadInts(b + i), weights, round));
  if (i < n) LinearRowY(out + i, n - i, w1, a + i, b + i);
}

void RowY(float* out, int32_t n, float f, const float* a, const float* b) {
  const __m256 weight = _mm256_set1_ps(f);
  int32_t i = 0;
  for (; i + 8 <= n; i += 8)
    _mm256_storeu_ps(out + i, Lerp(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), weight));
  if (i < n) LinearRowY(out + i, n - i, f, a + i, b + i);
}

// The y pass into a plain 8u row, and the z pass of an 8u interior row (the
// same arithmetic); Store decides how the 32-byte blocks are written.
template <typename Store>
void BlendRow8u(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const __m256i weights = WeightPairs(w1);
  const __m256i round = _mm256_set1_epi32(524288);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearRowY2D(out, i, w1, a, b);
  for (; i + 32 <= n; i += 32) {
    const __m256i v0 = BlendPairs16<20>(LoadInts(a + i), LoadInts(b + i), weights, round);
    const __m256i v1 = BlendPairs16<20>(LoadInts(a + i + 16), LoadInts(b + i + 16), weights, round);
    Store::Put(out + i, InOrder(_mm256_packus_epi16(v0, v1)));
  }
  if (i < n) LinearRowY2D(out + i, n - i, w1, a + i, b + i);
}

void RowY2D(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  BlendRow8u<PlainStores>(out, n, w1, a, b);
}

void RowY2D(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const __m256 weight = _mm256_set1_ps(f);
  const __m256 round = _mm256_set1_ps(0.5000001f);
  int32_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256 lo = _mm256_add_ps(Lerp(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), weight), round);
    const __m256 hi = _mm256_add_ps(Lerp(_mm256_loadu_ps(a + i + 8), _mm256_loadu_ps(b + i + 8), weight), round);
    StoreInts(out + i, FloatsToUint16(lo, hi));
  }
  if (i < n) LinearRowY2D(out + i, n - i, f, a + i, b + i);
}

// ---------------------------------------------------------------- along z

// One interior row of the z pass; the SSE form takes the head that Store
// leaves and the remainder.
template <typename Store>
void BlendRow(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const __m256 weight = _mm256_set1_ps(f), weight0 = _mm256_set1_ps(1.0f - f);
  const __m256 round = _mm256_set1_ps(0.5000001f);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearBlendInterior(out, 0, i, 1, f, a, b, 0);
  for (; i + 16 <= n; i += 16) {
    const __m256 lo = _mm256_add_ps(Mix(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), weight0, weight), round);
    const __m256 hi = _mm256_add_ps(Mix(_mm256_loadu_ps(a + i + 8), _mm256_loadu_ps(b + i + 8), weight0, weight), round);
    Store::Put(out + i, FloatsToUint16(lo, hi));
  }
  if (i < n) LinearBlendInterior(out + i, 0, n - i, 1, f, a + i, b + i, 0);
}

template <typename Store>
void BlendRow(float* out, int32_t n, float f, const float* a, const float* b) {
  const __m256 weight = _mm256_set1_ps(f), weight0 = _mm256_set1_ps(1.0f - f);
  int32_t i = Store::Head(out, n);
  if (i > 0) LinearBlendInterior(out, 0, i, 1, f, a, b, 0);
  for (; i + 8 <= n; i += 8)
    Store::Put(out + i, Mix(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i), weight0, weight));
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
const LinearRowKernels kAvx2Kernels = {
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY2D, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY2D, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
    {LinearRowX, RowXStep2, RowXYStep2, RowY, RowY, BlendInterior<PlainStores>, BlendInterior<StreamingStores>},
};

}  // namespace

const LinearRowKernels& LinearRowKernelsAvx2() { return kAvx2Kernels; }
