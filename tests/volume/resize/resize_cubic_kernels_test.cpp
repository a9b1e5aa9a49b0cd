// Weight tables, row kernels and the interior blend of the cubic resize
// against the scalar model, bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "qelr.h"
#include "reference_cubic.h"
#include "test_util.h"
#include "volume/resize/resize_cubic_weights.h"
#include "volume/resize/resize_rows_cubic.h"

namespace {

constexpr int kCodes[] = {InterCubic, InterCubicBSpline, InterCubicCatmullRom, InterCubicB05C03};

bool SameValue(float a, float b) { return qt::Bits(a) == qt::Bits(b) || (std::isnan(a) && std::isnan(b)); }
bool SameValue(uint16_t a, uint16_t b) { return a == b; }
bool SameValue(uint8_t a, uint8_t b) { return a == b; }

std::vector<float> Table(int code, const std::vector<float>& fractions) {
  std::vector<float> table(4 * fractions.size());
  CubicWeightsForCode(code)(fractions.data(), static_cast<int32_t>(fractions.size()), table.data());
  return table;
}

TEST(CubicWeights, MatchModelOverFractions) {
  qt::Rng rng(71);
  // Zero, the ends of the range and NaN (whose weights are all 1) included.
  std::vector<float> fractions = {0.0f, 0.5f, 0.25f, 0.99999994f, 1e-8f, 0.75f,
                                 std::numeric_limits<float>::quiet_NaN()};
  for (int i = 0; i < 2000; ++i) fractions.push_back(rng.Uniform(0.0f, 1.0f));
  for (int code : kCodes) {
    const std::vector<float> table = Table(code, fractions);
    for (size_t i = 0; i < fractions.size(); ++i) {
      const refcubic::Weights4 w = refcubic::Weights(code, fractions[i]);
      ASSERT_TRUE(qt::SameBits(w.w, &table[4 * i], 4)) << "code " << code << " t " << fractions[i];
    }
  }
}

// ---- row kernels -------------------------------------------------------------

template <typename T>
class CubicRowXTest : public ::testing::Test {};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(CubicRowXTest, SampleTypes);

template <typename T>
T SampleFor(qt::Rng& rng) {
  if constexpr (std::is_same<T, float>::value) return rng.Special(-1000.0f, 1000.0f);
  else return static_cast<T>(rng.Int(0, std::numeric_limits<T>::max()));
}

TYPED_TEST(CubicRowXTest, EveryLengthMatchesScalarFormAtAnyPlace) {
  using T = TypeParam;
  qt::Rng rng(4242);
  std::vector<T> src(300);
  for (T& v : src) v = SampleFor<T>(rng);
  for (int32_t n : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 31, 64}) {
    std::vector<int32_t> index(n + 1);
    qt::GuardedBuffer<float> weights(4 * (n + 1)), row(n + 1), shifted(n + 1);
    for (int32_t i = 0; i <= n; ++i) {
      index[i] = rng.Int(1, 296);
      for (int k = 0; k < 4; ++k) weights[4 * i + k] = rng.Uniform(-0.6f, 1.2f);
    }
    CubicRowX(src.data(), n, index.data(), weights.data(), row.data());
    // The same columns one place later in the row take the other loop.
    CubicRowX(src.data(), n + 1, index.data(), weights.data(), shifted.data());
    for (int32_t i = 0; i < n; ++i) {
      const T* s = src.data() + index[i] - 1;
      const float* w = &weights[4 * i];
      const float expected = (float(s[0]) * w[0] + float(s[1]) * w[1]) + (float(s[2]) * w[2] + float(s[3]) * w[3]);
      ASSERT_TRUE(SameValue(expected, row[i])) << "n " << n << " column " << i;
      ASSERT_TRUE(SameValue(row[i], shifted[i])) << "n " << n << " column " << i;
    }
    EXPECT_TRUE(row.GuardsIntact()) << "n " << n;
  }
}

// ---- interior blend ----------------------------------------------------------

template <typename T>
class CubicBlendTest : public ::testing::Test {};
TYPED_TEST_SUITE(CubicBlendTest, SampleTypes);

TYPED_TEST(CubicBlendTest, MatchesModelWithOvershootAndAnyAlignment) {
  using T = TypeParam;
  qt::Rng rng(7);
  const float top = static_cast<float>(std::is_same<T, float>::value ? 1000 : std::numeric_limits<T>::max());
  // Values near a rounding step in float but not in double, out of range, NaN.
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
