// The six transforms: their checks, and their arithmetic bit for bit
// against the basis and the array helpers.
#include <cmath>
#include <deque>
#include <functional>
#include <vector>

#include "reference_sh.h"
#include "sh_test_support.h"

namespace {

constexpr float kSentinel = -777.0f;

// Values with the shortcut cases, infinities and NaNs mixed in.
std::vector<float> Values(qt::Rng& rng, size_t n) {
  std::vector<float> v(n);
  for (float& f : v) {
    const int pick = rng.Int(0, 9);
    f = pick == 0 ? 0.0f : pick == 1 ? 1.0f : pick == 2 ? -0.0f : rng.Special(-3.0f, 3.0f);
  }
  return v;
}

// Finite coefficients for bands 0..order, NaN after them up to band 15.
std::vector<float> Start(qt::Rng& rng, int n) {
  std::vector<float> c(256, NAN);
  for (int k = 0; k < n; ++k)
    c[k] = rng.Uniform(-1.0f, 1.0f);
  return c;
}

// Forward adds MulC(basis, value) to the coefficients direction by
// direction; inverse is Dot(basis, coefficients).  The basis is the
// library's own qelrSH_32f, tested on its own.  Coefficients past the order
// are neither written (guards) nor read (NaN there).
TEST(SHTransform, MatchesBasisAndHelperArithmetic) {
  qt::Rng rng(601);
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(15, mode);
    for (uint32_t order : {0u, 2u, 4u, 5u, 8u, 15u}) {
      SCOPED_TRACE(::testing::Message() << "mode " << mode << " order " << order);
      const int n = sht::Count(order);
      const int count = rng.Int(1, 40);
      sht::Directions d = sht::RandomDirections(rng, count, true);
      std::vector<float> v[3] = {Values(rng, count), Values(rng, count), Values(rng, count)};
      d.x[0] = NAN;  // a NaN basis times exactly 0 adds nothing, times 1 adds NaN
      v[0][0] = 0.0f;
      v[1][0] = 1.0f;
      std::vector<float> b(size_t(count) * n), interleaved(3 * count);
      for (int i = 0; i < count; ++i) {
        ASSERT_EQ(qelrSH_32f(&d.x[i], &d.y[i], &d.z[i], 1, &b[i * n], order, state), StatusOk);
        for (int c = 0; c < 3; ++c)
          interleaved[3 * i + c] = v[c][i];
      }

      // Forward: sets of C1I, P3I x3 and C3P3I x3 at random offsets; the
      // model (C1I, then the three channels) starts from the same values.
      std::vector<float> model[4], scaled(n);
      std::deque<qt::GuardedBuffer<float>> sets;
      for (int s = 0; s < 7; ++s) {
        if (s < 4)
          model[s] = Start(rng, n);
        sets.emplace_back(n, 4 * size_t(rng.Int(0, 3)));
        std::copy_n(model[s < 4 ? s : s - 3].data(), n, sets[s].data());
      }
      for (int i = 0; i < count; ++i)
        for (int s = 0; s < 4; ++s) {
          ref::MulC(&b[i * n], v[s == 0 ? 0 : s - 1][i], scaled.data(), n);
          ref::AddInPlace(scaled.data(), model[s].data(), n);
        }
      const float* planes[3] = {v[0].data(), v[1].data(), v[2].data()};
      float* outP3[3] = {sets[1].data(), sets[2].data(), sets[3].data()};
      float* outC3[3] = {sets[4].data(), sets[5].data(), sets[6].data()};
      const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
      ASSERT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v[0].data(), count, sets[0].data(), order, state), StatusOk);
      ASSERT_EQ(qelrSHTFwd_32f_P3I(x, y, z, planes, count, outP3, order, state), StatusOk);
      ASSERT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, interleaved.data(), count, outC3, order, state), StatusOk);
      for (int s = 0; s < 7; ++s) {
        EXPECT_TRUE(sht::SameValues(model[s < 4 ? s : s - 3].data(), sets[s].data(), n)) << "set " << s;
        EXPECT_TRUE(sets[s].GuardsIntact()) << "set " << s;
      }

      // Inverse.
      const std::vector<float> k[3] = {Start(rng, n), Start(rng, n), Start(rng, n)};
      const float* kp[3] = {k[0].data(), k[1].data(), k[2].data()};
      qt::GuardedBuffer<float> one(count, 4), plane0(count), plane1(count, 8), plane2(count, 12), inter(3 * count);
      float* dstP3[3] = {plane0.data(), plane1.data(), plane2.data()};
      ASSERT_EQ(qelrSHTInv_32f_C1(k[0].data(), order, x, y, z, one.data(), count, state), StatusOk);
      ASSERT_EQ(qelrSHTInv_32f_P3(kp, order, x, y, z, dstP3, count, state), StatusOk);
      ASSERT_EQ(qelrSHTInv_32f_P3C3(kp, order, x, y, z, inter.data(), count, state), StatusOk);
      for (int i = 0; i < count; ++i)
        for (int c = 0; c < 3; ++c) {
          const float e = ref::Dot(&b[i * n], k[c].data(), n);
          EXPECT_TRUE(sht::SameValues(&e, &dstP3[c][i], 1)) << "P3 direction " << i << " channel " << c;
          EXPECT_TRUE(sht::SameValues(&e, &inter[3 * i + c], 1)) << "P3C3 direction " << i << " channel " << c;
          if (c == 0) {
            EXPECT_TRUE(sht::SameValues(&e, &one[i], 1)) << "C1 direction " << i;
          }
        }
      EXPECT_TRUE(one.GuardsIntact() && plane0.GuardsIntact() && plane1.GuardsIntact() && plane2.GuardsIntact() &&
                  inter.GuardsIntact());
    }
  }
}

