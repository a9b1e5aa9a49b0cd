// The interior blend of the cubic resize against the scalar model, bit for
// bit, with the values the whole-volume comparisons seldom reach: sums just
// below a rounding step in float but not in double, out of range, NaN.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "qelr.h"
#include "reference_cubic.h"
#include "test_util.h"
#include "volume/resize/resize_rows_cubic.h"

namespace {

bool SameValue(float a, float b) { return qt::Bits(a) == qt::Bits(b) || (std::isnan(a) && std::isnan(b)); }
bool SameValue(uint16_t a, uint16_t b) { return a == b; }
bool SameValue(uint8_t a, uint8_t b) { return a == b; }

using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;

template <typename T>
class CubicBlendTest : public ::testing::Test {};
TYPED_TEST_SUITE(CubicBlendTest, SampleTypes);

TYPED_TEST(CubicBlendTest, MatchesModelWithOvershootAndAnyAlignment) {
  using T = TypeParam;
  qt::Rng rng(7);
  const float top = static_cast<float>(std::is_same<T, float>::value ? 1000 : std::numeric_limits<T>::max());
  const float special[] = {2.4999998f, -7.0f, 300.0f, 70000.0f, std::numeric_limits<float>::quiet_NaN()};
  const float weightSets[2][4] = {{-0.0703125f, 0.8671875f, 0.2265625f, -0.0234375f}, {1, 0, 0, 0}};
  for (const float* w : weightSets)
    for (int32_t wi : {1, 3, 4, 5, 8, 13})
      for (size_t offset : {size_t(0), sizeof(T)}) {
        const int32_t hi = 3, stride = 64, dstStep = wi + 5;
        std::vector<float> storage(4 * hi * stride);
        for (float& v : storage) v = rng.Chance(0.03f) ? special[rng.Int(0, 4)] : rng.Uniform(-0.2f * top, 1.2f * top);
        if (w[0] == 1)  // the specials pass unchanged through the first plane
          for (int32_t p = 0; p < hi * stride; ++p) storage[p] = special[(p / stride + p % stride) % 5];
        const float* planes[4] = {&storage[0], &storage[hi * stride], &storage[2 * hi * stride], &storage[3 * hi * stride]};
        qt::GuardedBuffer<T> dst(hi * dstStep, offset);
        std::vector<T> expected(hi * dstStep, T(17));
        for (int32_t i = 0; i < hi * dstStep; ++i) dst[i] = T(17);
        CubicBlendInterior(dst.data(), dstStep, wi, hi, w, planes, stride);
        for (int32_t j = 0; j < hi; ++j)
          for (int32_t i = 0; i < wi; ++i) {
            const int32_t p = j * stride + i;
            refcubic::StoreInterior(&expected[j * dstStep + i],
                                    (planes[0][p] * w[0] + planes[1][p] * w[1]) + (planes[2][p] * w[2] + planes[3][p] * w[3]));
          }
        for (int32_t i = 0; i < hi * dstStep; ++i) ASSERT_TRUE(SameValue(expected[i], dst[i])) << "wi " << wi << " at " << i;
        EXPECT_TRUE(dst.GuardsIntact());
      }
}

TEST(CubicBlendRounding, ModelRoundsInteriorInFloatFrameInDouble) {
  // 2.4999998 + 0.5000001f rounds up to 3 in single precision, not in double.
  uint8_t interior, frame;
  refcubic::StoreInterior(&interior, 2.4999998f);
  refcubic::StoreFrame(&frame, 2.4999998f);
  EXPECT_EQ(interior, 3);
  EXPECT_EQ(frame, 2);
}

}  // namespace
