// The six transforms: their checks, their accumulation bit for bit against
// the basis and the helper arithmetic, and a projection round trip.
#include <cmath>
#include <vector>

#include "reference_sh.h"
#include "reference_sh_exact.h"
#include "sh_test_support.h"

namespace {

constexpr float kSentinel = -777.0f;

// The basis of each direction, by the library's own (separately tested)
// qelrSH_32f, one direction at a time.
std::vector<float> Bases(const sht::Directions& d, uint32_t order, const qelrSHState* state) {
  const int n = sht::Count(order);
  std::vector<float> b(d.x.size() * n);
  for (size_t i = 0; i < d.x.size(); ++i)
    EXPECT_EQ(qelrSH_32f(&d.x[i], &d.y[i], &d.z[i], 1, &b[i * n], order, state), StatusOk);
  return b;
}

// Values with the shortcut cases, infinities and NaNs mixed in.
std::vector<float> Values(qt::Rng& rng, size_t n) {
  std::vector<float> v(n);
  for (float& f : v) {
    const int pick = rng.Int(0, 9);
    f = pick == 0 ? 0.0f : pick == 1 ? 1.0f : pick == 2 ? -0.0f : rng.Special(-3.0f, 3.0f);
  }
  return v;
}

std::vector<float> Start(qt::Rng& rng, size_t n) {
  std::vector<float> c(n);
  for (float& f : c)
    f = rng.Uniform(-1.0f, 1.0f);
  return c;
}

// Every function against the model: forward adds MulC(basis, value) to the
// coefficients direction by direction; inverse is Dot(basis, coefficients).
TEST(SHTransform, MatchesBasisAndHelperArithmetic) {
  qt::Rng rng(601);
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(15, mode);
    for (uint32_t order : {0u, 2u, 4u, 5u, 8u, 15u}) {
      SCOPED_TRACE(::testing::Message() << "mode " << mode << " order " << order);
      const int n = sht::Count(order);
      const int count = rng.Int(1, 40);
      const sht::Directions d = sht::RandomDirections(rng, count, true);
      const std::vector<float> b = Bases(d, order, state);
      const std::vector<float> v[3] = {Values(rng, count), Values(rng, count), Values(rng, count)};
      std::vector<float> interleaved(3 * count);
      for (int i = 0; i < count; ++i)
        for (int c = 0; c < 3; ++c)
          interleaved[3 * i + c] = v[c][i];

      // Forward: three sets of starting coefficients, the model beside them.
      std::vector<float> scaled(n);
      std::vector<float> c1 = Start(rng, n), p3[3] = {Start(rng, n), Start(rng, n), Start(rng, n)};
      std::vector<float> c3p3[3] = {p3[0], p3[1], p3[2]};
      std::vector<float> modelC1 = c1, modelP3[3] = {p3[0], p3[1], p3[2]};
      for (int i = 0; i < count; ++i) {
        std::vector<float> t(b.begin() + i * n, b.begin() + (i + 1) * n);
        ref::MulC(t.data(), v[0][i], t.data(), n);
        ref::AddInPlace(t.data(), modelC1.data(), n);
        for (int c = 0; c < 3; ++c) {
          ref::MulC(&b[i * n], v[c][i], scaled.data(), n);
          ref::AddInPlace(scaled.data(), modelP3[c].data(), n);
        }
      }
      ASSERT_EQ(qelrSHTFwd_32f_C1I(d.x.data(), d.y.data(), d.z.data(), v[0].data(), count, c1.data(), order, state),
                StatusOk);
      EXPECT_TRUE(sht::SameValues(modelC1.data(), c1.data(), n));
      const float* planes[3] = {v[0].data(), v[1].data(), v[2].data()};
      float* outP3[3] = {p3[0].data(), p3[1].data(), p3[2].data()};
      float* outC3[3] = {c3p3[0].data(), c3p3[1].data(), c3p3[2].data()};
      ASSERT_EQ(qelrSHTFwd_32f_P3I(d.x.data(), d.y.data(), d.z.data(), planes, count, outP3, order, state), StatusOk);
      ASSERT_EQ(
          qelrSHTFwd_32f_C3P3I(d.x.data(), d.y.data(), d.z.data(), interleaved.data(), count, outC3, order, state),
          StatusOk);
      for (int c = 0; c < 3; ++c) {
        EXPECT_TRUE(sht::SameValues(modelP3[c].data(), p3[c].data(), n)) << "P3I channel " << c;
        EXPECT_TRUE(sht::SameValues(modelP3[c].data(), c3p3[c].data(), n)) << "C3P3I channel " << c;
      }

      // Inverse, from finite coefficients.
      const std::vector<float> k[3] = {Start(rng, n), Start(rng, n), Start(rng, n)};
      const float* kp[3] = {k[0].data(), k[1].data(), k[2].data()};
      qt::GuardedBuffer<float> one(count, 4), plane0(count), plane1(count, 8), plane2(count, 12), inter(3 * count);
      float* dstP3[3] = {plane0.data(), plane1.data(), plane2.data()};
      ASSERT_EQ(qelrSHTInv_32f_C1(k[0].data(), order, d.x.data(), d.y.data(), d.z.data(), one.data(), count, state),
                StatusOk);
      ASSERT_EQ(qelrSHTInv_32f_P3(kp, order, d.x.data(), d.y.data(), d.z.data(), dstP3, count, state), StatusOk);
      ASSERT_EQ(qelrSHTInv_32f_P3C3(kp, order, d.x.data(), d.y.data(), d.z.data(), inter.data(), count, state),
                StatusOk);
      for (int i = 0; i < count; ++i) {
        for (int c = 0; c < 3; ++c) {
          const float e = ref::Dot(&b[i * n], k[c].data(), n);
          EXPECT_TRUE(sht::SameValues(&e, &dstP3[c][i], 1)) << "P3 direction " << i << " channel " << c;
          EXPECT_TRUE(sht::SameValues(&e, &inter[3 * i + c], 1)) << "P3C3 direction " << i << " channel " << c;
          if (c == 0) {
            EXPECT_TRUE(sht::SameValues(&e, &one[i], 1)) << "C1 direction " << i;
          }
        }
      }
      EXPECT_TRUE(one.GuardsIntact() && plane0.GuardsIntact() && plane1.GuardsIntact() && plane2.GuardsIntact() &&
                  inter.GuardsIntact());
    }
  }
}

