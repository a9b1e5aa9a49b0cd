// qelrSH_32f and qelrSHBand_32f: their checks, the recurrence bit for bit,
// and both methods against the defining formula.
#include <cmath>
#include <vector>

#include "reference_sh.h"
#include "reference_sh_exact.h"
#include "sh_test_support.h"

namespace {

constexpr float kSentinel = -12345.0f;

// ---------------------------------------------------------------------------
// Checks

TEST(SHBasis, ChecksInOrderAndNothingWritten) {
  sht::State state(3, SHModeRecurrence);
  float x = 0.0f, y = 0.0f, z = 1.0f;
  std::vector<float> dst(64, kSentinel);
  float* d = dst.data();
  EXPECT_EQ(qelrSH_32f(nullptr, &y, &z, 0, d, 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, nullptr, &z, 1, d, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, nullptr, 1, d, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, nullptr, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 0, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 0, d, 9, state), StatusBadSize);   // count before order
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 4, state), StatusBadOrder);  // above the state's order
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, -3, d, 3, state), StatusOk);       // negative count: nothing done

  // A corrupted mode is refused after the order test.
  qelrSHState bad = *static_cast<const qelrSHState*>(state);
  bad.mode = 2;
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 4, &bad), StatusBadOrder);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 1, &bad), StatusBadOrder);
  for (float v : dst)
    ASSERT_EQ(v, kSentinel);

  // A lower order is served by the same tables.
  for (uint32_t order = 0; order <= 3; ++order)
    EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, order, state), StatusOk);
}

TEST(SHBasis, RecurrenceStateAboveFifteenIsRefusedAtEvaluation) {
  sht::State state(16, SHModeRecurrence);
  std::vector<float> dst(289, kSentinel);
  float x = 0.6f, y = 0.0f, z = 0.8f;
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, dst.data(), 16, state), StatusBadOrder);
  EXPECT_EQ(dst[0], kSentinel);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, dst.data(), 15, state), StatusOk);
  EXPECT_EQ(dst[256], kSentinel);
}

TEST(SHBand, ChecksInOrderAndNothingWritten) {
  float x = 0.0f, y = 0.0f, z = 1.0f;
  std::vector<float> dst(64, kSentinel);
  float* d = dst.data();
  EXPECT_EQ(qelrSHBand_32f(nullptr, &y, &z, 0, d, 99), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, nullptr, &z, 1, d, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, nullptr, 1, d, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 1, nullptr, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 0, d, 16), StatusBadOrder);  // band before count
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 0, d, 15), StatusBadSize);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, -1, d, 15), StatusOk);
  for (float v : dst)
    ASSERT_EQ(v, kSentinel);
}

// ---------------------------------------------------------------------------
// The recurrence, bit for bit

