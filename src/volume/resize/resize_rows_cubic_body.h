// The cubic row kernels, written once over a vector width.  Included by one
// source file per instruction set, which supplies `Ops`; everything here
// sits in an anonymous namespace, so the copies built for different
// instruction sets never merge at link time.
//
// Ops provides, for a vector F of Ops::kWidth floats (4, 8 or 16):
//   Load (aligned), LoadU, Store (aligned), StoreU, Splat, Mul, Add;
//   Taps: a struct of four F, s0 to s3;
//   StepTwoTaps(p): the taps of kWidth columns whose first taps are p[0],
//     p[2], p[4], ... (a downscale by 2), read only from p[0 .. 2 kWidth + 1];
//   ColumnTaps(src, index): the taps of kWidth columns from src[index[k] - 1];
//   StoreBlend(dst, v): kWidth blended samples into the destination type.
// Taps come back transposed: s0 holds the first tap of every column.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "volume/resize/resize_cubic_round.h"
#include "volume/resize/resize_rows_cubic.h"

namespace {

// The two orders of a four-term sum: pairs for the interior passes, left to
// right for the frame.
struct PairSum {
  template <class Ops, typename F>
  static F Of(F p0, F p1, F p2, F p3) {
    return Ops::Add(Ops::Add(p0, p1), Ops::Add(p2, p3));
  }
  static float Of(float p0, float p1, float p2, float p3) { return (p0 + p1) + (p2 + p3); }
};

struct InOrderSum {
  template <class Ops, typename F>
  static F Of(F p0, F p1, F p2, F p3) {
    return Ops::Add(Ops::Add(Ops::Add(p0, p1), p2), p3);
  }
  static float Of(float p0, float p1, float p2, float p3) { return ((p0 + p1) + p2) + p3; }
};

// ---- x pass ---------------------------------------------------------------

// A group of columns from its grouped weights, Ops::kWidth at a time.
template <class Ops, class Sum, bool kStepTwo, typename T>
inline void GroupOfColumns(const T* src, const int32_t* index, const float* weights, float* out) {
  constexpr int32_t kG = kCubicGroup;
  for (int32_t o = 0; o < kG; o += Ops::kWidth) {
    const auto s = kStepTwo ? Ops::StepTwoTaps(src + index[o] - 1) : Ops::ColumnTaps(src, index + o);
    const auto p0 = Ops::Mul(s.s0, Ops::LoadU(weights + o));
    const auto p1 = Ops::Mul(s.s1, Ops::LoadU(weights + kG + o));
    const auto p2 = Ops::Mul(s.s2, Ops::LoadU(weights + 2 * kG + o));
    const auto p3 = Ops::Mul(s.s3, Ops::LoadU(weights + 3 * kG + o));
    Ops::StoreU(out + o, Sum::template Of<Ops>(p0, p1, p2, p3));
  }
}

template <class Ops, class Sum, bool kStepTwo, typename T>
void ColumnGroups(const T* src, const CubicXTable& x, float* row) {
  constexpr int32_t kG = kCubicGroup;
  const int32_t whole = x.n / kG;
  for (int32_t g = 0; g < whole; ++g)
    GroupOfColumns<Ops, Sum, kStepTwo>(src, x.index + kG * g, x.groups + 4 * kG * g, row + kG * g);
  // The last group overlaps the one before and stores the same values there.
  if (x.n % kG != 0)
    GroupOfColumns<Ops, Sum, kStepTwo>(src, x.index + x.n - kG, x.lastGroup, row + x.n - kG);
}

template <class Sum, typename T>
void SingleColumns(const T* src, const CubicXTable& x, float* row) {
  for (int32_t i = 0; i < x.n; ++i) {
    const T* s = src + x.index[i] - 1;
    const float* w = x.groups + 4 * i;
    row[i] = Sum::Of(static_cast<float>(s[0]) * w[0], static_cast<float>(s[1]) * w[1],
                     static_cast<float>(s[2]) * w[2], static_cast<float>(s[3]) * w[3]);
  }
}

template <class Ops, class Sum, typename T>
void RowX(const T* src, const CubicXTable& x, float* row) {
  if (x.n < kCubicGroup)
    SingleColumns<Sum>(src, x, row);
  else if (x.stepsByTwo)
    ColumnGroups<Ops, Sum, true>(src, x, row);
  else
    ColumnGroups<Ops, Sum, false>(src, x, row);
}

// ---- weighing four rows ---------------------------------------------------

template <class Ops>
struct RowWeights {
  typename Ops::F w0, w1, w2, w3;
  float s0, s1, s2, s3;