// Values 2, 1, 0: the coefficients gain 2 b0 + b1 on top of what they held,
// and the third direction, whose basis is all NaN, adds nothing.  A second
// call adds again.
TEST(SHTransform, ForwardOnlyAccumulates) {
  sht::State state(3, SHModeRecurrence);
  const float nan = std::nanf("");
  const float x[3] = {0.6f, 0.0f, nan}, y[3] = {0.0f, 0.8f, nan}, z[3] = {0.8f, 0.6f, nan};
  const float values[3] = {2.0f, 1.0f, 0.0f};
  float b0[16], b1[16];
  ASSERT_EQ(qelrSH_32f(&x[0], &y[0], &z[0], 1, b0, 3, state), StatusOk);
  ASSERT_EQ(qelrSH_32f(&x[1], &y[1], &z[1], 1, b1, 3, state), StatusOk);
  std::vector<float> coeffs(16), expected(16);
  for (int k = 0; k < 16; ++k)
    coeffs[k] = expected[k] = 0.25f * k - 1.0f;
  for (int call = 0; call < 2; ++call) {
    for (int k = 0; k < 16; ++k)
      expected[k] = (expected[k] + 2.0f * b0[k]) + b1[k];
    ASSERT_EQ(qelrSHTFwd_32f_C1I(x, y, z, values, 3, coeffs.data(), 3, state), StatusOk);
    EXPECT_TRUE(qt::SameBits(expected.data(), coeffs.data(), 16)) << "call " << call;
  }
}

