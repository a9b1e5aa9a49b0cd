// The linear row kernels against the scalar model, bit for bit, in every
// width this processor runs (the SSE forms always, the AVX2 and AVX-512
// forms where it has them): lengths that reach every block and remainder, outputs at any
// alignment (plain and streaming stores), gathered and straight taps, the
// x and y passes in one call, and for floats the special values.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "reference_resize.h"
#include "test_util.h"
#include "volume/resize/resize_linear_plan.h"

namespace {

bool SameValue(float a, float b) { return qt::Bits(a) == qt::Bits(b) || (std::isnan(a) && std::isnan(b)); }
bool SameValue(int32_t a, int32_t b) { return a == b; }

struct KernelSet {
  std::string name;
  const LinearRowKernels* kernels;
};

std::vector<KernelSet> KernelSets() {
  std::vector<KernelSet> sets = {{"sse", LinearRowKernelsSse()}};
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) sets.push_back({"avx2", LinearRowKernelsAvx2()});
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw"))
    sets.push_back({"avx512", LinearRowKernelsAvx512()});
  return sets;
}

// Per type: random source samples, rows of the intermediate, weights, and
// the weight the model takes.
template <typename T>
struct Inputs;

template <>
struct Inputs<uint8_t> {
  static uint8_t Sample(qt::Rng& rng) { return uint8_t(rng.Chance(0.2) ? 255 * rng.Int(0, 1) : rng.Int(0, 255)); }
  static int16_t Inner(qt::Rng& rng) { return int16_t(rng.Chance(0.2) ? 16320 * rng.Int(0, 1) : rng.Int(0, 16320)); }
  static uint16_t Weight(qt::Rng& rng) { return uint16_t(rng.Chance(0.2) ? 16384 * rng.Int(0, 1) : rng.Int(0, 16384)); }
  static Weight8uPair XWeight(qt::Rng& rng) {
    const int16_t w1 = int16_t(Weight(rng));
    return {int16_t(16384 - w1), w1};
  }
  static int32_t ModelWeight(uint16_t w1) { return w1; }
  static int32_t ModelWeight(Weight8uPair w) { return w.w1; }
};

template <>
struct Inputs<uint16_t> {
  static uint16_t Sample(qt::Rng& rng) { return uint16_t(rng.Chance(0.2) ? 65535 * rng.Int(0, 1) : rng.Int(0, 65535)); }
  // Now and then just below half a step, where the rounding constant decides.
  static float Inner(qt::Rng& rng) {
    return rng.Chance(0.1) ? float(rng.Int(0, 65534)) + 0.49999994f : rng.Uniform(0.0f, 65535.0f);
  }
  static float Weight(qt::Rng& rng) { return rng.Chance(0.2) ? float(rng.Int(0, 1)) : rng.Uniform(0.0f, 1.0f); }
  static float XWeight(qt::Rng& rng) { return Weight(rng); }
  static float ModelWeight(float f) { return f; }
};

template <>
struct Inputs<float> {
  static float Sample(qt::Rng& rng) { return rng.Chance(0.1) ? rng.Special(-100.0f, 100.0f) : rng.Uniform(-100.0f, 100.0f); }
  static float Inner(qt::Rng& rng) { return Sample(rng); }
  static float Weight(qt::Rng& rng) { return rng.Chance(0.2) ? float(rng.Int(0, 1)) : rng.Uniform(0.0f, 1.0f); }
  static float XWeight(qt::Rng& rng) { return Weight(rng); }
  static float ModelWeight(float f) { return f; }
};

template <typename T>
class LinearKernelsTest : public ::testing::Test {};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(LinearKernelsTest, SampleTypes);

template <typename U>
auto Promote(U v) {
  if constexpr (sizeof(U) == 4) return v;
  else return int32_t(v);
}

// Lengths below, at and above each block size of either width.
const int32_t kLengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 47, 63, 64, 65, 71, 95, 130};

