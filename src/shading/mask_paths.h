// Machinery shared by the masked shading functions: reading the caller's
// mask, splitting an array for the blocked path, and the scalar operations
// the compiler must not simplify.
//
// A mask word marks its element active when it is zero or positive, masked
// out when it is negative; only the sign bit counts, so the triangle indices
// written by the intersection functions (-1 for a miss) serve as a mask.
#pragma once

#include <cpuid.h>
#include <immintrin.h>

#include <cstdint>

#include "frame/paths.h"
#include "frame/qelr_internal.h"

inline bool IsActive(int32_t maskWord) { return maskWord >= 0; }

// ---- Four mask words at a time -------------------------------------------

inline __m128i LoadMaskAligned(const int32_t* p) {
  return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
}

inline __m128i LoadMaskUnaligned(const int32_t* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

// The four sign bits as a number from 0 to 15, bit k for element k.
inline int MaskBlockCode(__m128i maskWords) {
  return _mm_movemask_ps(_mm_castsi128_ps(maskWords));
}

constexpr int kAllActive = 0;
constexpr int kAllMaskedOut = 15;

// All-ones in the lanes of active elements, all-zeros in the others.
inline __m128 ActiveLanes(__m128i maskWords) {
  return _mm_castsi128_ps(_mm_cmpgt_epi32(maskWords, _mm_set1_epi32(-1)));
}

// 1.0 in active lanes and 0.0 in masked-out ones: the Mul functions clear a
// masked-out element by multiplying it by this factor, not by masking bits.
inline __m128 KeepOrClearFactor(__m128 activeLanes) {
  return _mm_and_ps(activeLanes, _mm_set1_ps(1.0f));
}

inline float KeepOrClearFactor(int32_t maskWord) { return IsActive(maskWord) ? 1.0f : 0.0f; }

// ---- Plane pointers --------------------------------------------------------

// The three pointers of a P3 operand, copied out of the caller's array.
// Kernels index these copies: a store through a float pointer or a vector
// may alias anything, so pointers read through the caller's array would be
// read again for every element.
template <typename T>
struct Planes {
  T* plane[3];
  T* operator[](int c) const { return plane[c]; }
};

template <typename T>
inline Planes<T> PlanesOf(T* const pointers[3]) {
  return {{pointers[0], pointers[1], pointers[2]}};
}

// ---- Blocked path split --------------------------------------------------

// How the blocked path divides [0, len): elements [0, head) and [end, len)
// go through the scalar formula, [head, end) four at a time with the anchor
// operand on a 16-byte boundary.  head == end == 0 leaves everything to the
// scalar loop.
struct BlockedSplit {
  int32_t head;
  int32_t end;
};

inline BlockedSplit SplitAtAnchor(const void* anchor, int32_t len) {
  const BlockedSplit allScalar = {0, 0};
  if (len < 4) return allScalar;
  const int32_t a = static_cast<int32_t>(reinterpret_cast<uintptr_t>(anchor) & 15);
  if (a % 4 != 0) return allScalar;  // not even float-aligned
  const int32_t head = a == 0 ? 0 : (16 - a) / 4;
  if (head + 4 > len) return allScalar;
  const BlockedSplit split = {head, len - (len - head) % 4};
  return split;
}

// Runs the scalar step on the head and the tail, and hands the body range
// to runBody(begin, end), which takes it four elements at a time.
template <typename ScalarStep, typename BodyRun>
inline void RunBlocked(BlockedSplit split, int32_t len, ScalarStep scalarStep, BodyRun runBody) {
  for (int32_t i = 0; i < split.head; ++i) scalarStep(i);
  runBody(split.head, split.end);
  for (int32_t i = split.end; i < len; ++i) scalarStep(i);
}

// ---- Where the two builds differ -----------------------------------------

// Blocks of four from begin to end: step(i, operand) with operand = load(i).
// The builds differ only in when the operand is fetched.  v8 loads the next
// block's operand into a register one step ahead of its use; s8, made for
// an in-order core, leaves the load to the multiply, which then reads its
// second operand straight from memory.  The arithmetic is the same.
template <Variant V, typename Load, typename Step>
inline void RunBlocksWithOperand(int32_t begin, int32_t end, Load load, Step step) {
  if constexpr (V == Variant::S8) {
    for (int32_t i = begin; i < end; i += 4) step(i, load(i));
  } else {
    if (begin >= end) return;
    auto next = load(begin);
    for (int32_t i = begin; i < end; i += 4) {
      const auto operand = next;
      if (i + 4 < end) next = load(i + 4);
      step(i, operand);
    }
  }
}

// ---- Eight elements at a time, where the processor has AVX2 ---------------
//
// Every operation here works lane by lane, so eight lanes give the bits of
// two blocks of four.  The wide code is an addition beside the four-wide
// code, never a replacement: each kernel exists in both widths, and the
// width is chosen once, when the library is loaded (WidthOnThisProcessor,
// called from ifunc resolvers).  Where the four-wide code leaves a block of
// four masked-out elements unstored, the eight-wide code writes in-place
// planes with a masked store of the active lanes only, so a masked-out
// element is not written either; where it stores zeros, computing and
// masking gives the same zeros.

enum class Width { Four, Eight };

// Runs while the library is being loaded, before anything else of it.  It
// asks the processor directly rather than through the compiler's runtime,
// whose answer lives in a writable global of its own.
inline Width WidthOnThisProcessor() {
  unsigned a, b, c, d;
  if (!__get_cpuid(1, &a, &b, &c, &d)) return Width::Four;
  if (!(c & bit_OSXSAVE) || !(c & bit_AVX)) return Width::Four;
  uint32_t enabledState, high;
  __asm__("xgetbv" : "=a"(enabledState), "=d"(high) : "c"(0));
  if ((enabledState & 6) != 6) return Width::Four;  // the system saves no 256-bit registers
  if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return Width::Four;
  return (b & bit_AVX2) ? Width::Eight : Width::Four;
}

#define SHADING_AVX2 __attribute__((target("avx2")))

SHADING_AVX2 inline __m256i LoadMask8(const int32_t* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

SHADING_AVX2 inline __m256 ActiveLanes8(__m256i maskWords) {
  return _mm256_castsi256_ps(_mm256_cmpgt_epi32(maskWords, _mm256_set1_epi32(-1)));
}

// Stores the active lanes of `value` only.
SHADING_AVX2 inline void StoreActive8(float* p, __m256 activeLanes, __m256 value) {
  _mm256_maskstore_ps(p, _mm256_castps_si256(activeLanes), value);
}

SHADING_AVX2 inline __m256 KeepOrClearFactor8(__m256 activeLanes) {
  return _mm256_and_ps(activeLanes, _mm256_set1_ps(1.0f));
}

// Defines `name` as whichever of name_four and name_eight suits the
// processor, chosen by the loader through an ifunc.
#define SHADING_CHOOSE_WIDTH(name)                                                 \
  extern "C" {                                                                     \
  decltype(&name##_four) Choose_##name() {                                         \
    return WidthOnThisProcessor() == Width::Eight ? &name##_eight : &name##_four; \
  }                                                                                \
  decltype(name##_four) name __attribute__((ifunc("Choose_" #name)));              \
  }

// The end of the stretch from begin that eight-wide steps cover.
inline int32_t EightWideEnd(int32_t begin, int32_t end) {
  return begin + (end - begin) / 8 * 8;
}

// ---- Scalar operations kept as written -------------------------------------

// x * f with f known only at run time.  Compilers turn a product with a
// factor that is either -1 or +1 into a sign flip, which would leave a
// signaling NaN signaling; the function's arithmetic multiplies, which quiets it.
inline float MulByRuntimeFactor(float x, float f) {
  __asm__("" : "+x"(f));
  return x * f;
}
