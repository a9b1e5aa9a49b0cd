// The cubic row kernels of every instruction set this processor runs,
// against the scalar formulas, bit for bit: the x pass in both sum orders
// over step-two and irregular column indexes, the y pass, and the interior
// blend with the values the whole-volume comparisons seldom reach (sums just
// below a rounding step in float but not in double, out of range, NaN).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "qelr.h"
#include "reference_cubic.h"
#include "test_util.h"
#include "volume/resize/resize_rows_cubic.h"

namespace {

struct KernelSet {
  const char* name;
  const CubicKernels* kernels;
};

// Every set this processor can run; SSE always.
std::vector<KernelSet> RunnableSets() {
  __builtin_cpu_init();
  std::vector<KernelSet> sets = {{"sse", &CubicKernelsSse()}};
  if (__builtin_cpu_supports("avx2")) sets.push_back({"avx2", &CubicKernelsAvx2()});
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"))
    sets.push_back({"avx512", &CubicKernelsAvx512()});
  return sets;
}

bool SameValue(float a, float b) { return qt::Bits(a) == qt::Bits(b) || (std::isnan(a) && std::isnan(b)); }
bool SameValue(uint16_t a, uint16_t b) { return a == b; }
bool SameValue(uint8_t a, uint8_t b) { return a == b; }

template <typename T>
T RandomSample(qt::Rng& rng) {
  if constexpr (std::is_same<T, float>::value) {
    return rng.Special(-300.0f, 300.0f);
  } else {
    const int32_t top = std::numeric_limits<T>::max();
    return static_cast<T>(rng.Chance(0.2) ? (rng.Chance(0.5) ? 0 : top) : rng.Int(0, top));
  }
}

using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;

// ---- x pass ----------------------------------------------------------------

enum class Pattern { StepTwo, StepTwoButOne, Irregular };

// Column indexes that start at 1 and never fall: steps of exactly 2, steps
// of 2 but one, or any steps from 0 to 3.
std::vector<int32_t> Indexes(qt::Rng& rng, int32_t n, Pattern pattern) {
  std::vector<int32_t> index(n);
  const int32_t odd = rng.Int(1, n > 1 ? n - 1 : 1);
  int32_t at = 1;
  for (int32_t i = 0; i < n; ++i) {
    index[i] = at;
    if (pattern == Pattern::Irregular) at += rng.Int(0, 3);
    else at += (pattern == Pattern::StepTwoButOne && i + 1 == odd) ? rng.Int(0, 1) * 2 + 1 : 2;
  }
  return index;
}

template <typename T>
class CubicRowXTest : public ::testing::Test {};
TYPED_TEST_SUITE(CubicRowXTest, SampleTypes);

TYPED_TEST(CubicRowXTest, BothOrdersMatchTheFormulasForAnyIndexes) {
  using T = TypeParam;
  qt::Rng rng(31 + sizeof(T));
  for (const KernelSet& set : RunnableSets())
    for (Pattern pattern : {Pattern::StepTwo, Pattern::StepTwoButOne, Pattern::Irregular})
      for (int32_t n : {1, 5, 15, 16, 17, 24, 31, 32, 33, 62, 100}) {
        const std::vector<int32_t> index = Indexes(rng, n, pattern);
        // The source holds exactly the taps, from a random alignment on.
        qt::GuardedBuffer<T> src(size_t(index.back() + 3), sizeof(T) * size_t(rng.Int(0, 15)));
        for (size_t i = 0; i < src.size(); ++i) src[i] = RandomSample<T>(rng);
        std::vector<float> weights4(4 * n), lastGroup(4 * kCubicGroup);
        for (float& w : weights4) w = rng.Chance(0.05) ? rng.Special() : rng.Uniform(-0.3f, 1.1f);
        const std::vector<float> columnWeights = weights4;
        GroupCubicXWeights(weights4.data(), n, lastGroup.data());
        const bool stepsByTwo = CubicIndexStepsByTwo(index.data(), n);
        ASSERT_EQ(stepsByTwo, pattern == Pattern::StepTwo && n >= kCubicGroup);
        const CubicXTable x = {n, index.data(), weights4.data(), lastGroup.data(), stepsByTwo};

        const CubicTypeKernels<T>& k = set.kernels->template Of<T>();
        for (bool inOrder : {false, true}) {
          qt::GuardedBuffer<float> row{size_t(n)};
          (inOrder ? k.rowXInOrder : k.rowX)(src.data(), x, row.data());
          for (int32_t i = 0; i < n; ++i) {
            float s[4];
            for (int t = 0; t < 4; ++t) s[t] = static_cast<float>(src[size_t(index[i] - 1 + t)]);
            const float* w = &columnWeights[4 * size_t(i)];
            const float want = inOrder ? refcubic::InOrderSum(s, w) : refcubic::PairSum(s, w);
            ASSERT_TRUE(SameValue(want, row[size_t(i)]))
                << set.name << " n " << n << " pattern " << int(pattern) << " order " << inOrder << " column " << i
                << ": " << qt::Show(want) << " vs " << qt::Show(row[size_t(i)]);
          }
          ASSERT_TRUE(row.GuardsIntact()) << set.name << " n " << n;
        }
      }
}

// ---- y pass ----------------------------------------------------------------

TEST(CubicRowYTest, MatchesThePairSumAtEveryLength) {
  qt::Rng rng(5);
  for (const KernelSet& set : RunnableSets())
    for (int32_t n = 1; n <= 70; ++n) {
      const int32_t stride = 128;  // rows 64-byte aligned, as the row buffers are
      qt::GuardedBuffer<float> rows(4 * size_t(stride));
      for (size_t i = 0; i < rows.size(); ++i) rows[i] = rng.Special(-500.0f, 500.0f);
      const float* r[4] = {&rows[0], &rows[size_t(stride)], &rows[2 * size_t(stride)], &rows[3 * size_t(stride)]};
      const float w[4] = {rng.Uniform(-0.2f, 1.0f), rng.Uniform(-0.2f, 1.0f), rng.Uniform(-0.2f, 1.0f),
                          rng.Chance(0.1) ? rng.Special() : rng.Uniform(-0.2f, 1.0f)};
      qt::GuardedBuffer<float> out{size_t(n)};
      set.kernels->rowY(out.data(), n, w, r);
      for (int32_t i = 0; i < n; ++i) {
        const float s[4] = {r[0][i], r[1][i], r[2][i], r[3][i]};
        ASSERT_TRUE(SameValue(refcubic::PairSum(s, w), out[size_t(i)])) << set.name << " n " << n << " at " << i;
      }
      ASSERT_TRUE(out.GuardsIntact()) << set.name << " n " << n;
    }
}

// ---- the interior blend --------------------------------------------------------

template <typename T>
class CubicBlendTest : public ::testing::Test {};
TYPED_TEST_SUITE(CubicBlendTest, SampleTypes);

TYPED_TEST(CubicBlendTest, MatchesModelWithOvershootAndAnyAlignment) {
  using T = TypeParam;
  qt::Rng rng(7);
  const float top = static_cast<float>(std::is_same<T, float>::value ? 1000 : std::numeric_limits<T>::max());
  const float special[] = {2.4999998f, -7.0f, 300.0f, 70000.0f, std::numeric_limits<float>::quiet_NaN()};
  const float weightSets[2][4] = {{-0.0703125f, 0.8671875f, 0.2265625f, -0.0234375f}, {1, 0, 0, 0}};
  for (const KernelSet& set : RunnableSets())
    for (const float* w : weightSets)
      for (int32_t wi : {1, 3, 4, 5, 8, 13, 16, 17, 37})
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
          set.kernels->template Of<T>().blendInterior(dst.data(), dstStep, wi, hi, w, planes, stride);
          for (int32_t j = 0; j < hi; ++j)
            for (int32_t i = 0; i < wi; ++i) {
              const int32_t p = j * stride + i;
              const float s[4] = {planes[0][p], planes[1][p], planes[2][p], planes[3][p]};
              refcubic::StoreInterior(&expected[j * dstStep + i], refcubic::PairSum(s, w));
            }
          for (int32_t i = 0; i < hi * dstStep; ++i)
            ASSERT_TRUE(SameValue(expected[i], dst[i])) << set.name << " wi " << wi << " at " << i;
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