TYPED_TEST(LinearKernelsTest, AlongXGatheredAndStraight) {
  using T = TypeParam;
  using In = Inputs<T>;
  using M = ref::LinearMath<T>;
  using Types = LinearTypes<T>;
  qt::Rng rng(41 + sizeof(T));
  for (const KernelSet& set : KernelSets()) {
    const auto& k = KernelsOfType(*set.kernels, static_cast<const T*>(nullptr));
    for (int32_t n : kLengths)
      for (bool straight : {false, true}) {
        std::vector<T> src(size_t(2 * n + 9));
        for (T& s : src) s = In::Sample(rng);
        std::vector<int32_t> xIndex(size_t(n) + 1);
        std::vector<typename Types::XWeight> xWeight(size_t(n) + 1);
        const int32_t first = rng.Int(0, 5);
        for (int32_t i = 0; i < n; ++i) {
          xIndex[i] = straight ? first + 2 * i : rng.Int(0, int32_t(src.size()) - 2);
          xWeight[i] = In::XWeight(rng);
        }
        std::vector<typename Types::Inner> row(size_t(n) + 1);
        if (straight) k.rowXStep2(src.data() + first, n, xWeight.data(), row.data());
        else k.rowX(src.data(), n, xIndex.data(), xWeight.data(), row.data());
        for (int32_t i = 0; i < n; ++i) {
          const auto want = M::InnerX(src[xIndex[i]], src[xIndex[i] + 1], In::ModelWeight(xWeight[i]));
          ASSERT_TRUE(SameValue(Promote(want), Promote(row[i])))
              << set.name << (straight ? " straight" : " gathered") << " n " << n << " column " << i;
        }
      }
  }
}

TYPED_TEST(LinearKernelsTest, TwoStraightRowsAlongXThenY) {
  using T = TypeParam;
  using In = Inputs<T>;
  using M = ref::LinearMath<T>;
  using Types = LinearTypes<T>;
  qt::Rng rng(47 + sizeof(T));
  for (const KernelSet& set : KernelSets()) {
    const auto& k = KernelsOfType(*set.kernels, static_cast<const T*>(nullptr));
    for (int32_t n : kLengths) {
      std::vector<T> srcA(size_t(2 * n + 2)), srcB(srcA.size());
      for (size_t s = 0; s < srcA.size(); ++s) srcA[s] = In::Sample(rng), srcB[s] = In::Sample(rng);
      std::vector<typename Types::XWeight> xWeight(size_t(n) + 1);
      for (auto& w : xWeight) w = In::XWeight(rng);
      const auto w = In::Weight(rng);
      std::vector<typename Types::Inner> rowA(size_t(n) + 1), rowB(rowA.size()), out(rowA.size());
      k.rowXYStep2(srcA.data(), srcB.data(), n, xWeight.data(), w, rowA.data(), rowB.data(), out.data());
      for (int32_t i = 0; i < n; ++i) {
        const auto a = M::InnerX(srcA[2 * i], srcA[2 * i + 1], In::ModelWeight(xWeight[i]));
        const auto b = M::InnerX(srcB[2 * i], srcB[2 * i + 1], In::ModelWeight(xWeight[i]));
        ASSERT_TRUE(SameValue(Promote(M::InnerY3D(a, b, In::ModelWeight(w))), Promote(out[i])))
            << set.name << " n " << n << " column " << i;
      }
    }
  }
}

