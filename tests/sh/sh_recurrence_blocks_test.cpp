// Both vector forms of the recurrence, called directly: the SSE blocks on
// every machine and the AVX2 blocks where the processor has AVX2, so that
// the form the library did not choose here is tested too.
#include "sh/sh_recurrence_blocks.h"

#include <vector>

#include "reference_sh.h"
#include "sh_test_support.h"

namespace {

void CheckBlocks(ShRecurrenceBlocksFn blocks, int widest, const char* name) {
  qt::Rng rng(701);
  const ref::Tables t = ref::RecurrenceTables(15);
  for (int order = 1; order <= 15; ++order) {
    const int n = (order + 1) * (order + 1);
    for (int count : {1, 3, 4, 5, 8, 11, 12, 16, 19, 37}) {
      std::vector<float> x(count), y(count), z(count);
      for (int i = 0; i < count; ++i) {
        x[i] = rng.Special(-1.5f, 1.5f);
        y[i] = rng.Special(-1.5f, 1.5f);
        z[i] = rng.Special(-1.5f, 1.5f);
      }
      qt::GuardedBuffer<float> dst(size_t(count) * n, 4 * size_t(rng.Int(0, 3)));
      const int32_t done = blocks(t.a.data(), t.b.data(), x.data(), y.data(), z.data(), count, dst.data(), order);
      // Whole blocks of the widest size, then of 4 where they still fit.
      const int32_t expected = count / widest * widest + (count % widest) / 4 * 4;
      ASSERT_EQ(done, expected) << name << " count " << count;
      std::vector<float> want(n);
      for (int i = 0; i < done; ++i) {
        ref::Recurrence(t.a.data(), t.b.data(), x[i], y[i], z[i], order, want.data());
        ASSERT_TRUE(sht::SameValues(want.data(), &dst[size_t(i) * n], n))
            << name << " order " << order << " direction " << i << " of " << count;
      }
      // Nothing past the directions done is touched.
      for (size_t k = size_t(done) * n; k < dst.size(); ++k)
        ASSERT_EQ(qt::Bits(dst[k]), 0xA5A5A5A5u) << name << " count " << count << " float " << k;
      ASSERT_TRUE(dst.GuardsIntact());
    }
  }
}

TEST(SHRecurrenceBlocks, SseMatchesScalarModel) {
  CheckBlocks(shRecurrenceBlocksSse, 8, "sse");
}

TEST(SHRecurrenceBlocks, Avx2MatchesScalarModel) {
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2"))
    GTEST_SKIP() << "no AVX2 on this processor";
  CheckBlocks(shRecurrenceBlocksAvx2, 8, "avx2");
}

}  // namespace