TEST(SHTransform, ChecksInOrderAndNothingWritten) {
  sht::State state(3, SHModeRecurrence);
  const float c[3] = {0.6f, 0.0f, 0.8f}, *x = &c[0], *y = &c[1], *z = &c[2];
  std::vector<float> a(16, kSentinel), b(16, kSentinel), e(16, kSentinel);
  float* outs[3] = {a.data(), b.data(), e.data()};
  float* outsHole[3] = {a.data(), nullptr, e.data()};
  const float* ins[3] = {a.data(), b.data(), e.data()};
  const float* insHole[3] = {a.data(), b.data(), nullptr};
  const float v[3] = {1, 2, 3}, *vp[3] = {&v[0], &v[1], &v[2]}, *vpHole[3] = {nullptr, &v[1], &v[2]};

  // Null pointers, including those inside the arrays of three, come first.
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, nullptr, v, 0, a.data(), 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, nullptr, 1, a.data(), 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, 1, nullptr, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, 1, a.data(), 0, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vpHole, 0, outs, 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vp, 0, outsHole, 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(nullptr, y, z, vp, 1, outs, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, v, 0, outsHole, 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTFwd_32f_C3P3I(x, nullptr, z, v, 1, outs, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_C1(nullptr, 0, x, y, z, a.data(), 1, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_C1(b.data(), 0, x, y, z, nullptr, 1, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_P3(insHole, 9, x, y, z, outs, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_P3(ins, 9, x, y, z, outsHole, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_P3(ins, 0, x, y, z, outs, 1, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_P3C3(insHole, 9, x, y, z, a.data(), 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSHTInv_32f_P3C3(ins, 0, x, y, z, nullptr, 1, state), StatusNullPointer);

  // Then a zero count, then the order; a negative count does nothing.
  const std::function<qelStatus(int32_t, uint32_t)> calls[] = {
      [&](int32_t n, uint32_t o) { return qelrSHTFwd_32f_C1I(x, y, z, v, n, a.data(), o, state); },
      [&](int32_t n, uint32_t o) { return qelrSHTFwd_32f_P3I(x, y, z, vp, n, outs, o, state); },
      [&](int32_t n, uint32_t o) { return qelrSHTFwd_32f_C3P3I(x, y, z, v, n, outs, o, state); },
      [&](int32_t n, uint32_t o) { return qelrSHTInv_32f_C1(b.data(), o, x, y, z, a.data(), n, state); },
      [&](int32_t n, uint32_t o) { return qelrSHTInv_32f_P3(ins, o, x, y, z, outs, n, state); },
      [&](int32_t n, uint32_t o) { return qelrSHTInv_32f_P3C3(ins, o, x, y, z, a.data(), n, state); }};
  for (const auto& call : calls) {
    EXPECT_EQ(call(0, 9), StatusBadSize);
    EXPECT_EQ(call(1, 4), StatusBadOrder);
    EXPECT_EQ(call(-1, 3), StatusOk);
  }
  for (const auto* buffer : {&a, &b, &e})
    for (float f : *buffer)
      ASSERT_EQ(f, kSentinel);

  // The transforms do not look at the evaluation's status: a corrupted mode
  // still ends in StatusOk.
  qelrSHState bad = *static_cast<const qelrSHState*>(state);
  bad.mode = 9;
  std::vector<float> coeffs(16, 0.0f);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, 1, coeffs.data(), 3, &bad), StatusOk);
}

}  // namespace