TYPED_TEST(LinearKernelsTest, AlongYAndZAtAnyAlignment) {
  using T = TypeParam;
  using In = Inputs<T>;
  using M = ref::LinearMath<T>;
  using Inner = typename LinearTypes<T>::Inner;
  qt::Rng rng(43 + sizeof(T));
  for (const KernelSet& set : KernelSets()) {
    const auto& k = KernelsOfType(*set.kernels, static_cast<const T*>(nullptr));
    for (int32_t n : kLengths)
      for (int32_t shift = 0; shift < 17; ++shift) {
        const int32_t rows = 3, stride = 192, dstStep = n + 5;
        std::vector<Inner> a(size_t(rows) * stride), b(a.size());
        for (size_t s = 0; s < a.size(); ++s) a[s] = In::Inner(rng), b[s] = In::Inner(rng);
        const auto w = In::Weight(rng);
        const auto mw = In::ModelWeight(w);
        std::vector<Inner> inner(size_t(n) + 17);
        std::vector<T> out2D(size_t(n) + 17), outZ(size_t(rows) * dstStep + 17), outZStreamed(outZ.size());
        k.rowY(inner.data() + shift, n, w, a.data(), b.data());
        k.rowY2D(out2D.data() + shift, n, w, a.data(), b.data());
        k.blendInterior(outZ.data() + shift, dstStep, n, rows, w, a.data(), b.data(), stride);
        k.blendInteriorStreaming(outZStreamed.data() + shift, dstStep, n, rows, w, a.data(), b.data(), stride);
        // Both z forms leave the gaps between rows and the margins alone.
        ASSERT_EQ(0, std::memcmp(outZ.data(), outZStreamed.data(), outZ.size() * sizeof(T))) << set.name << " n " << n;
        for (int32_t i = 0; i < n; ++i) {
          const std::string where = set.name + " n " + std::to_string(n) + " shift " + std::to_string(shift) +
                                    " sample " + std::to_string(i);
          ASSERT_TRUE(SameValue(Promote(M::InnerY3D(a[i], b[i], mw)), Promote(inner[shift + i]))) << "y " << where;
          ASSERT_TRUE(SameValue(Promote(M::InnerY2D(a[i], b[i], mw)), Promote(out2D[shift + i]))) << "y 2-D " << where;
          for (int32_t r = 0; r < rows; ++r) {
            const auto want = M::InnerZ(a[size_t(r) * stride + i], b[size_t(r) * stride + i], mw);
            ASSERT_TRUE(SameValue(Promote(want), Promote(outZ[shift + size_t(r) * dstStep + i])))
                << "z row " << r << " " << where;
            ASSERT_TRUE(SameValue(Promote(want), Promote(outZStreamed[shift + size_t(r) * dstStep + i])))
                << "z streamed, row " << r << " " << where;
          }
        }
      }
  }
}

// Two source planes for the kernels that read four source rows per
// destination row: destination rows 0, 1, 2 read rows 0 and 1, 2 and 3,
// 4 and 5, counted from the planes' middles in the direction of the step.
template <typename T>
struct FourRowPlanes {
  static constexpr int32_t kRows = 3;
  int32_t rowStep;
  std::vector<T> planeA, planeB;
  int32_t offsets[kRows];

  FourRowPlanes(int32_t step, qt::Rng& rng, bool allTop)
      : rowStep(step), planeA(size_t(12 * std::abs(step) + 8)), planeB(planeA.size()) {
    for (size_t s = 0; s < planeA.size(); ++s) {
      planeA[s] = allTop ? T(sizeof(T) == 1 ? 255 : 65535) : Inputs<T>::Sample(rng);
      planeB[s] = allTop ? planeA[s] : Inputs<T>::Sample(rng);
    }
    for (int32_t r = 0; r < kRows; ++r) offsets[r] = 2 * r * step;
  }
  const T* A() const { return planeA.data() + planeA.size() / 2; }
  const T* B() const { return planeB.data() + planeB.size() / 2; }
};

// The model's three passes for destination sample (r, i).
template <typename T, typename XW, typename W>
auto ThreePasses(const FourRowPlanes<T>& p, int32_t r, int32_t i, XW wx, W wy, W wz) {
  using M = ref::LinearMath<T>;
  auto x = [&](const T* plane, int32_t row) { return M::InnerX(plane[row + 2 * i], plane[row + 2 * i + 1], wx); };
  const int32_t row = p.offsets[r];
  const auto ya = M::InnerY3D(x(p.A(), row), x(p.A(), row + p.rowStep), wy);
  const auto yb = M::InnerY3D(x(p.B(), row), x(p.B(), row + p.rowStep), wy);
  return M::InnerZ(ya, yb, wz);
}

