// The six shading exports as test cases: the arrays of each call, how to
// call an implementation of it, and its scalar model; and the check that
// runs an implementation against the model over every layout, length and
// mask kind of the harness.
#pragma once

#include <string>
#include <vector>

#include "qelr.h"
#include "reference_shading.h"
#include "shading_harness.h"

namespace shading_test {

// Any implementation of an export, called back at its own type.
using AnyFunction = void (*)();
template <typename Fn>
AnyFunction Any(Fn* fn) {
  return reinterpret_cast<AnyFunction>(fn);
}
template <typename FnPointer>
FnPointer As(AnyFunction fn) {
  return reinterpret_cast<FnPointer>(fn);
}

using Plain = std::vector<std::vector<uint32_t>>;

inline float* F(Plain& a, int k) { return reinterpret_cast<float*>(a[k].data()); }
inline int32_t* M(Plain& a, int k) { return reinterpret_cast<int32_t*>(a[k].data()); }

// One export: its arrays in argument order (planes expanded, mask included),
// a call of the library and a call of its model.
struct Export {
  const char* name;
  int arrays;
  int maskIndex;
  // Calls fn, which has the export's type, on the arrays of o.
  qelStatus (*library)(AnyFunction fn, const Operands& o, const float* coef, int32_t len);
  qelStatus (*model)(const int* at, Plain& a, const float* coef, int32_t len);
  // Adjusts a layout to what the caller owes the export (may be null).
  void (*honour)(std::vector<int>& layout, int32_t len);
  AnyFunction exported;
};

// When the operands that AddMulMul tests are aligned and len is a multiple
// of 4, it reads the untested pSrc2 planes aligned too: the caller has to
// align them.
inline void AlignSrc2WhenOthersAre(std::vector<int>& layout, int32_t len) {
  const bool tested = layout[0] == 0 && layout[4] == 0 && layout[5] == 0 && layout[6] == 0 &&
                      layout[7] == 0 && len % 4 == 0;
  if (tested) layout[1] = layout[2] = layout[3] = 0;
}

const Export kExports[] = {
    {"qelrAddMulMul_32f_AC1P3IM", 8, 4,
     [](AnyFunction fn, const Operands& o, const float* coef, int32_t len) {
       const float* const src2[3] = {o.F(1), o.F(2), o.F(3)};
       float* const dst[3] = {o.F(5), o.F(6), o.F(7)};
       return As<decltype(&qelrAddMulMul_32f_AC1P3IM)>(fn)(coef, o.F(0), src2, o.M(4), dst, len);
     },
     [](const int* at, Plain& a, const float* coef, int32_t len) {
       const float* const src2[3] = {F(a, 1), F(a, 2), F(a, 3)};
       float* const dst[3] = {F(a, 5), F(a, 6), F(a, 7)};
       return ref::AddMulMul(at, coef, F(a, 0), src2, M(a, 4), dst, len);
     },
     AlignSrc2WhenOthersAre, Any(qelrAddMulMul_32f_AC1P3IM)},
    {"qelrDiv_32f_C1IM", 3, 1,
     [](AnyFunction fn, const Operands& o, const float*, int32_t len) {
       return As<decltype(&qelrDiv_32f_C1IM)>(fn)(o.F(0), o.M(1), o.F(2), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       return ref::Div(at, F(a, 0), M(a, 1), F(a, 2), len);
     },
     nullptr, Any(qelrDiv_32f_C1IM)},
    {"qelrDotChangeNorm_32f_IM", 8, 3,
     [](AnyFunction fn, const Operands& o, const float*, int32_t len) {
       const float* const src[3] = {o.F(0), o.F(1), o.F(2)};
       float* const normals[3] = {o.F(4), o.F(5), o.F(6)};
       return As<decltype(&qelrDotChangeNorm_32f_IM)>(fn)(src, o.M(3), normals, o.F(7), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       const float* const src[3] = {F(a, 0), F(a, 1), F(a, 2)};
       float* const normals[3] = {F(a, 4), F(a, 5), F(a, 6)};
       return ref::DotChangeNorm(at, src, M(a, 3), normals, F(a, 7), len);
     },
     nullptr, Any(qelrDotChangeNorm_32f_IM)},
    {"qelrDot_32f_P3C1M", 8, 6,
     [](AnyFunction fn, const Operands& o, const float*, int32_t len) {
       const float* const a[3] = {o.F(0), o.F(1), o.F(2)};
       const float* const b[3] = {o.F(3), o.F(4), o.F(5)};
       return As<decltype(&qelrDot_32f_P3C1M)>(fn)(a, b, o.M(6), o.F(7), len);
     },
     [](const int* at, Plain& p, const float*, int32_t len) {
       const float* const a[3] = {F(p, 0), F(p, 1), F(p, 2)};
       const float* const b[3] = {F(p, 3), F(p, 4), F(p, 5)};
       return ref::Dot(at, a, b, M(p, 6), F(p, 7), len);
     },
     nullptr, Any(qelrDot_32f_P3C1M)},
    {"qelrMul_32f_C1IM", 3, 1,
     [](AnyFunction fn, const Operands& o, const float*, int32_t len) {
       return As<decltype(&qelrMul_32f_C1IM)>(fn)(o.F(0), o.M(1), o.F(2), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       return ref::MulC1IM(at, F(a, 0), M(a, 1), F(a, 2), len);
     },
     nullptr, Any(qelrMul_32f_C1IM)},
    {"qelrMul_32f_C1P3IM", 5, 1,
     [](AnyFunction fn, const Operands& o, const float*, int32_t len) {
       float* const dst[3] = {o.F(2), o.F(3), o.F(4)};
       return As<decltype(&qelrMul_32f_C1P3IM)>(fn)(o.F(0), o.M(1), dst, len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       float* const dst[3] = {F(a, 2), F(a, 3), F(a, 4)};
       return ref::MulC1P3IM(at, F(a, 0), M(a, 1), dst, len);
     },
     nullptr, Any(qelrMul_32f_C1P3IM)},
};

// Every array of the call, inputs included, must match the model's copy.
inline ::testing::AssertionResult SameAsModel(const Operands& o, const Plain& expected) {
  for (int k = 0; k < o.Count(); ++k)
    for (size_t i = 0; i < o.Length(); ++i)
      if (o.Word(k, i) != expected[k][i])
        return ::testing::AssertionFailure()
               << "array " << k << " element " << i << ": expected "
               << qt::Show(qt::FromBits(expected[k][i])) << ", got "
               << qt::Show(qt::FromBits(o.Word(k, i)));
  if (!o.GuardsIntact()) return ::testing::AssertionFailure() << "write outside the arrays";
  return ::testing::AssertionSuccess();
}

// Runs fn, an implementation of e, against e's model over every length,
// layout and mask kind of the harness.
inline ::testing::AssertionResult MatchesModel(const Export& e, AnyFunction fn, uint64_t seed) {
  qt::Rng rng(seed);
  const char* kinds[] = {"all active", "all masked", "mixed", "blockwise"};
  for (int32_t len : Lengths())
    for (std::vector<int> layout : Layouts(e.arrays, rng))
      for (int kind = 0; kind < 4; ++kind) {
        if (e.honour) e.honour(layout, len);
        Operands o(layout, len);
        Fill(o, e.maskIndex, kMaskKinds[kind], rng);
        const float coef[3] = {Value(rng), Value(rng), Value(rng)};
        Plain expected = o.Copy();
        const qelStatus want = e.model(layout.data(), expected, coef, len);
        const qelStatus got = e.library(fn, o, coef, len);
        ::testing::AssertionResult same =
            got != want ? ::testing::AssertionFailure() << "status " << got << ", expected " << want
                        : SameAsModel(o, expected);
        if (!same) {
          same << "\n  " << e.name << ", len " << len << ", " << kinds[kind] << " mask, offsets";
          for (int offset : layout) same << " " << offset;
          return same;
        }
      }
  return ::testing::AssertionSuccess();
}

}  // namespace shading_test
