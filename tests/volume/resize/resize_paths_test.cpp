// Every interpolation code against the scalar models, bit for bit, over
// seeded random volumes, regions, factors, shifts and layouts, for the three
// sample types and both layouts.
#include <gtest/gtest.h>

#include "resize_harness.h"

namespace {

template <typename T>
class ResizeRandom : public ::testing::Test {
 protected:
  void TearDown() override { standinSetNumThreads(1); }
};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ResizeRandom, SampleTypes);

TYPED_TEST(ResizeRandom, EveryCodeMatchesTheModels) {
  struct Run {
    int32_t code, count;
  };
  const Run runs[] = {{InterNearest, 150}, {InterLinear, 300}, {InterCubic, 40},
                      {InterCubicBSpline, 40}, {InterCubicCatmullRom, 40}, {InterCubicB05C03, 40}};
  uint64_t seed = 11 + sizeof(TypeParam);
  for (const Run& r : runs)
    for (bool planar : {false, true}) {
      qt::Rng rng(++seed);
      for (int n = 0; n < r.count; ++n) {
        const rt::Case c = rt::RandomCase(rng, r.code, planar);
        ASSERT_TRUE(rt::RunCase<TypeParam>(c, seed * 1000 + n)) << "case " << n;
      }
    }
}

}  // namespace