// With a state of order 3 and order 2, only the first 9 coefficients are
// touched by a forward transform or read by an inverse one.
TEST(SHTransform, LowerOrderUsesOnlyItsCoefficients) {
  sht::State state(3, SHModeClosedForm);
  const float x[2] = {0.6f, 0.0f}, y[2] = {0.0f, 0.8f}, z[2] = {0.8f, 0.6f}, values[6] = {1, 2, 3, 4, 5, 6};
  std::vector<float> c0(16, kSentinel), c1(16, kSentinel), c2(16, kSentinel);
  float* planes[3] = {c0.data(), c1.data(), c2.data()};
  ASSERT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, values, 2, planes, 2, state), StatusOk);
  for (float* p : planes) {
    EXPECT_NE(p[8], kSentinel);
    for (int k = 9; k < 16; ++k)
      EXPECT_EQ(p[k], kSentinel);
  }
  std::vector<float> coeffs(16, 0.5f);
  for (int k = 9; k < 16; ++k)
    coeffs[k] = std::nanf("");
  float out[2];
  ASSERT_EQ(qelrSHTInv_32f_C1(coeffs.data(), 2, x, y, z, out, 2, state), StatusOk);
  EXPECT_TRUE(std::isfinite(out[0]) && std::isfinite(out[1]));
}

