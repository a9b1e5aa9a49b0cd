// Every form the library holds of the shading exports, called directly: the
// v8 and s8 members of those that have two, each in its four-wide and
// eight-wide (AVX2) build.  The loader picks one; none may differ from the model.
#include <gtest/gtest.h>

#include "frame/qelr_internal.h"
#include "shading_harness.h"

extern "C" {
decltype(qelrAddMulMul_32f_AC1P3IM) qelrAddMulMul_32f_AC1P3IM_impl_four, qelrAddMulMul_32f_AC1P3IM_impl_eight;
decltype(qelrDot_32f_P3C1M) qelrDot_32f_P3C1M_impl_four, qelrDot_32f_P3C1M_impl_eight;
decltype(qelrDotChangeNorm_32f_IM) qelrDotChangeNorm_32f_IM_v8_four, qelrDotChangeNorm_32f_IM_v8_eight,
    qelrDotChangeNorm_32f_IM_s8_four, qelrDotChangeNorm_32f_IM_s8_eight;
decltype(qelrMul_32f_C1IM) qelrMul_32f_C1IM_v8_four, qelrMul_32f_C1IM_v8_eight, qelrMul_32f_C1IM_s8_four,
    qelrMul_32f_C1IM_s8_eight;
decltype(qelrMul_32f_C1P3IM) qelrMul_32f_C1P3IM_v8_four, qelrMul_32f_C1P3IM_v8_eight,
    qelrMul_32f_C1P3IM_s8_four, qelrMul_32f_C1P3IM_s8_eight;
}

namespace {

using shading_test::Any;

TEST(ShadingForms, EveryFormMatchesTheModel) {
  const struct {
    int exportIndex;  // into kExports
    const char* name;
    shading_test::AnyFunction four, eight;
  } forms[] = {
      {0, "AddMulMul", Any(qelrAddMulMul_32f_AC1P3IM_impl_four), Any(qelrAddMulMul_32f_AC1P3IM_impl_eight)},
      {2, "DotChangeNorm v8", Any(qelrDotChangeNorm_32f_IM_v8_four), Any(qelrDotChangeNorm_32f_IM_v8_eight)},
      {2, "DotChangeNorm s8", Any(qelrDotChangeNorm_32f_IM_s8_four), Any(qelrDotChangeNorm_32f_IM_s8_eight)},
      {3, "Dot", Any(qelrDot_32f_P3C1M_impl_four), Any(qelrDot_32f_P3C1M_impl_eight)},
      {4, "Mul C1IM v8", Any(qelrMul_32f_C1IM_v8_four), Any(qelrMul_32f_C1IM_v8_eight)},
      {4, "Mul C1IM s8", Any(qelrMul_32f_C1IM_s8_four), Any(qelrMul_32f_C1IM_s8_eight)},
      {5, "Mul C1P3IM v8", Any(qelrMul_32f_C1P3IM_v8_four), Any(qelrMul_32f_C1P3IM_v8_eight)},
      {5, "Mul C1P3IM s8", Any(qelrMul_32f_C1P3IM_s8_four), Any(qelrMul_32f_C1P3IM_s8_eight)},
  };
  __builtin_cpu_init();
  const bool avx2 = __builtin_cpu_supports("avx2");
  if (!avx2) std::printf("no AVX2 here: the eight-wide forms are not run\n");
  for (const auto& f : forms) {
    const shading_test::Export& e = shading_test::kExports[f.exportIndex];
    EXPECT_TRUE(shading_test::MatchesModel(e, f.four, 0xF0 + f.exportIndex)) << f.name << " four";
    if (avx2) {
      EXPECT_TRUE(shading_test::MatchesModel(e, f.eight, 0xF0 + f.exportIndex)) << f.name << " eight";
    }
  }
}

}  // namespace
