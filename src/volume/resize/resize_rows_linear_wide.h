// The wide forms of the busiest linear row kernels, written once for any
// vector width.  `W` gives the width's vector types and operations (see
// resize_rows_linear_avx2.cpp and resize_rows_linear_avx512.cpp, each built
// for its instruction set); each lane does exactly what a lane of the SSE
// form does, so every width gives the same bits.
//
// A row runs as many whole blocks as fit, then one more block that ends at
// the row's end: the samples it shares with the block before are computed
// again to the same values.  Only a row shorter than one block goes to the
// SSE form.  Outputs never overlap inputs, so the repeat is harmless.
//
// Include only from a file built for the width; `W` is a type of that file
// alone, so every instance here stays private to it.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_rows_linear.h"

namespace wide_rows {

// Plain stores go through the cache.
template <typename W>
struct PlainStores {
  template <typename T>
  static int32_t Head(const T*, int32_t) { return 0; }
  template <typename P, typename V>
  static void Put(P* p, V v) { W::Store(p, v); }
  static void Finish() {}
};

// Streaming stores bypass the cache, for destinations far larger than it
// that nothing reads again soon.  They need vector alignment: the samples
// before the first aligned one (the head) go the plain way, and so does a
// row whose samples are not even aligned to their own size.  They are
// fenced before the kernel returns.
template <typename W>
struct StreamingStores {
  template <typename T>
  static int32_t Head(const T* p, int32_t n) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(p);
    if (at % sizeof(T) != 0) return n;
    const int32_t head = static_cast<int32_t>(((W::kBytes - at % W::kBytes) % W::kBytes) / sizeof(T));
    return head < n ? head : n;
  }
  template <typename P, typename V>
  static void Put(P* p, V v) { W::Stream(p, v); }
  static void Finish() { _mm_sfence(); }
};

// Covers samples [0, n) of `out` with blocks of kBlock: block(i, store)
// computes samples i .. i + kBlock - 1 and writes them with
// decltype(store)::Put.  Returns false, doing nothing, for a row shorter
// than one block.
template <typename W, int32_t kBlock, typename Store, typename T, typename Block>
bool RunBlocks(const T* out, int32_t n, Block block) {
  if (n < kBlock) return false;
  int32_t i = Store::Head(out, n);
  if (i == n) return RunBlocks<W, kBlock, PlainStores<W>>(out, n, block);
  // A head is shorter than one block, so the first block covers it.
  if (i > 0) block(0, PlainStores<W>());
  for (; i + kBlock <= n; i += kBlock) block(i, Store());
  if (i < n) block(n - kBlock, PlainStores<W>());
  return true;
}

// A straight x pass reads the source as one stream, row after row and
// plane after plane; asking for the bytes a little ahead keeps more of the
// stream in flight than the processor's own prefetching does.
template <typename W>
void PrefetchAhead(const void* p) {
  constexpr ptrdiff_t kAheadBytes = 2048;
  _mm_prefetch(static_cast<const char*>(p) + kAheadBytes, _MM_HINT_T0);
}

// Columns in one block of the x pass: as many as fill a vector of results
// (16-bit values for 8u, floats otherwise).
template <typename W, typename T>
constexpr int32_t kXBlock = sizeof(T) == 1 ? W::kBytes / 2 : W::kBytes / 4;

// ---------------------------------------------------------------- along x

template <typename W, typename T, typename XWeight, typename Inner>
void RowXStep2(const T* src, int32_t n, const XWeight* xWeight, Inner* row) {
  const bool wide = RunBlocks<W, kXBlock<W, T>, PlainStores<W>>(row, n, [&](int32_t i, auto store) {
    PrefetchAhead<W>(src + 2 * i);
    decltype(store)::Put(row + i, W::XBlock(src + 2 * i, xWeight + i));
  });
  if (!wide) LinearRowXStep2(src, n, xWeight, row);
}

// Both source rows of a destination row along x, then their blend along y,
// without the round trip through the row buffers (a row shorter than one
// block goes to the SSE form, which uses them).
template <typename W, typename T, typename XWeight, typename Weight, typename Inner>
void RowXYStep2(const T* srcA, const T* srcB, int32_t n, const XWeight* xWeight, Weight w,
                Inner* rowA, Inner* rowB, Inner* out) {
  const auto blendY = W::YPass(w);
  const bool wide = RunBlocks<W, kXBlock<W, T>, PlainStores<W>>(out, n, [&](int32_t i, auto store) {
    PrefetchAhead<W>(srcA + 2 * i);
    PrefetchAhead<W>(srcB + 2 * i);
    decltype(store)::Put(out + i, blendY(W::XBlock(srcA + 2 * i, xWeight + i), W::XBlock(srcB + 2 * i, xWeight + i)));
  });
  if (!wide) LinearRowXYStep2(srcA, srcB, n, xWeight, w, rowA, rowB, out);
}

// ---------------------------------------------------------------- along y