// The exact halving against the three passes of the model with weights of
// one half: random sums of eight taps and the largest one, rows stepping
// either way, every block and remainder, plain and streaming stores.
template <typename T>
void CheckHalving(const KernelSet& set) {
  const auto half = ref::LinearMath<T>::MakeWeight(0.5);
  const auto& k = KernelsOfType(*set.kernels, static_cast<const T*>(nullptr));
  qt::Rng rng(53 + sizeof(T));
  for (int32_t n : kLengths)
    for (int32_t rowStep : {2 * n + 3, -(2 * n + 3)})
      for (bool allTop : {false, true}) {
        const FourRowPlanes<T> p(rowStep, rng, allTop);
        const int32_t rows = p.kRows, dstStep = n + 5, shift = rng.Int(0, 16);
        std::vector<T> plain(size_t(rows) * dstStep + 17), streamed(plain.size());
        k.halvingInterior(plain.data() + shift, dstStep, n, rows, p.A(), p.B(), p.offsets, rowStep);
        k.halvingInteriorStreaming(streamed.data() + shift, dstStep, n, rows, p.A(), p.B(), p.offsets, rowStep);
        ASSERT_EQ(0, std::memcmp(plain.data(), streamed.data(), plain.size() * sizeof(T))) << set.name << " n " << n;
        for (int32_t r = 0; r < rows; ++r)
          for (int32_t i = 0; i < n; ++i)
            ASSERT_EQ(ThreePasses(p, r, i, half, half, half), plain[shift + size_t(r) * dstStep + i])
                << set.name << " n " << n << " row step " << rowStep << " row " << r << " sample " << i;
      }
}

// The float interior straight from the source against the three passes,
// with random weights per column and row and special values.
void CheckDirect(const KernelSet& set) {
  using In = Inputs<float>;
  qt::Rng rng(59);
  for (int32_t n : kLengths)
    for (int32_t rowStep : {2 * n + 3, -(2 * n + 3)}) {
      const FourRowPlanes<float> p(rowStep, rng, false);
      const int32_t rows = p.kRows, dstStep = n + 5, shift = rng.Int(0, 16);
      std::vector<float> xWeight(size_t(n) + 1), yWeight(rows);
      for (float& w : xWeight) w = In::XWeight(rng);
      for (float& w : yWeight) w = In::Weight(rng);
      const float zWeight = In::Weight(rng);
      std::vector<float> plain(size_t(rows) * dstStep + 17), streamed(plain.size());
      set.kernels->f32.directInterior(plain.data() + shift, dstStep, n, rows, p.A(), p.B(), p.offsets, rowStep,
                                      xWeight.data(), yWeight.data(), zWeight);
      set.kernels->f32.directInteriorStreaming(streamed.data() + shift, dstStep, n, rows, p.A(), p.B(), p.offsets,
                                               rowStep, xWeight.data(), yWeight.data(), zWeight);
      for (size_t s = 0; s < plain.size(); ++s)
        ASSERT_TRUE(SameValue(plain[s], streamed[s])) << set.name << " n " << n << " at " << s;
      for (int32_t r = 0; r < rows; ++r)
        for (int32_t i = 0; i < n; ++i)
          ASSERT_TRUE(SameValue(ThreePasses(p, r, i, xWeight[i], yWeight[r], zWeight),
                                plain[shift + size_t(r) * dstStep + i]))
              << set.name << " n " << n << " row step " << rowStep << " row " << r << " sample " << i;
    }
}

TEST(LinearKernels, InteriorsStraightFromTheSourceAreTheThreePasses) {
  for (const KernelSet& set : KernelSets()) {
    CheckHalving<uint8_t>(set);
    CheckHalving<uint16_t>(set);
    CheckDirect(set);
    // Each shortcut belongs to its types alone.
    EXPECT_EQ(nullptr, set.kernels->f32.halvingInterior) << set.name;
    EXPECT_EQ(nullptr, set.kernels->u8.directInterior) << set.name;
    EXPECT_EQ(nullptr, set.kernels->u16.directInterior) << set.name;
  }
}

}  // namespace