TEST(SHTransform, ChecksInOrderAndNothingWritten) {
  sht::State state(3, SHModeRecurrence);
  float c[3] = {0.6f, 0.0f, 0.8f};
  const float* x = &c[0];
  const float* y = &c[1];
  const float* z = &c[2];
  std::vector<float> a(16, kSentinel), b(16, kSentinel), e(16, kSentinel);
  float* outs[3] = {a.data(), b.data(), e.data()};
  const float* ins[3] = {a.data(), b.data(), e.data()};
  float* outsHole[3] = {a.data(), nullptr, e.data()};
  const float* insHole[3] = {a.data(), b.data(), nullptr};
  const float v[3] = {1, 2, 3};
  const float* vp[3] = {&v[0], &v[1], &v[2]};
  const float* vpHole[3] = {nullptr, &v[1], &v[2]};

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

  // Then a zero count, then the order, then a negative count does nothing.
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, 0, a.data(), 9, state), StatusBadSize);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, 1, a.data(), 4, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTFwd_32f_C1I(x, y, z, v, -1, a.data(), 3, state), StatusOk);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vp, 0, outs, 9, state), StatusBadSize);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vp, 1, outs, 4, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vp, -1, outs, 3, state), StatusOk);
  EXPECT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, v, 0, outs, 9, state), StatusBadSize);
  EXPECT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, v, 1, outs, 4, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTFwd_32f_C3P3I(x, y, z, v, -1, outs, 3, state), StatusOk);
  EXPECT_EQ(qelrSHTInv_32f_C1(b.data(), 9, x, y, z, a.data(), 0, state), StatusBadSize);
  EXPECT_EQ(qelrSHTInv_32f_C1(b.data(), 4, x, y, z, a.data(), 1, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTInv_32f_C1(b.data(), 3, x, y, z, a.data(), -1, state), StatusOk);
  EXPECT_EQ(qelrSHTInv_32f_P3(ins, 9, x, y, z, outs, 0, state), StatusBadSize);
  EXPECT_EQ(qelrSHTInv_32f_P3(ins, 4, x, y, z, outs, 1, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTInv_32f_P3(ins, 3, x, y, z, outs, -1, state), StatusOk);
  EXPECT_EQ(qelrSHTInv_32f_P3C3(ins, 9, x, y, z, a.data(), 0, state), StatusBadSize);
  EXPECT_EQ(qelrSHTInv_32f_P3C3(ins, 4, x, y, z, a.data(), 1, state), StatusBadOrder);
  EXPECT_EQ(qelrSHTInv_32f_P3C3(ins, 3, x, y, z, a.data(), -1, state), StatusOk);
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

// ---------------------------------------------------------------------------
// A round trip as an application does it

// Gauss-Legendre nodes and weights on [-1, 1].
void GaussLegendre(int n, std::vector<double>& nodes, std::vector<double>& weights) {
  nodes.resize(n);
  weights.resize(n);
  for (int i = 0; i < n; ++i) {
    double t = std::cos(M_PI * (i + 0.75) / (n + 0.5)), dp = 0;
    for (int iter = 0; iter < 100; ++iter) {
      double p0 = 1, p1 = t;
      for (int k = 2; k <= n; ++k) {
        const double p2 = ((2 * k - 1) * t * p1 - (k - 1) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      dp = n * (t * p1 - p0) / (t * t - 1);
      const double step = p1 / dp;
      t -= step;
      if (std::fabs(step) < 1e-15)
        break;
    }
    nodes[i] = t;
    weights[i] = 2 / ((1 - t * t) * dp * dp);
  }
}

// sum of c(l, m) Y(l, m) at a direction, from the defining formula.
double Signal(const std::vector<float>& c, float x, float y, float z) {
  long double sum = 0;
  for (int l = 0; l * l < int(c.size()); ++l)
    for (int m = -l; m <= l; ++m)
      if (c[ref::Index(l, m)] != 0.0f)
        sum += c[ref::Index(l, m)] * exact::Y(l, m, x, y, z).y;
  return double(sum);
}

// A band-limited signal of order 6 in three channels is sampled on a
// 40 x 81 product grid (Gauss-Legendre in z, uniform in longitude), whose
// quadrature is exact for the products of bands up to 6.  The caller weights
// the samples, projects them with order 8, and gets the signal's
// coefficients back (and zeros in bands 7 and 8); evaluating them at other
// directions gives the signal back.
TEST(SHTransform, ProjectAndReconstructRoundTrip) {
  constexpr uint32_t kSignalOrder = 6, kOrder = 8;
  const int n = sht::Count(kOrder);
  qt::Rng rng(602);
  std::vector<float> truth[3];
  for (auto& t : truth) {
    t.assign(n, 0.0f);
    for (int k = 0; k < sht::Count(kSignalOrder); ++k)
      t[k] = rng.Uniform(-1.0f, 1.0f);
  }
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(kOrder, mode);
    std::vector<double> zn, zw;
    GaussLegendre(40, zn, zw);
    const int longitudes = 81;
    sht::Directions grid;
    std::vector<float> weights;
    for (size_t j = 0; j < zn.size(); ++j)
      for (int k = 0; k < longitudes; ++k) {
        const double phi = 2 * M_PI * k / longitudes, s = std::sqrt(1 - zn[j] * zn[j]);
        grid.x.push_back(float(s * std::cos(phi)));
        grid.y.push_back(float(s * std::sin(phi)));
        grid.z.push_back(float(zn[j]));
        weights.push_back(float(zw[j] * 2 * M_PI / longitudes));
      }
    const int count = int(grid.x.size());

    // Sample the signal, weight the samples, project.
    std::vector<float> samples(3 * count);
    for (int i = 0; i < count; ++i)
      for (int c = 0; c < 3; ++c)
        samples[3 * i + c] = float(Signal(truth[c], grid.x[i], grid.y[i], grid.z[i]) * weights[i]);
    std::vector<float> got[3] = {std::vector<float>(n, 0.0f), std::vector<float>(n, 0.0f), std::vector<float>(n, 0.0f)};
    float* gotPlanes[3] = {got[0].data(), got[1].data(), got[2].data()};
    ASSERT_EQ(qelrSHTFwd_32f_C3P3I(grid.x.data(), grid.y.data(), grid.z.data(), samples.data(), count, gotPlanes,
                                   kOrder, state),
              StatusOk);
    for (int c = 0; c < 3; ++c)
      for (int k = 0; k < n; ++k)
        EXPECT_NEAR(got[c][k], truth[c][k], 2e-5) << "mode " << mode << " k " << k;

    // Reconstruct at fresh directions.
    const sht::Directions fresh = sht::RandomDirections(rng, 500);
    const float* gotConst[3] = {got[0].data(), got[1].data(), got[2].data()};
    std::vector<float> back[3] = {std::vector<float>(500), std::vector<float>(500), std::vector<float>(500)};
    float* backPlanes[3] = {back[0].data(), back[1].data(), back[2].data()};
    ASSERT_EQ(
        qelrSHTInv_32f_P3(gotConst, kOrder, fresh.x.data(), fresh.y.data(), fresh.z.data(), backPlanes, 500, state),
        StatusOk);
    for (int c = 0; c < 3; ++c)
      for (int i = 0; i < 500; ++i)
        EXPECT_NEAR(back[c][i], Signal(truth[c], fresh.x[i], fresh.y[i], fresh.z[i]), 5e-5) << "channel " << c;
  }
}

}  // namespace
