// The six shading exports as table rows, and the check that runs any
// implementation of one against its scalar model over every length, layout
// (each array at its own byte offset past a 16-byte boundary, guard words
// around it) and mask kind.
#pragma once

#include <cmath>
#include <memory>
#include <vector>

#include "qelr.h"
#include "reference_shading.h"
#include "test_util.h"

namespace shading_test {

// The only NaN the random data holds is the processor's own (0xFFC00000):
// which of two NaNs survives depends on an operand order no contract fixes.
inline float Value(qt::Rng& rng) {
  const float v = rng.Special();
  return std::isnan(v) ? qt::FromBits(0xFFC00000u) : v;
}

// The arrays of one call as 32-bit words in argument order, planes expanded.
// Offsets that are not a multiple of 4 are allowed: the library reads them
// without alignment assumptions (and the models only see aligned copies).
struct Operands {
  std::vector<std::unique_ptr<qt::GuardedBuffer<uint32_t>>> arrays;
  size_t length;
  Operands(const std::vector<int>& offsets, int32_t len) : length(len > 0 ? len : 0) {
    for (int offset : offsets) arrays.push_back(std::make_unique<qt::GuardedBuffer<uint32_t>>(length, offset));
  }
  int Count() const { return static_cast<int>(arrays.size()); }
  float* F(int k) const { return reinterpret_cast<float*>(arrays[k]->data()); }
  int32_t* M(int k) const { return reinterpret_cast<int32_t*>(arrays[k]->data()); }
  uint32_t Word(int k, size_t i) const {
    uint32_t w;
    std::memcpy(&w, arrays[k]->data() + i, 4);
    return w;
  }
  void SetWord(int k, size_t i, uint32_t w) { std::memcpy(arrays[k]->data() + i, &w, 4); }
  Operands AlignedCopy() const {
    Operands copy(std::vector<int>(Count(), 0), static_cast<int32_t>(length));
    for (int k = 0; k < Count(); ++k)
      for (size_t i = 0; i < length; ++i) copy.SetWord(k, i, Word(k, i));
    return copy;
  }
};

// Any implementation of an export, called back at its own type.
using AnyFunction = void (*)();
template <typename Fn>
AnyFunction Any(Fn* fn) { return reinterpret_cast<AnyFunction>(fn); }

// Calls fn with args, or the model (with the library's offsets) when fn is null.
template <typename Fn, typename Model, typename... Args>
qelStatus Call(AnyFunction fn, Model model, const int* at, Args... args) {
  return fn ? reinterpret_cast<Fn>(fn)(args...) : model(at, args...);
}

struct Export {
  const char* name;
  int arrays, maskIndex;
  qelStatus (*run)(AnyFunction fn, const int* at, const Operands& o, const float* coef, int32_t len);
  AnyFunction exported;
};

const Export kExports[] = {
    {"qelrAddMulMul_32f_AC1P3IM", 8, 4,
     [](AnyFunction fn, const int* at, const Operands& o, const float* coef, int32_t len) {
       const float* const src2[3] = {o.F(1), o.F(2), o.F(3)};
       float* const dst[3] = {o.F(5), o.F(6), o.F(7)};
       return Call<decltype(&qelrAddMulMul_32f_AC1P3IM)>(fn, ref::AddMulMul, at, coef, o.F(0), src2,
                                                         o.M(4), dst, len);
     },
     Any(qelrAddMulMul_32f_AC1P3IM)},
    {"qelrDiv_32f_C1IM", 3, 1,
     [](AnyFunction fn, const int* at, const Operands& o, const float*, int32_t len) {
       return Call<decltype(&qelrDiv_32f_C1IM)>(fn, ref::Div, at, o.F(0), o.M(1), o.F(2), len);
     },
     Any(qelrDiv_32f_C1IM)},
    {"qelrDotChangeNorm_32f_IM", 8, 3,
     [](AnyFunction fn, const int* at, const Operands& o, const float*, int32_t len) {
       const float* const src[3] = {o.F(0), o.F(1), o.F(2)};
       float* const normals[3] = {o.F(4), o.F(5), o.F(6)};
       return Call<decltype(&qelrDotChangeNorm_32f_IM)>(fn, ref::DotChangeNorm, at, src, o.M(3),
                                                        normals, o.F(7), len);
     },
     Any(qelrDotChangeNorm_32f_IM)},
    {"qelrDot_32f_P3C1M", 8, 6,
     [](AnyFunction fn, const int* at, const Operands& o, const float*, int32_t len) {
       const float* const a[3] = {o.F(0), o.F(1), o.F(2)};
       const float* const b[3] = {o.F(3), o.F(4), o.F(5)};
       return Call<decltype(&qelrDot_32f_P3C1M)>(fn, ref::Dot, at, a, b, o.M(6), o.F(7), len);
     },
     Any(qelrDot_32f_P3C1M)},
    {"qelrMul_32f_C1IM", 3, 1,
     [](AnyFunction fn, const int* at, const Operands& o, const float*, int32_t len) {
       return Call<decltype(&qelrMul_32f_C1IM)>(fn, ref::MulC1IM, at, o.F(0), o.M(1), o.F(2), len);
     },
     Any(qelrMul_32f_C1IM)},
    {"qelrMul_32f_C1P3IM", 5, 1,
     [](AnyFunction fn, const int* at, const Operands& o, const float*, int32_t len) {
       float* const dst[3] = {o.F(2), o.F(3), o.F(4)};
       return Call<decltype(&qelrMul_32f_C1P3IM)>(fn, ref::MulC1P3IM, at, o.F(0), o.M(1), dst, len);
     },
     Any(qelrMul_32f_C1P3IM)},
};

// Offsets of `count` arrays: all together at 0, 4, 8 and 12; each alone at
// 2, 4, 8 or 12 with the others aligned; and seeded random mixes.
inline std::vector<std::vector<int>> Layouts(int count, qt::Rng& rng) {
  std::vector<std::vector<int>> layouts;
  for (int offset : {0, 4, 8, 12}) layouts.push_back(std::vector<int>(count, offset));
  for (int k = 0; k < count; ++k)
    for (int offset : {2, 4, 8, 12}) {
      layouts.push_back(std::vector<int>(count, 0));
      layouts.back()[k] = offset;
    }
  static const int kOffsets[] = {0, 0, 4, 8, 12, 2};
  for (int r = 0; r < 12; ++r) {
    layouts.push_back(std::vector<int>(count));
    for (int& offset : layouts.back()) offset = kOffsets[rng.Int(0, 5)];
  }
  return layouts;
}

// Random values, and mask words all active (kind 0), all masked (1), mixed
// (2), or per block of four all active, all masked or mixed (3), so that
// every block code of the aligned paths turns up.
inline void Fill(Operands& o, int maskIndex, int kind, qt::Rng& rng) {
  static const int32_t kActive[] = {0, 1, 7, INT32_MAX}, kMasked[] = {-1, -2, INT32_MIN, -123456};
  int group = 0;
  for (int k = 0; k < o.Count(); ++k)
    for (size_t i = 0; i < o.length; ++i) {
      if (k != maskIndex) {
        o.SetWord(k, i, qt::Bits(Value(rng)));
        continue;
      }
      if (kind == 3 && i % 4 == 0) group = rng.Int(0, 2);
      const int g = kind == 3 ? group : kind == 2 ? 2 : kind;
      const bool active = g == 0 || (g == 2 && rng.Chance(0.5));
      o.SetWord(k, i, static_cast<uint32_t>(active ? kActive[rng.Int(0, 3)] : kMasked[rng.Int(0, 3)]));
    }
}

// Runs fn, an implementation of e, against e's model; every array, inputs
// included, must match bit for bit and the guards stay intact.
inline ::testing::AssertionResult MatchesModel(const Export& e, AnyFunction fn, uint64_t seed) {
  qt::Rng rng(seed);
  for (int32_t len : {-5, -4, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 15, 16, 17, 31, 32, 33, 64, 67})
    for (std::vector<int> layout : Layouts(e.arrays, rng))
      for (int kind = 0; kind < 4; ++kind) {
        // With the arrays it tests aligned and len a multiple of 4, AddMulMul
        // reads its pSrc2 planes aligned too: the caller must align them.
        if (e.run == kExports[0].run && layout[0] + layout[4] + layout[5] + layout[6] + layout[7] == 0 &&
            len % 4 == 0)
          layout[1] = layout[2] = layout[3] = 0;
        Operands o(layout, len);
        Fill(o, e.maskIndex, kind, rng);
        const float coef[3] = {Value(rng), Value(rng), Value(rng)};
        const Operands expected = o.AlignedCopy();
        const qelStatus want = e.run(nullptr, layout.data(), expected, coef, len);
        const qelStatus got = e.run(fn, layout.data(), o, coef, len);
        ::testing::AssertionResult same = ::testing::AssertionSuccess();
        if (got != want) same = ::testing::AssertionFailure() << "status " << got << ", expected " << want;
        for (const auto& a : o.arrays)
          if (!a->GuardsIntact()) same = ::testing::AssertionFailure() << "write outside the arrays";
        for (int k = 0; k < o.Count() && same; ++k)
          for (size_t i = 0; i < o.length && same; ++i)
            if (o.Word(k, i) != expected.Word(k, i))
              same = ::testing::AssertionFailure()
                     << "array " << k << " element " << i << ": expected "
                     << qt::Show(qt::FromBits(expected.Word(k, i))) << ", got " << qt::Show(qt::FromBits(o.Word(k, i)));
        if (!same) {
          same << "\n  " << e.name << ", len " << len << ", mask kind " << kind << ", offsets";
          for (int offset : layout) same << " " << offset;
          return same;
        }
      }
  return ::testing::AssertionSuccess();
}

}  // namespace shading_test
