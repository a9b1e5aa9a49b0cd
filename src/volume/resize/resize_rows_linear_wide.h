// The wide forms of the busiest linear row kernels, written once for any
// vector width.  `W` gives the width's vector types and operations (see
// resize_rows_linear_avx2.cpp and resize_rows_linear_avx512.cpp, each built
// for its instruction set); each lane does exactly what a lane of the SSE
// form does, so every width gives the same bits.
//
// A row runs as many whole blocks as fit, then one more block that ends at
// the row's end: the samples it shares with the block before are computed
// again to the same values (outputs never overlap inputs, so the repeat is
// harmless).  Only a row shorter than one block goes to the SSE form, and,
// with streaming stores, the partial cache lines at its ends.
//
// Include only from a file built for the width; `W` is a type of that file
// alone, so every instance here stays private to it.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "volume/resize/resize_rows_linear.h"

namespace wide_rows {

// How a kernel covers a row of n samples with blocks of kBlock:
// block(i, store) computes samples i .. i + kBlock - 1 and writes them with
// decltype(store)::Put; narrow(begin, count) leaves samples to the SSE form.

// Plain stores go through the cache.  Whole blocks, then one block that
// ends at the row's end; only a row shorter than one block goes narrow.
template <typename W>
struct PlainStores {
  template <typename P, typename V>
  static void Put(P* p, V v) { W::Store(p, v); }

  template <int32_t kBlock, typename T, typename Block, typename Narrow>
  static void Run(const T*, int32_t n, Block block, Narrow narrow) {
    if (n < kBlock) return narrow(0, n);
    int32_t i = 0;
    for (; i + kBlock <= n; i += kBlock) block(i, PlainStores());
    if (i < n) block(n - kBlock, PlainStores());
  }
  static void Finish() {}
};

// Streaming stores bypass the cache, for destinations far larger than it
// that nothing reads again soon.  They write whole 64-byte lines from the
// first line boundary on; the partial lines at either end go narrow, never
// mixing plain and streaming stores in one line (that would read the line
// back from memory).  A row whose samples are not aligned to their own
// size goes narrow as a whole.  Fenced before the kernel returns.
template <typename W>
struct StreamingStores {
  template <typename P, typename V>
  static void Put(P* p, V v) { W::Stream(p, v); }

  template <int32_t kBlock, typename T, typename Block, typename Narrow>
  static void Run(const T* out, int32_t n, Block block, Narrow narrow) {
    constexpr uintptr_t kLine = 64;
    constexpr int32_t kLineSamples = int32_t(kLine / sizeof(T));
    static_assert(kLineSamples % kBlock == 0, "blocks tile a line");
    const uintptr_t at = reinterpret_cast<uintptr_t>(out);
    if (at % sizeof(T) != 0) return narrow(0, n);
    int32_t head = static_cast<int32_t>((kLine - at % kLine) % kLine / sizeof(T));
    if (head > n) head = n;
    const int32_t end = head + (n - head) / kLineSamples * kLineSamples;
    if (head > 0) narrow(0, head);
    for (int32_t i = head; i < end; i += kBlock) block(i, StreamingStores());
    if (end < n) narrow(end, n - end);
  }
  static void Finish() { _mm_sfence(); }
};

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
  PlainStores<W>::template Run<kXBlock<W, T>>(
      row, n,
      [&](int32_t i, auto store) {
        PrefetchAhead<W>(src + 2 * i);
        decltype(store)::Put(row + i, W::XBlock(src + 2 * i, xWeight + i));
      },
      [&](int32_t i, int32_t count) { LinearRowXStep2(src + 2 * i, count, xWeight + i, row + i); });
}

// Both source rows of a destination row along x, then their blend along y,
// without the round trip through the row buffers (a row shorter than one
// block goes to the SSE form, which uses them).
template <typename W, typename T, typename XWeight, typename Weight, typename Inner>
void RowXYStep2(const T* srcA, const T* srcB, int32_t n, const XWeight* xWeight, Weight w,
                Inner* rowA, Inner* rowB, Inner* out) {
  const auto blendY = W::YPass(w);
  PlainStores<W>::template Run<kXBlock<W, T>>(
      out, n,
      [&](int32_t i, auto store) {
        PrefetchAhead<W>(srcA + 2 * i);
        PrefetchAhead<W>(srcB + 2 * i);
        decltype(store)::Put(out + i, blendY(W::XBlock(srcA + 2 * i, xWeight + i), W::XBlock(srcB + 2 * i, xWeight + i)));
      },
      [&](int32_t i, int32_t count) {
        LinearRowXYStep2(srcA + 2 * i, srcB + 2 * i, count, xWeight + i, w, rowA + i, rowB + i, out + i);
      });
}

// ---------------------------------------------------------------- along y

template <typename W, typename Inner, typename Weight>
void RowY(Inner* out, int32_t n, Weight w, const Inner* a, const Inner* b) {
  const auto blendY = W::YPass(w);
  PlainStores<W>::template Run<int32_t(W::kBytes / sizeof(Inner))>(
      out, n,
      [&](int32_t i, auto store) { decltype(store)::Put(out + i, blendY(W::Load(a + i), W::Load(b + i))); },
      [&](int32_t i, int32_t count) { LinearRowY(out + i, count, w, a + i, b + i); });
}