  explicit RowWeights(const float* weights4)
      : w0(Ops::Splat(weights4[0])), w1(Ops::Splat(weights4[1])), w2(Ops::Splat(weights4[2])),
        w3(Ops::Splat(weights4[3])), s0(weights4[0]), s1(weights4[1]), s2(weights4[2]), s3(weights4[3]) {}

  // At a multiple of the width from 64-byte aligned rows, or anywhere.
  template <bool kAligned>
  typename Ops::F At(const float* a, const float* b, const float* c, const float* d, int32_t i) const {
    auto load = [](const float* p) { return kAligned ? Ops::Load(p) : Ops::LoadU(p); };
    return PairSum::Of<Ops>(Ops::Mul(load(a + i), w0), Ops::Mul(load(b + i), w1), Ops::Mul(load(c + i), w2),
                            Ops::Mul(load(d + i), w3));
  }

  float One(const float* a, const float* b, const float* c, const float* d, int32_t i) const {
    return PairSum::Of(a[i] * s0, b[i] * s1, c[i] * s2, d[i] * s3);
  }
};

// Walks a row of n samples: whole vectors, then either one vector
// overlapping the last (it writes equal values twice) or, in rows shorter
// than a vector, single samples.
template <class Ops, typename Vector, typename Single>
inline void AcrossRow(int32_t n, Vector&& vector, Single&& single) {
  constexpr int32_t kW = Ops::kWidth;
  int32_t i = 0;
  for (; i + kW <= n; i += kW) vector(i, std::true_type());
  if (i < n && n >= kW) {
    vector(n - kW, std::false_type());
    return;
  }
  for (; i < n; ++i) single(i);
}

template <class Ops>
void RowY(float* out, int32_t n, const float* weights4, const float* const rows[4]) {
  const RowWeights<Ops> w(weights4);
  // Local copies: stores to `out` could otherwise alias the pointer array.
  const float* a = rows[0];
  const float* b = rows[1];
  const float* c = rows[2];
  const float* d = rows[3];
  AcrossRow<Ops>(
      n,
      [&](int32_t i, auto aligned) {
        if constexpr (decltype(aligned)::value)
          Ops::Store(out + i, w.template At<true>(a, b, c, d, i));
        else
          Ops::StoreU(out + i, w.template At<false>(a, b, c, d, i));
      },
      [&](int32_t i) { out[i] = w.One(a, b, c, d, i); });
}

// ---- the z blend of the interior ------------------------------------------

inline void StoreBlendOne(uint8_t* dst, float v) { *dst = RoundSaturate8u(v + kHalfUp32f); }
inline void StoreBlendOne(uint16_t* dst, float v) { *dst = RoundSaturate16u(v + kHalfUp32f); }
inline void StoreBlendOne(float* dst, float v) { *dst = v; }

// The destination is written once, row after row: the lines of a row are
// asked for two rows ahead, so that its stores need not wait for them.
template <typename T>
inline void PrefetchForWriting(const T* row, int32_t n) {
  const char* bytes = reinterpret_cast<const char*>(row);
  for (int64_t b = 0; b < int64_t(n) * int64_t(sizeof(T)); b += 64) __builtin_prefetch(bytes + b, 1, 3);
}

template <class Ops, typename T>
void BlendInterior(T* dst, int32_t dstStep, int32_t wi, int32_t hi, const float* weights4,
                   const float* const planes[4], int32_t planeStride) {
  const RowWeights<Ops> w(weights4);
  for (int32_t j = 0; j < hi; ++j) {
    const int64_t at = static_cast<int64_t>(j) * planeStride;
    const float* a = planes[0] + at;
    const float* b = planes[1] + at;
    const float* c = planes[2] + at;
    const float* e = planes[3] + at;
    T* out = dst + static_cast<int64_t>(j) * dstStep;
    if (j + 2 < hi) PrefetchForWriting(out + 2 * static_cast<int64_t>(dstStep), wi);
    AcrossRow<Ops>(
        wi,
        [&](int32_t i, auto aligned) {
          Ops::StoreBlend(out + i, w.template At<decltype(aligned)::value>(a, b, c, e, i));
        },
        [&](int32_t i) { StoreBlendOne(out + i, w.One(a, b, c, e, i)); });
  }
}

// ---- the set ----------------------------------------------------------------

template <class Ops, typename T>
constexpr CubicTypeKernels<T> TypeKernels() {
  return {RowX<Ops, PairSum, T>, RowX<Ops, InOrderSum, T>, BlendInterior<Ops, T>};
}

template <class Ops>
constexpr CubicKernels KernelSet() {
  return {TypeKernels<Ops, uint8_t>(), TypeKernels<Ops, uint16_t>(), TypeKernels<Ops, float>(), RowY<Ops>};
}

}  // namespace
