// Row kernels and the plane split, seen from inside: every sample of a row
// gets the stated formula whatever the row's length (block or remainder),
// nothing past the row is written, and every plane goes to exactly one
// thread.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "test_util.h"
#include "volume/resize/resize_rows_linear.h"
#include "volume/slabs.h"

namespace {

constexpr int32_t kMaxRow = 41;

template <typename T>
struct Row {
  qt::GuardedBuffer<T> data{kMaxRow};
};

float Lerp(float a, float b, float f) { return a + (b - a) * f; }

uint16_t ToUint16(float v) {
  const double t = std::trunc(v);
  return uint16_t(t < 0 ? 0 : (t > 65535 ? 65535 : t));
}

TEST(ResizeRowKernels, AlongXEveryLength) {
  qt::Rng rng(1);
  std::vector<uint8_t> src8(200);
  std::vector<uint16_t> src16(200);
  std::vector<float> src32(200);
  for (auto& v : src8) v = uint8_t(rng.Int(0, 255));
  for (auto& v : src16) v = uint16_t(rng.Int(0, 65535));
  for (auto& v : src32) v = rng.Uniform(-50, 50);
  std::vector<int32_t> index(kMaxRow);
  std::vector<Weight8uPair> w8(kMaxRow);
  std::vector<float> wf(kMaxRow);
  for (int32_t i = 0; i < kMaxRow; ++i) {
    index[i] = rng.Int(0, 198);
    const int32_t w1 = rng.Int(0, 16384);
    w8[i] = {int16_t(16384 - w1), int16_t(w1)};
    wf[i] = rng.Uniform(0, 1);
  }
  for (int32_t n = 0; n <= kMaxRow; ++n) {
    qt::GuardedBuffer<int16_t> out8(n);
    qt::GuardedBuffer<float> out16(n), out32(n);
    LinearRowX(src8.data(), n, index.data(), w8.data(), out8.data());
    LinearRowX(src16.data(), n, index.data(), wf.data(), out16.data());
    LinearRowX(src32.data(), n, index.data(), wf.data(), out32.data());
    for (int32_t i = 0; i < n; ++i) {
      const int32_t x = index[i];
      ASSERT_EQ(out8[i], (w8[i].w0 * src8[x] + w8[i].w1 * src8[x + 1] + 128) >> 8) << n << " " << i;
      ASSERT_EQ(qt::Bits(out16[i]), qt::Bits(Lerp(src16[x], src16[x + 1], wf[i]))) << n << " " << i;
      ASSERT_EQ(qt::Bits(out32[i]), qt::Bits(Lerp(src32[x], src32[x + 1], wf[i]))) << n << " " << i;
    }
    ASSERT_TRUE(out8.GuardsIntact() && out16.GuardsIntact() && out32.GuardsIntact()) << n;
  }
}

TEST(ResizeRowKernels, AlongYAndZEveryLength) {
  qt::Rng rng(2);
  std::vector<int16_t> a8(kMaxRow * 2), b8(kMaxRow * 2);
  std::vector<float> af(kMaxRow * 2), bf(kMaxRow * 2);
  for (int32_t n = 0; n <= kMaxRow; ++n) {
    for (auto& v : a8) v = int16_t(rng.Int(0, 16320));
    for (auto& v : b8) v = int16_t(rng.Int(0, 16320));
    for (auto& v : af) v = rng.Uniform(-10, 70000);
    for (auto& v : bf) v = rng.Uniform(-10, 70000);
    const uint16_t w1 = uint16_t(rng.Int(0, 16384));
    const int32_t w0 = 16384 - w1;
    const float f = rng.Uniform(0, 1);
    qt::GuardedBuffer<int16_t> y8(n);
    qt::GuardedBuffer<float> yf(n);
    qt::GuardedBuffer<uint8_t> y8d(n), z8(2 * n);
    qt::GuardedBuffer<uint16_t> y16d(n), z16(2 * n);
    qt::GuardedBuffer<float> z32(2 * n);
    LinearRowY(y8.data(), n, w1, a8.data(), b8.data());
    LinearRowY(yf.data(), n, f, af.data(), bf.data());
    LinearRowY2D(y8d.data(), n, w1, a8.data(), b8.data());
    LinearRowY2D(y16d.data(), n, f, af.data(), bf.data());
    // Two rows of n: planes `n` samples apart, destination rows too.
    LinearBlendInterior(z8.data(), n, n, 2, w1, a8.data(), b8.data(), n);
    LinearBlendInterior(z16.data(), n, n, 2, f, af.data(), bf.data(), n);
    LinearBlendInterior(z32.data(), n, n, 2, f, af.data(), bf.data(), n);
    for (int32_t i = 0; i < n; ++i) {
      ASSERT_EQ(y8[i], (w0 * a8[i] + w1 * b8[i] + 8192) >> 14);
      ASSERT_EQ(qt::Bits(yf[i]), qt::Bits(Lerp(af[i], bf[i], f)));
      const int32_t fixed = std::min((w0 * a8[i] + w1 * b8[i] + 524288) >> 20, 255);
      ASSERT_EQ(y8d[i], fixed);
      ASSERT_EQ(y16d[i], ToUint16(Lerp(af[i], bf[i], f) + 0.5000001f)) << n << " " << i;
    }
    for (int32_t i = 0; i < 2 * n; ++i) {
      ASSERT_EQ(z8[i], std::min((w0 * a8[i] + w1 * b8[i] + 524288) >> 20, 255));
      const float mix = af[i] * (1.0f - f) + bf[i] * f;
      ASSERT_EQ(z16[i], ToUint16(mix + 0.5000001f)) << n << " " << i;
      ASSERT_EQ(qt::Bits(z32[i]), qt::Bits(mix));
    }
    ASSERT_TRUE(y8.GuardsIntact() && yf.GuardsIntact() && y8d.GuardsIntact() && y16d.GuardsIntact());
    ASSERT_TRUE(z8.GuardsIntact() && z16.GuardsIntact() && z32.GuardsIntact());
  }
}

TEST(PlaneSlabs, EveryPlaneOnceRemainderOnTheLast) {
  for (int32_t team = 1; team <= 9; ++team)
    for (int32_t depth = 0; depth <= 40; ++depth) {
      std::vector<int32_t> owner(depth, -1);
      const int32_t slice = depth / team, rest = depth % team;
      for (int32_t t = 0; t < team; ++t) {
        const SlabRange s = SlabOfThread(slice, rest, team, t);
        EXPECT_EQ(s.count, t == team - 1 ? slice + rest : slice);
        for (int32_t z = s.first; z < s.first + s.count; ++z) {
          ASSERT_EQ(owner[z], -1);
          owner[z] = t;
        }
      }
      for (int32_t z = 0; z < depth; ++z) ASSERT_NE(owner[z], -1);
    }
}

TEST(PlaneSlabs, TeamRunsEverySlabOnce) {
  std::vector<int32_t> seen(23, 0);
  int32_t masterRuns = 0;
  RunPlaneSlabs(23, 4, [&] { ++masterRuns; }, [&](int32_t, int32_t, SlabRange s) {
    for (int32_t z = s.first; z < s.first + s.count; ++z) {
#pragma omp atomic
      ++seen[z];
    }
  });
  EXPECT_EQ(masterRuns, 1);
  for (int32_t v : seen) EXPECT_EQ(v, 1);
}

}  // namespace