// The y pass into a plain 8u row, and the z pass of an 8u interior row (the
// same arithmetic, with the final rounding).
template <typename W, typename Store>
void BlendRow(uint8_t* out, int32_t n, uint16_t w1, const int16_t* a, const int16_t* b) {
  const auto weights = W::WeightPairs(w1);
  const auto round = W::Set1(524288);
  constexpr int32_t kHalf = W::kBytes / 2;
  Store::template Run<int32_t(W::kBytes)>(
      out, n,
      [&](int32_t i, auto store) {
        const auto v0 = W::template BlendPairs16<20>(W::Load(a + i), W::Load(b + i), weights, round);
        const auto v1 = W::template BlendPairs16<20>(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weights, round);
        decltype(store)::Put(out + i, W::PackUint8(v0, v1));
      },
      [&](int32_t i, int32_t count) { LinearRowY2D(out + i, count, w1, a + i, b + i); });
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
  PlainStores<W>::template Run<int32_t(W::kBytes / 2)>(
      out, n,
      [&](int32_t i, auto store) {
        const auto lo = W::Add(W::Lerp(W::Load(a + i), W::Load(b + i), weight), round);
        const auto hi = W::Add(W::Lerp(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weight), round);
        decltype(store)::Put(out + i, W::FloatsToUint16(lo, hi));
      },
      [&](int32_t i, int32_t count) { LinearRowY2D(out + i, count, f, a + i, b + i); });
}

// ---------------------------------------------------------------- along z

template <typename W, typename Store>
void BlendRow(uint16_t* out, int32_t n, float f, const float* a, const float* b) {
  const auto weight = W::Set1(f), weight0 = W::Set1(1.0f - f);
  const auto round = W::Set1(0.5000001f);
  constexpr int32_t kHalf = W::kBytes / 4;
  Store::template Run<int32_t(W::kBytes / 2)>(
      out, n,
      [&](int32_t i, auto store) {
        const auto lo = W::Add(W::Mix(W::Load(a + i), W::Load(b + i), weight0, weight), round);
        const auto hi = W::Add(W::Mix(W::Load(a + i + kHalf), W::Load(b + i + kHalf), weight0, weight), round);
        decltype(store)::Put(out + i, W::FloatsToUint16(lo, hi));
      },
      [&](int32_t i, int32_t count) { LinearBlendInterior(out + i, 0, count, 1, f, a + i, b + i, 0); });
}

template <typename W, typename Store>
void BlendRow(float* out, int32_t n, float f, const float* a, const float* b) {
  const auto weight = W::Set1(f), weight0 = W::Set1(1.0f - f);
  Store::template Run<int32_t(W::kBytes / 4)>(
      out, n,
      [&](int32_t i, auto store) { decltype(store)::Put(out + i, W::Mix(W::Load(a + i), W::Load(b + i), weight0, weight)); },
      [&](int32_t i, int32_t count) { LinearBlendInterior(out + i, 0, count, 1, f, a + i, b + i, 0); });
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

// ---------------------------------------------------------------- halving

// The exact halving of an 8u or 16u interior: the four source rows of each
// destination row straight to its eight-tap means.
template <typename W, typename Store, typename T>
void HalvingInterior(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const T* a, const T* b,
                     const int32_t* rowOffsets, int32_t rowStep) {
  for (int32_t r = 0; r < hi; ++r) {
    const FourSourceRows<T> rows(a, b, rowOffsets[r], rowStep);
    T* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    Store::template Run<int32_t(W::kBytes / sizeof(T))>(
        out, wi,
        [&](int32_t i, auto store) {
          for (const T* row : rows.row) PrefetchAhead<W>(row + 2 * i);
          decltype(store)::Put(out + i, W::HalvingBlock(rows.row, i));
        },
        [&](int32_t i, int32_t count) {
          LinearHalvingInterior(out + i, 0, count, 1, a + 2 * i, b + 2 * i, rowOffsets + r, rowStep);
        });
  }
  Store::Finish();
}

// The float interior straight from the source (LinearDirectInterior).
template <typename W, typename Store>
void DirectInterior(float* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* a, const float* b,
                    const int32_t* rowOffsets, int32_t rowStep, const float* xWeight, const float* yWeight,
                    float zWeight) {
  const auto fz = W::Set1(zWeight), fz0 = W::Set1(1.0f - zWeight);
  for (int32_t r = 0; r < hi; ++r) {
    const FourSourceRows<float> rows(a, b, rowOffsets[r], rowStep);
    float* out = dst + static_cast<ptrdiff_t>(r) * dstStep;
    const auto blendY = W::YPass(yWeight[r]);
    auto x = [&](int32_t k, int32_t i) { return W::XBlock(rows.row[k] + 2 * i, xWeight + i); };
    Store::template Run<int32_t(W::kBytes / sizeof(float))>(
        out, wi,
        [&](int32_t i, auto store) {
          for (const float* row : rows.row) PrefetchAhead<W>(row + 2 * i);
          decltype(store)::Put(out + i, W::Mix(blendY(x(0, i), x(1, i)), blendY(x(2, i), x(3, i)), fz0, fz));
        },
        [&](int32_t i, int32_t count) {
          LinearDirectInterior(out + i, 0, count, 1, a + 2 * i, b + 2 * i, rowOffsets + r, rowStep, xWeight + i,
                               yWeight + r, zWeight);
        });
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
       BlendInterior<W, Streaming>, HalvingInterior<W, Plain>, HalvingInterior<W, Streaming>, nullptr, nullptr},
      {LinearRowX, RowXStep2<W>, RowXYStep2<W>, RowY<W>, RowY2D<W>, BlendInterior<W, Plain>,
       BlendInterior<W, Streaming>, HalvingInterior<W, Plain>, HalvingInterior<W, Streaming>, nullptr, nullptr},
      // Float rows: the 3-D y kernel serves the planes without a z blend too.
      {LinearRowX, RowXStep2<W>, RowXYStep2<W>, RowY<W>, RowY<W>, BlendInterior<W, Plain>,
       BlendInterior<W, Streaming>, nullptr, nullptr, DirectInterior<W, Plain>, DirectInterior<W, Streaming>},
  };
}

}  // namespace wide_rows
