// The three shading exports with two builds: the v8 and the s8 member, called
// directly in one process, give the same bits on the same data.
#include <gtest/gtest.h>

#include "frame/qelr_internal.h"
#include "shading_harness.h"

extern "C" {
decltype(qelrDotChangeNorm_32f_IM) qelrDotChangeNorm_32f_IM_v8, qelrDotChangeNorm_32f_IM_s8;
decltype(qelrMul_32f_C1IM) qelrMul_32f_C1IM_v8, qelrMul_32f_C1IM_s8;
decltype(qelrMul_32f_C1P3IM) qelrMul_32f_C1P3IM_v8, qelrMul_32f_C1P3IM_s8;
}

namespace {

using shading_test::Operands;

// Calls one member on the arrays of o, laid out as for the export.
using Member = qelStatus (*)(const Operands& o, int32_t len);

struct Pair {
  const char* name;
  int arrays, maskIndex;
  Member v8, s8;
};

template <decltype(qelrDotChangeNorm_32f_IM)* Fn>
qelStatus CallDotChangeNorm(const Operands& o, int32_t len) {
  const float* const s[3] = {o.F(0), o.F(1), o.F(2)};
  float* const n[3] = {o.F(4), o.F(5), o.F(6)};
  return Fn(s, o.M(3), n, o.F(7), len);
}

template <decltype(qelrMul_32f_C1IM)* Fn>
qelStatus CallMulC1IM(const Operands& o, int32_t len) {
  return Fn(o.F(0), o.M(1), o.F(2), len);
}

template <decltype(qelrMul_32f_C1P3IM)* Fn>
qelStatus CallMulC1P3IM(const Operands& o, int32_t len) {
  float* const dst[3] = {o.F(2), o.F(3), o.F(4)};
  return Fn(o.F(0), o.M(1), dst, len);
}

const Pair kPairs[] = {
    {"qelrDotChangeNorm_32f_IM", 8, 3, CallDotChangeNorm<qelrDotChangeNorm_32f_IM_v8>,
     CallDotChangeNorm<qelrDotChangeNorm_32f_IM_s8>},
    {"qelrMul_32f_C1IM", 3, 1, CallMulC1IM<qelrMul_32f_C1IM_v8>, CallMulC1IM<qelrMul_32f_C1IM_s8>},
    {"qelrMul_32f_C1P3IM", 5, 1, CallMulC1P3IM<qelrMul_32f_C1P3IM_v8>,
     CallMulC1P3IM<qelrMul_32f_C1P3IM_s8>},
};

TEST(ShadingVariants, BothMembersGiveTheSameBits) {
  qt::Rng rng(0x58);
  for (const Pair& p : kPairs) {
    EXPECT_NE(p.v8, p.s8) << p.name;
    for (int32_t len : shading_test::Lengths())
      for (const std::vector<int>& layout : shading_test::Layouts(p.arrays, rng))
        for (shading_test::MaskKind kind : shading_test::kMaskKinds) {
          Operands v8(layout, len), s8(layout, len);
          shading_test::Fill(v8, p.maskIndex, kind, rng);
          for (int k = 0; k < v8.Count(); ++k)
            for (size_t i = 0; i < v8.Length(); ++i) s8.SetWord(k, i, v8.Word(k, i));
          ASSERT_EQ(p.v8(v8, len), p.s8(s8, len)) << p.name;
          for (int k = 0; k < v8.Count(); ++k)
            for (size_t i = 0; i < v8.Length(); ++i)
              ASSERT_EQ(v8.Word(k, i), s8.Word(k, i))
                  << p.name << " len " << len << " array " << k << " element " << i;
          ASSERT_TRUE(v8.GuardsIntact() && s8.GuardsIntact()) << p.name;
        }
  }
}

}  // namespace
