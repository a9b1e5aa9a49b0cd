// Each shading export against its scalar model, bit for bit, over seeded
// random data: every array at every offset, lengths around multiples of 4
// and below 1, masks all active, all masked out, mixed and mixed by block.
#include <gtest/gtest.h>

#include "qelr.h"
#include "reference_shading.h"
#include "shading_harness.h"

namespace {

using shading_test::Operands;
using Plain = std::vector<std::vector<uint32_t>>;

inline float* F(Plain& a, int k) { return reinterpret_cast<float*>(a[k].data()); }
inline int32_t* M(Plain& a, int k) { return reinterpret_cast<int32_t*>(a[k].data()); }

// One export: its arrays in argument order (planes expanded, mask included),
// a call of the library and a call of its model.
struct Export {
  const char* name;
  int arrays;
  int maskIndex;
  qelStatus (*library)(const Operands& o, const float* coef, int32_t len);
  qelStatus (*model)(const int* at, Plain& a, const float* coef, int32_t len);
  // Adjusts a layout to what the caller owes the export (may be null).
  void (*honour)(std::vector<int>& layout, int32_t len);
};

// When the operands that AddMulMul tests are aligned and len is a multiple
// of 4, it reads the untested pSrc2 planes aligned too: the caller has to
// align them.
void AlignSrc2WhenOthersAre(std::vector<int>& layout, int32_t len) {
  const bool tested = layout[0] == 0 && layout[4] == 0 && layout[5] == 0 && layout[6] == 0 &&
                      layout[7] == 0 && len % 4 == 0;
  if (tested) layout[1] = layout[2] = layout[3] = 0;
}

const Export kExports[] = {
    {"qelrAddMulMul_32f_AC1P3IM", 8, 4,
     [](const Operands& o, const float* coef, int32_t len) {
       const float* const src2[3] = {o.F(1), o.F(2), o.F(3)};
       float* const dst[3] = {o.F(5), o.F(6), o.F(7)};
       return qelrAddMulMul_32f_AC1P3IM(coef, o.F(0), src2, o.M(4), dst, len);
     },
     [](const int* at, Plain& a, const float* coef, int32_t len) {
       const float* const src2[3] = {F(a, 1), F(a, 2), F(a, 3)};
       float* const dst[3] = {F(a, 5), F(a, 6), F(a, 7)};
       return ref::AddMulMul(at, coef, F(a, 0), src2, M(a, 4), dst, len);
     },
     AlignSrc2WhenOthersAre},
    {"qelrDiv_32f_C1IM", 3, 1,
     [](const Operands& o, const float*, int32_t len) {
       return qelrDiv_32f_C1IM(o.F(0), o.M(1), o.F(2), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       return ref::Div(at, F(a, 0), M(a, 1), F(a, 2), len);
     },
     nullptr},
    {"qelrDotChangeNorm_32f_IM", 8, 3,
     [](const Operands& o, const float*, int32_t len) {
       const float* const src[3] = {o.F(0), o.F(1), o.F(2)};
       float* const normals[3] = {o.F(4), o.F(5), o.F(6)};
       return qelrDotChangeNorm_32f_IM(src, o.M(3), normals, o.F(7), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       const float* const src[3] = {F(a, 0), F(a, 1), F(a, 2)};
       float* const normals[3] = {F(a, 4), F(a, 5), F(a, 6)};
       return ref::DotChangeNorm(at, src, M(a, 3), normals, F(a, 7), len);
     },
     nullptr},
    {"qelrDot_32f_P3C1M", 8, 6,
     [](const Operands& o, const float*, int32_t len) {
       const float* const a[3] = {o.F(0), o.F(1), o.F(2)};
       const float* const b[3] = {o.F(3), o.F(4), o.F(5)};
       return qelrDot_32f_P3C1M(a, b, o.M(6), o.F(7), len);
     },
     [](const int* at, Plain& p, const float*, int32_t len) {
       const float* const a[3] = {F(p, 0), F(p, 1), F(p, 2)};
       const float* const b[3] = {F(p, 3), F(p, 4), F(p, 5)};
       return ref::Dot(at, a, b, M(p, 6), F(p, 7), len);
     },
     nullptr},
    {"qelrMul_32f_C1IM", 3, 1,
     [](const Operands& o, const float*, int32_t len) {
       return qelrMul_32f_C1IM(o.F(0), o.M(1), o.F(2), len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       return ref::MulC1IM(at, F(a, 0), M(a, 1), F(a, 2), len);
     },
     nullptr},
    {"qelrMul_32f_C1P3IM", 5, 1,
     [](const Operands& o, const float*, int32_t len) {
       float* const dst[3] = {o.F(2), o.F(3), o.F(4)};
       return qelrMul_32f_C1P3IM(o.F(0), o.M(1), dst, len);
     },
     [](const int* at, Plain& a, const float*, int32_t len) {
       float* const dst[3] = {F(a, 2), F(a, 3), F(a, 4)};
       return ref::MulC1P3IM(at, F(a, 0), M(a, 1), dst, len);
     },
     nullptr},
};

std::string Describe(const Export& e, const Operands& o, int32_t len, int kind) {
  std::string text = std::string(e.name) + " len " + std::to_string(len) + " mask kind " +
                     std::to_string(kind) + " offsets";
  for (int k = 0; k < o.Count(); ++k) text += " " + std::to_string(o.Offsets()[k]);
  return text;
}

// Every array of the call, inputs included, must match the model's copy.
::testing::AssertionResult SameAsModel(const Operands& o, const Plain& expected) {
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

class ShadingPaths : public ::testing::TestWithParam<int> {};

TEST_P(ShadingPaths, MatchModelBitForBit) {
  const Export& e = kExports[GetParam()];
  qt::Rng rng(0x5AD1 + GetParam());
  for (int32_t len : shading_test::Lengths())
    for (std::vector<int> layout : shading_test::Layouts(e.arrays, rng))
      for (int kind = 0; kind < 4; ++kind) {
        if (e.honour) e.honour(layout, len);
        Operands o(layout, len);
        shading_test::Fill(o, e.maskIndex, shading_test::kMaskKinds[kind], rng);
        const float coef[3] = {shading_test::Value(rng), shading_test::Value(rng),
                               shading_test::Value(rng)};
        Plain expected = o.Copy();
        const qelStatus want = e.model(layout.data(), expected, coef, len);
        const qelStatus got = e.library(o, coef, len);
        ASSERT_EQ(got, want) << Describe(e, o, len, kind);
        ASSERT_TRUE(SameAsModel(o, expected)) << Describe(e, o, len, kind);
      }
}

INSTANTIATE_TEST_SUITE_P(AllSix, ShadingPaths, ::testing::Range(0, 6),
                         [](const ::testing::TestParamInfo<int>& info) {
                           return std::string(kExports[info.param].name);
                         });

}  // namespace
