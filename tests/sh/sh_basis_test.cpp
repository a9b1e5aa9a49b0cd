// qelrSH_32f and qelrSHBand_32f: their checks, the recurrence bit for bit,
// and both methods against the defining formula.
#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "reference_sh.h"
#include "reference_sh_exact.h"
#include "sh_test_support.h"

namespace {

constexpr float kSentinel = -12345.0f;

TEST(SHBasis, ChecksInOrderAndNothingWritten) {
  sht::State state(3, SHModeRecurrence), above(16, SHModeRecurrence);
  float x = 0.6f, y = 0.0f, z = 0.8f;
  std::vector<float> dst(289, kSentinel);
  float* d = dst.data();
  EXPECT_EQ(qelrSH_32f(nullptr, &y, &z, 0, d, 9, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, nullptr, &z, 1, d, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, nullptr, 1, d, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, nullptr, 0, state), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 0, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 0, d, 9, state), StatusBadSize);   // count before order
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 4, state), StatusBadOrder);  // above the state's order
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, -3, d, 3, state), StatusOk);       // negative count: nothing done
  // A recurrence state above 15 is made, but refused at evaluation.
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 16, above), StatusBadOrder);
  // A corrupted mode is refused after the order test.
  qelrSHState bad = *static_cast<const qelrSHState*>(state);
  bad.mode = 2;
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 4, &bad), StatusBadOrder);
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 1, &bad), StatusBadOrder);

  EXPECT_EQ(qelrSHBand_32f(nullptr, &y, &z, 0, d, 99), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, nullptr, &z, 1, d, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, nullptr, 1, d, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 1, nullptr, 0), StatusNullPointer);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 0, d, 16), StatusBadOrder);  // band before count
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, 0, d, 15), StatusBadSize);
  EXPECT_EQ(qelrSHBand_32f(&x, &y, &z, -1, d, 15), StatusOk);
  for (float v : dst)
    ASSERT_EQ(v, kSentinel);

  // Order 15 is served by a state of 16.
  EXPECT_EQ(qelrSH_32f(&x, &y, &z, 1, d, 15, above), StatusOk);
  EXPECT_EQ(dst[256], kSentinel);
}

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

// The closed forms (both entries) and the recurrence against the defining
// formula, which shares nothing with the library.
//
// The closed forms keep powers of x, y and z in single precision, the rest
// in double: a term passes through at most ~25 single roundings, so the
// accepted error is 2^-24 |Y| + 32 * 2^-24 * (sum of |terms|).  Where the
// z-polynomial cancels this bound is far above |Y|, and rightly so.
//
// The recurrence stays below ~30 units of 2^-24 of the band's scale
// sqrt((2l+1)/(4 pi)) on unit vectors (29 observed); 64 are allowed.  It
// assumes unit length, so only unit samples go through it.
TEST(SHBasis, AllMethodsFollowTheDefiningFormula) {
  const long double unit = std::ldexp(1.0L, -24), pi = 3.14159265358979323846L;
  sht::State closed(15, SHModeClosedForm), recurrence(15, SHModeRecurrence);
  qt::Rng rng(502);
  sht::Directions s = sht::RandomDirections(rng, 1500);
  for (int i = 0; i < 500; ++i) {  // not of unit length
    const float a = rng.Uniform(-2.0f, 2.0f), b = rng.Uniform(-2.0f, 2.0f), c = rng.Uniform(-2.0f, 2.0f);
    s.Add(a, b, c);
  }
  for (const auto& p : {std::array<float, 3>{0.5f, -1.5f, 2.0f}, {0, 0, 1}, {0, 0, -1}, {1, 0, 0}})
    s.Add(p[0], p[1], p[2]);
  float sh[256], band[256], rec[256];
  for (size_t i = 0; i < s.x.size(); ++i) {
    const float *x = &s.x[i], *y = &s.y[i], *z = &s.z[i];
    ASSERT_EQ(qelrSH_32f(x, y, z, 1, sh, 15, closed), StatusOk);
    ASSERT_EQ(qelrSH_32f(x, y, z, 1, rec, 15, recurrence), StatusOk);
    for (uint32_t l = 0; l <= 15; ++l)
      ASSERT_EQ(qelrSHBand_32f(x, y, z, 1, band + l * l, l), StatusOk);
    for (int l = 0; l <= 15; ++l)
      for (int m = -l; m <= l; ++m) {
        const auto where = [&] { return ::testing::Message() << "l " << l << " m " << m << " sample " << i; };
        const exact::Value e = exact::Y(l, m, *x, *y, *z);
        const int k = ref::Index(l, m);
        const long double allowed = unit * std::fabs(e.y) + 32 * unit * e.magnitude;
        ASSERT_LE(std::fabs(sh[k] - e.y), allowed) << "qelrSH_32f closed forms, " << where();
        ASSERT_LE(std::fabs(band[k] - e.y), allowed) << "qelrSHBand_32f, " << where();
        if (i >= 1500)
          continue;
        ASSERT_LE(std::fabs(rec[k] - e.y), 64 * unit * std::sqrt((2 * l + 1) / (4 * pi))) << "recurrence, " << where();
      }
  }
}

// Many directions in one call (strided records, the band blocks' own loops)
// give what one direction at a time gives; band 0 is the constant
// 0x3E906EBB whatever the coordinates, even NaN.
TEST(SHBasis, ManyDirectionsEqualOneByOne) {
  sht::State closed(15, SHModeClosedForm), recurrence(15, SHModeRecurrence);
  using Eval = std::function<qelStatus(const float*, const float*, const float*, int32_t, float*, uint32_t)>;
  const Eval evals[] = {
      [&](auto x, auto y, auto z, int32_t n, float* d, uint32_t o) { return qelrSH_32f(x, y, z, n, d, o, closed); },
      [&](auto x, auto y, auto z, int32_t n, float* d, uint32_t o) { return qelrSH_32f(x, y, z, n, d, o, recurrence); },
      [](auto x, auto y, auto z, int32_t n, float* d, uint32_t b) { return qelrSHBand_32f(x, y, z, n, d, b); }};
  qt::Rng rng(503);
  sht::Directions d = sht::RandomDirections(rng, 37, true);
  for (int e = 0; e < 3; ++e)
    for (uint32_t order = 0; order <= 15; ++order) {
      const size_t n = e == 2 ? 2 * order + 1 : size_t(sht::Count(order));
      std::vector<float> one(37 * n);
      qt::GuardedBuffer<float> all(37 * n, 4);
      for (int i = 0; i < 37; ++i)
        ASSERT_EQ(evals[e](&d.x[i], &d.y[i], &d.z[i], 1, &one[i * n], order), StatusOk);
      ASSERT_EQ(evals[e](d.x.data(), d.y.data(), d.z.data(), 37, all.data(), order), StatusOk);
      EXPECT_TRUE(sht::SameValues(one.data(), all.data(), one.size())) << "evaluator " << e << " order " << order;
      EXPECT_TRUE(all.GuardsIntact());
    }
  const float nans[5] = {NAN, NAN, NAN, NAN, NAN};
  for (const Eval& eval : evals) {
    float constant[5];
    ASSERT_EQ(eval(nans, nans, nans, 5, constant, 0), StatusOk);
    for (float c : constant)
      EXPECT_EQ(qt::Bits(c), 0x3E906EBBu);
  }
}

}  // namespace
