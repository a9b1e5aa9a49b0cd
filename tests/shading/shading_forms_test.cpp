// Every form the library holds of each shading export, called directly: the
// v8 and s8 members of the three exports that have two, each in its
// four-wide and eight-wide (AVX2) build.  All of them must match the scalar
// model bit for bit; the loader picks one per member, and the others must
// not differ from it.
#include <gtest/gtest.h>

#include "frame/qelr_internal.h"
#include "shading_cases.h"

extern "C" {
decltype(qelrAddMulMul_32f_AC1P3IM) qelrAddMulMul_32f_AC1P3IM_impl_four,
    qelrAddMulMul_32f_AC1P3IM_impl_eight;
decltype(qelrDot_32f_P3C1M) qelrDot_32f_P3C1M_impl_four, qelrDot_32f_P3C1M_impl_eight;
decltype(qelrDotChangeNorm_32f_IM) qelrDotChangeNorm_32f_IM_v8_four,
    qelrDotChangeNorm_32f_IM_v8_eight, qelrDotChangeNorm_32f_IM_s8_four,
    qelrDotChangeNorm_32f_IM_s8_eight;
decltype(qelrMul_32f_C1IM) qelrMul_32f_C1IM_v8_four, qelrMul_32f_C1IM_v8_eight,
    qelrMul_32f_C1IM_s8_four, qelrMul_32f_C1IM_s8_eight;
decltype(qelrMul_32f_C1P3IM) qelrMul_32f_C1P3IM_v8_four, qelrMul_32f_C1P3IM_v8_eight,
    qelrMul_32f_C1P3IM_s8_four, qelrMul_32f_C1P3IM_s8_eight;
decltype(qelrDotChangeNorm_32f_IM) qelrDotChangeNorm_32f_IM_v8, qelrDotChangeNorm_32f_IM_s8;
decltype(qelrMul_32f_C1IM) qelrMul_32f_C1IM_v8, qelrMul_32f_C1IM_s8;
decltype(qelrMul_32f_C1P3IM) qelrMul_32f_C1P3IM_v8, qelrMul_32f_C1P3IM_s8;
}

namespace {

using shading_test::Any;
using shading_test::AnyFunction;
using shading_test::kExports;

bool ProcessorHasAvx2() {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
}

struct Form {
  int exportIndex;  // into kExports
  const char* name;
  AnyFunction fn;
  bool eightWide;
};

const Form kForms[] = {
    {0, "AddMulMul four", Any(qelrAddMulMul_32f_AC1P3IM_impl_four), false},
    {0, "AddMulMul eight", Any(qelrAddMulMul_32f_AC1P3IM_impl_eight), true},
    {2, "DotChangeNorm v8 four", Any(qelrDotChangeNorm_32f_IM_v8_four), false},
    {2, "DotChangeNorm v8 eight", Any(qelrDotChangeNorm_32f_IM_v8_eight), true},
    {2, "DotChangeNorm s8 four", Any(qelrDotChangeNorm_32f_IM_s8_four), false},
    {2, "DotChangeNorm s8 eight", Any(qelrDotChangeNorm_32f_IM_s8_eight), true},
    {3, "Dot four", Any(qelrDot_32f_P3C1M_impl_four), false},
    {3, "Dot eight", Any(qelrDot_32f_P3C1M_impl_eight), true},
    {4, "Mul C1IM v8 four", Any(qelrMul_32f_C1IM_v8_four), false},
    {4, "Mul C1IM v8 eight", Any(qelrMul_32f_C1IM_v8_eight), true},
    {4, "Mul C1IM s8 four", Any(qelrMul_32f_C1IM_s8_four), false},
    {4, "Mul C1IM s8 eight", Any(qelrMul_32f_C1IM_s8_eight), true},
    {5, "Mul C1P3IM v8 four", Any(qelrMul_32f_C1P3IM_v8_four), false},
    {5, "Mul C1P3IM v8 eight", Any(qelrMul_32f_C1P3IM_v8_eight), true},
    {5, "Mul C1P3IM s8 four", Any(qelrMul_32f_C1P3IM_s8_four), false},
    {5, "Mul C1P3IM s8 eight", Any(qelrMul_32f_C1P3IM_s8_eight), true},
};

TEST(ShadingForms, EveryFormMatchesTheModel) {
  const bool avx2 = ProcessorHasAvx2();
  if (!avx2) std::printf("no AVX2 here: the eight-wide forms are not run\n");
  for (const Form& f : kForms) {
    if (f.eightWide && !avx2) continue;
    EXPECT_TRUE(shading_test::MatchesModel(kExports[f.exportIndex], f.fn, 0xF0 + f.exportIndex))
        << f.name;
  }
}

TEST(ShadingForms, TheTwoMembersAreDistinctRoutines) {
  EXPECT_NE(Any(qelrDotChangeNorm_32f_IM_v8), Any(qelrDotChangeNorm_32f_IM_s8));
  EXPECT_NE(Any(qelrMul_32f_C1IM_v8), Any(qelrMul_32f_C1IM_s8));
  EXPECT_NE(Any(qelrMul_32f_C1P3IM_v8), Any(qelrMul_32f_C1P3IM_s8));
}

}  // namespace
