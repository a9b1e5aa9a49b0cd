// Cubic resizes against the scalar models where the row passes take their
// special routes: downscales by 2 along x, whose interior rows read their
// taps as contiguous even and odd samples in groups of sixteen columns and
// one overlapping last group (widths cross the group sizes; shifts and
// origins move the columns without changing the step), and upscales whose
// left and right bands hold too many columns to ride along with the
// interior rows.
#include <gtest/gtest.h>

#include "resize_harness.h"

namespace {

template <typename T>
class CubicHalving : public ::testing::Test {
 protected:
  void TearDown() override { standinSetNumThreads(1); }
};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(CubicHalving, SampleTypes);

TYPED_TEST(CubicHalving, EveryCodeMatchesTheModels) {
  const int32_t codes[] = {InterCubic, InterCubicBSpline, InterCubicCatmullRom, InterCubicB05C03};
  qt::Rng rng(40 + sizeof(TypeParam));
  int n = 0;
  for (int32_t width : {36, 37, 38, 70, 72, 105, 140})
    for (int repeat = 0; repeat < 2; ++repeat, ++n) {
      rt::Case c;
      c.code = codes[n % 4];
      c.planar = rng.Chance(0.3);
      c.vol = {width, rng.Int(4, 12), rng.Int(4, 9)};
      c.srcVoi = {0, 0, 0, width, c.vol.height, c.vol.depth};
      c.factor[0] = 0.5;
      c.factor[1] = rng.Chance(0.5) ? 0.5 : 1.3;
      c.factor[2] = rng.Chance(0.5) ? 0.5 : 1.6;
      c.shift[0] = rng.Chance(0.5) ? 0.0 : double(rng.Uniform(-1.5f, 1.5f));
      const int32_t outW = width / 2;
      const int32_t x0 = rng.Int(0, 3);
      c.dstVoi = {x0, 0, 0, outW - x0 - rng.Int(0, 3), int32_t(c.vol.height * c.factor[1]),
                  int32_t(c.vol.depth * c.factor[2])};
      c.srcRowsReversed = rng.Chance(0.3);
      c.rowPad = rng.Int(0, 3);
      c.threads = rng.Int(1, 2);
      c.bufferOffset = size_t(rng.Int(0, 15));
      ASSERT_TRUE(rt::RunCase<TypeParam>(c, 900 + n)) << "case " << n;
    }
}

TYPED_TEST(CubicHalving, WideSideBandsMatchTheModels) {
  qt::Rng rng(50 + sizeof(TypeParam));
  for (double factor : {8.5, 9.0}) {
    rt::Case c;
    c.code = factor == 9.0 ? InterCubicCatmullRom : InterCubicB05C03;
    c.vol = {12, 6, 4};
    c.srcVoi = {0, 0, 0, 12, 6, 4};
    c.factor[0] = factor, c.factor[1] = 1.5, c.factor[2] = 1.5;
    c.dstVoi = {0, 0, 0, int32_t(12 * factor), 9, 6};
    c.rowPad = rng.Int(0, 3);
    ASSERT_TRUE(rt::RunCase<TypeParam>(c, 990 + int(factor)));
  }
}

}  // namespace
