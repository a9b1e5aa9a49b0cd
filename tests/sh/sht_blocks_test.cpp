// Both block forms of the transforms, called directly: the SSE form on
// every machine and the AVX2 form where the processor has it, so that the
// form the library did not choose here is tested too.  The recurrence basis
// of the model is the scalar model's, independent of the library.
#include "sh/sht_blocks.h"

#include <vector>

#include "reference_sh.h"
#include "sh_test_support.h"
#include "sht_model_check.h"

namespace {

ShtForwardJob ForwardJob(sht::Layout layout, const sht::Call& call, const float* const values[3],
                         float* const coeffs[3]) {
  return {call.d->x.data(), call.d->y.data(), call.d->z.data(), call.count, sht::Channels(layout),
          {values[0], values[1], values[2]}, sht::Stride(layout), {coeffs[0], coeffs[1], coeffs[2]}, call.order,
          call.state};
}

ShtInverseJob InverseJob(sht::Layout layout, const sht::Call& call, const float* const coeffs[3],
                         float* const dst[3]) {
  return {call.d->x.data(), call.d->y.data(), call.d->z.data(), call.count, sht::Channels(layout),
          {coeffs[0], coeffs[1], coeffs[2]}, {dst[0], dst[1], dst[2]}, sht::Stride(layout), call.order, call.state};
}

void CheckBlocks(ShtForwardBlocksFn forwardBlocks, ShtInverseBlocksFn inverseBlocks) {
  qt::Rng rng(603);
  const ref::Tables tables = ref::RecurrenceTables(15);
  const auto forward = [&](sht::Layout layout, const sht::Call& call, const float* const values[3],
                           float* const coeffs[3]) { forwardBlocks(ForwardJob(layout, call, values, coeffs)); };
  const auto inverse = [&](sht::Layout layout, const sht::Call& call, const float* const coeffs[3],
                           float* const dst[3]) { inverseBlocks(InverseJob(layout, call, coeffs, dst)); };
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(15, mode);
    for (uint32_t order = 0; order <= 15; ++order) {
      const int count = 1 + rng.Int(0, 3) * 8 + rng.Int(0, 7);
      sht::Directions d = sht::RandomDirections(rng, count, true);
      const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
      const ref::BasisOf basisOf = [&](int i, float* record) {
        if (mode == SHModeRecurrence)
          ref::Recurrence(tables.a.data(), tables.b.data(), x[i], y[i], z[i], int(order), record);
        else
          ASSERT_EQ(qelrSH_32f(x + i, y + i, z + i, 1, record, order, state), StatusOk);
      };
      sht::CheckTransformsAgainstModel(rng, {&d, count, order, state}, basisOf, forward, inverse);
    }
  }
}

TEST(SHTBlocks, SseMatchesModel) {
  CheckBlocks(shtForwardBlocksSse, shtInverseBlocksSse);
}

TEST(SHTBlocks, Avx2MatchesModel) {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2"))
    GTEST_SKIP() << "no AVX2 on this processor";
  CheckBlocks(shtForwardBlocksAvx2, shtInverseBlocksAvx2);
}

}  // namespace