template <typename W, typename Inner, typename Weight>
void RowY(Inner* out, int32_t n, Weight w, const Inner* a, const Inner* b) {
  const auto blendY = W::YPass(w);
  const bool wide = RunBlocks<W, W::kBytes / int32_t(sizeof(Inner)), PlainStores<W>>(out, n, [&](int32_t i, auto store) {
    decltype(store)::Put(out + i, blendY(W::Load(a + i), W::Load(b + i)));
  });
  if (!wide) LinearRowY(out, n, w, a, b);
}

// The y pass into a plain 8u row, and the z pass of an 8u interior row (the
// same arithmetic, with the final rounding).
template <typename W, typename Store>
void BlendRow(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const auto weights = W::WeightPairs(w1);
  const auto round = W::Set1(524288);
  constexpr int32_t kHalf = W::kBytes / 2;
  const bool wide = RunBlocks<W, W::kBytes, Store>(out, n, [&](int32_t i, auto store) {
    const auto v0 = W::template BlendPairs16<20>(W::Load(a + i), W::Load(b + i), weights, round);
    const auto v1 = W::template BlendPairs16<20>(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weights, round);
    decltype(store)::Put(out + i, W::PackUint8(v0, v1));
  });
  if (!wide) LinearRowY2D(out, n, w1, a, b);
}

template <typename W>
void RowY2D(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  BlendRow<W, PlainStores<W>>(out, n, w1, a, b);
}

template <typename W>
void RowY2D(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const auto weight = W::Set1(f);
  const auto round = W::Set1(0.5000001f);
  constexpr int32_t kHalf = W::kBytes / 4;
  const bool wide = RunBlocks<W, W::kBytes / 2, PlainStores<W>>(out, n, [&](int32_t i, auto store) {
    const auto lo = W::Add(W::Lerp(W::Load(a + i), W::Load(b + i), weight), round);
    const auto hi = W::Add(W::Lerp(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weight), round);
    decltype(store)::Put(out + i, W::FloatsToUint16(lo, hi));
  });
  if (!wide) LinearRowY2D(out, n, f, a, b);
}

// ---------------------------------------------------------------- along z

template <typename W, typename Store>
void BlendRow(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const auto weight = W::Set1(f), weight0 = W::Set1(1.0f - f);
  const auto round = W::Set1(0.5000001f);
  constexpr int32_t kHalf = W::kBytes / 4;
  const bool wide = RunBlocks<W, W::kBytes / 2, Store>(out, n, [&](int32_t i, auto store) {
    const auto lo = W::Add(W::Mix(W::Load(a + i), W::Load(b + i), weight0, weight), round);
    const auto hi = W::Add(W::Mix(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weight0, weight), round);
    decltype(store)::Put(out + i, W::FloatsToUint16(lo, hi));
  });
  if (!wide) LinearBlendInterior(out, 0, n, 1, f, a, b, 0);
}

template <typename W, typename Store>
void BlendRow(float* out, int32_t n, float f, const float* a, const float* b) {
  const auto weight = W::Set1(f), weight0 = W::Set1(1.0f - f);
  const bool wide = RunBlocks<W, W::kBytes / 4, Store>(out, n, [&](int32_t i, auto store) {
    decltype(store)::Put(out + i, W::Mix(W::Load(a + i), W::Load(b + i), weight0, weight));
  });
  if (!wide) LinearBlendInterior(out, 0, n, 1, f, a, b, 0);
}

template <typename W, typename Store, typename T, typename Weight, typename Inner>
void BlendInterior(T* dst, int32_t dstStep, int32_t wi, int32_t hi, Weight w, const Inner* a,
                   const Inner* b, int32_t stride) {
  for (int32_t r = 0; r < hi; ++r) {
    const ptrdiff_t at = static_cast<ptrdiff_t>(r) * stride;
    BlendRow<W, Store>(dst + static_cast<ptrdiff_t>(r) * dstStep, wi, w, a + at, b + at);
  }
  Store::Finish();
}

// The kernel table of width W.  The gathering x pass stays in its SSE
// form: its per-column loads dominate it at any width.
template <typename W>
constexpr LinearRowKernels WideKernels() {
  using Plain = PlainStores<W>;
  using Streaming = StreamingStores<W>;
  return {
      {LinearRowX, RowXStep2<W>, RowXYStep2<W>, RowY<W>, RowY2D<W>, BlendInterior<W, Plain>,
       BlendInterior<W, Streaming>},
      {LinearRowX, RowXStep2<W>, RowXYStep2<W>, RowY<W>, RowY2D<W>, BlendInterior<W, Plain>,
       BlendInterior<W, Streaming>},
      // Float rows: the 3-D y kernel serves the planes without a z blend too.
      {LinearRowX, RowXStep2<W>, RowXYStep2<W>, RowY<W>, RowY<W>, BlendInterior<W, Plain>,
       BlendInterior<W, Streaming>},
  };
}

}  // namespace wide_rows