// Every order, counts around the four-direction blocks, outputs at every
// 4-byte offset, ordinary and special coordinates; states of order 15 and
// of exactly the order evaluated.
TEST(SHBasis, RecurrenceMatchesScalarModel) {
  qt::Rng rng(501);
  const ref::Tables tables = ref::RecurrenceTables(15);
  sht::State wide(15, SHModeRecurrence);
  for (uint32_t order = 0; order <= 15; ++order) {
    sht::State exact(order, SHModeRecurrence, 16 * (order % 2));
    const int n = sht::Count(order);
    for (int count : {1, 2, 3, 4, 5, 7, 8, 9, 13, 64}) {
      const sht::Directions d = sht::RandomDirections(rng, count, true);
      std::vector<float> expected(size_t(count) * n);
      for (int i = 0; i < count; ++i)
        ref::Recurrence(tables.a.data(), tables.b.data(), d.x[i], d.y[i], d.z[i], int(order), &expected[size_t(i) * n]);
      for (const qelrSHState* state : {static_cast<const qelrSHState*>(wide), static_cast<const qelrSHState*>(exact)}) {
        qt::GuardedBuffer<float> dst(expected.size(), 4 * size_t(rng.Int(0, 3)));
        ASSERT_EQ(qelrSH_32f(d.x.data(), d.y.data(), d.z.data(), count, dst.data(), order, state), StatusOk);
        ASSERT_TRUE(sht::SameValues(expected.data(), dst.data(), expected.size()))
            << "order " << order << " count " << count;
        ASSERT_TRUE(dst.GuardsIntact());
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Against the defining formula

// The closed forms keep powers of z, x and y in single precision and do the
// rest in double.  A term of the expansion passes through at most about 25
// single-precision roundings (z^14 = z^6 z^8 from chains of squares, x^15 =
// x^8 x^7 from chains of products), so its relative error is below 32 units
// of 2^-24.  The accepted error of a coefficient is therefore
//   2^-24 |Y| (the final rounding) + 32 * 2^-24 * (sum of |terms|).
// Where the z-polynomial cancels (high bands near one of its zeros) this
// bound is far above |Y|: such coefficients are inherently inexact in this
// method, and that is all the bound allows for.
constexpr long double kClosedFormTermUlps = 32;

// The recurrence is a stable three-term recurrence that adds a few
// roundings per band; on unit vectors its error stays below about 30 units
// of 2^-24 of the band's scale sqrt((2l+1)/(4 pi)) at band 15 (29 observed).
// The bound leaves a factor of two; the bit-exact test above is the real
// check of the arithmetic, this one of the tables' mathematics.
constexpr long double kRecurrenceUlps = 64;

const long double kUnit = std::ldexp(1.0L, -24);

struct Sample {
  float x, y, z;
};

std::vector<Sample> AccuracySamples() {
  qt::Rng rng(502);
  std::vector<Sample> s;
  const sht::Directions unit = sht::RandomDirections(rng, 1500);
  for (size_t i = 0; i < unit.x.size(); ++i)
    s.push_back({unit.x[i], unit.y[i], unit.z[i]});
  for (int i = 0; i < 500; ++i)  // not of unit length
    s.push_back({rng.Uniform(-2.0f, 2.0f), rng.Uniform(-2.0f, 2.0f), rng.Uniform(-2.0f, 2.0f)});
  s.push_back({0.5f, -1.5f, 2.0f});
  s.push_back({0.0f, 0.0f, 1.0f});
  s.push_back({0.0f, 0.0f, -1.0f});
  s.push_back({1.0f, 0.0f, 0.0f});
  return s;
}

// Largest error over all samples, as a fraction of the accepted error.
template <typename Evaluate>
double WorstClosedFormRatio(const std::vector<Sample>& samples, Evaluate evaluate) {
  double worst = 0;
  std::vector<float> got(256);
  for (const Sample& s : samples) {
    evaluate(s, got.data());
    for (int l = 0; l <= 15; ++l)
      for (int m = -l; m <= l; ++m) {
        const exact::Value e = exact::Y(l, m, s.x, s.y, s.z);
        const long double allowed = kUnit * std::fabs(e.y) + kClosedFormTermUlps * kUnit * e.magnitude;
        const long double error = std::fabs((long double)got[ref::Index(l, m)] - e.y);
        const double ratio = error == 0 ? 0.0 : double(error / allowed);
        EXPECT_LE(ratio, 1.0) << "l " << l << " m " << m << " at (" << s.x << ", " << s.y << ", " << s.z << "): got "
                              << got[ref::Index(l, m)] << ", exact " << double(e.y);
        if (ratio > worst)
          worst = ratio;
      }
  }
  return worst;
}

TEST(SHBasis, ClosedFormsFollowTheDefiningFormula) {
  sht::State state(15, SHModeClosedForm);
  const double worst = WorstClosedFormRatio(AccuracySamples(), [&](const Sample& s, float* out) {
    ASSERT_EQ(qelrSH_32f(&s.x, &s.y, &s.z, 1, out, 15, state), StatusOk);
  });
  RecordProperty("worst_fraction_of_bound", std::to_string(worst));
}

TEST(SHBand, ClosedFormsFollowTheDefiningFormula) {
  const double worst = WorstClosedFormRatio(AccuracySamples(), [&](const Sample& s, float* out) {
    for (uint32_t l = 0; l <= 15; ++l)
      ASSERT_EQ(qelrSHBand_32f(&s.x, &s.y, &s.z, 1, out + l * l, l), StatusOk);
  });
  RecordProperty("worst_fraction_of_bound", std::to_string(worst));
}

// Many directions in one call walk the band blocks' loops.
TEST(SHBand, ManyDirectionsEqualOneByOne) {
  qt::Rng rng(503);
  const sht::Directions d = sht::RandomDirections(rng, 37, true);
  for (uint32_t band = 0; band <= 15; ++band) {
    const size_t n = 2 * band + 1;
    std::vector<float> one(37 * n);
    qt::GuardedBuffer<float> all(37 * n, 4);
    for (int i = 0; i < 37; ++i)
      ASSERT_EQ(qelrSHBand_32f(&d.x[i], &d.y[i], &d.z[i], 1, &one[i * n], band), StatusOk);
    ASSERT_EQ(qelrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), 37, all.data(), band), StatusOk);
    EXPECT_TRUE(sht::SameValues(one.data(), all.data(), one.size())) << "band " << band;
    EXPECT_TRUE(all.GuardsIntact());
  }
}

TEST(SHBasis, RecurrenceFollowsTheDefiningFormula) {
  sht::State state(15, SHModeRecurrence);
  qt::Rng rng(504);
  const sht::Directions d = sht::RandomDirections(rng, 2000);
  std::vector<float> got(256);
  long double worst = 0;
  for (size_t i = 0; i < d.x.size(); ++i) {
    ASSERT_EQ(qelrSH_32f(&d.x[i], &d.y[i], &d.z[i], 1, got.data(), 15, state), StatusOk);
    for (int l = 0; l <= 15; ++l) {
      const long double scale = std::sqrt((2 * l + 1) / (4 * 3.14159265358979323846L));
      for (int m = -l; m <= l; ++m) {
        const long double error = std::fabs(got[ref::Index(l, m)] - exact::Y(l, m, d.x[i], d.y[i], d.z[i]).y);
        worst = std::max(worst, error / (kUnit * scale));
        ASSERT_LE(error, kRecurrenceUlps * kUnit * scale) << "l " << l << " m " << m;
      }
    }
  }
  RecordProperty("worst_units", std::to_string(double(worst)));
}

// ---------------------------------------------------------------------------
// Known values

// Bands 0 to 3 as polynomials, at a unit vector and at a vector that is not.
TEST(SHBasis, FirstBandsAsPolynomials) {
  const Sample samples[] = {{0.48f, -0.6f, 0.64f}, {0.5f, -1.5f, 2.0f}};
  for (const Sample& s : samples) {
    const double x = s.x, y = s.y, z = s.z;
    const double expected[16] = {0.28209479177387814,
                                 -0.4886025119029199 * y,
                                 0.4886025119029199 * z,
                                 -0.4886025119029199 * x,
                                 1.092548430592079 * x * y,
                                 -1.092548430592079 * y * z,
                                 0.31539156525252 * (3 * z * z - 1),
                                 -1.092548430592079 * x * z,
                                 0.5462742152960395 * (x * x - y * y),
                                 -0.5900435899266435 * (3 * x * x * y - y * y * y),
                                 2.890611442640554 * x * y * z,
                                 -0.4570457994644657 * y * (5 * z * z - 1),
                                 0.3731763325901154 * z * (5 * z * z - 3),
                                 -0.4570457994644657 * x * (5 * z * z - 1),
                                 1.445305721320277 * z * (x * x - y * y),
                                 -0.5900435899266435 * (x * x * x - 3 * x * y * y)};
    for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
      sht::State state(3, mode);
      float got[16];
      ASSERT_EQ(qelrSH_32f(&s.x, &s.y, &s.z, 1, got, 3, state), StatusOk);
      for (int k = 0; k < 16; ++k)
        EXPECT_NEAR(got[k], expected[k], 4e-7 * (1 + std::fabs(expected[k]))) << "mode " << mode << " k " << k;
    }
  }
}

// At the pole every m != 0 vanishes and Y(l, 0) = sqrt((2l+1)/(4 pi)); band
// 0 is the constant 0x3E906EBB whatever the coordinates, even NaN.
TEST(SHBasis, PoleAndConstant) {
  const float x = 0.0f, y = 0.0f, z = 1.0f;
  const float nan = std::nanf("");
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(15, mode);
    float got[256];
    ASSERT_EQ(qelrSH_32f(&x, &y, &z, 1, got, 15, state), StatusOk);
    for (int l = 0; l <= 15; ++l) {
      const double value = std::sqrt((2 * l + 1) / (4 * M_PI));
      // The recurrence adds a rounding or two per band on its way up.
      const double tolerance = (mode == SHModeClosedForm ? 3e-7 : 2e-6) * value;
      EXPECT_NEAR(got[ref::Index(l, 0)], value, tolerance) << "mode " << mode << " l " << l;
      for (int m = 1; m <= l; ++m) {
        EXPECT_EQ(std::fabs(got[ref::Index(l, m)]), 0.0f) << "l " << l << " m " << m;
        EXPECT_EQ(std::fabs(got[ref::Index(l, -m)]), 0.0f) << "l " << l << " m " << -m;
      }
    }
    const float nans[5] = {nan, nan, nan, nan, nan};
    float constant[5];
    ASSERT_EQ(qelrSH_32f(nans, nans, nans, 5, constant, 0, state), StatusOk);
    for (float c : constant)
      EXPECT_EQ(qt::Bits(c), 0x3E906EBBu);
  }
  float constant[5];
  const float nans[5] = {nan, nan, nan, nan, nan};
  ASSERT_EQ(qelrSHBand_32f(nans, nans, nans, 5, constant, 0), StatusOk);
  for (float c : constant)
    EXPECT_EQ(qt::Bits(c), 0x3E906EBBu);
}

}  // namespace
