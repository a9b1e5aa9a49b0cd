// The six transforms: their checks, and their arithmetic bit for bit
// against the models of one direction at a time, on the basis of the
// library's own qelrSH_32f (tested on its own).
#include <cmath>
#include <deque>
#include <functional>
#include <vector>

#include "reference_sht.h"
#include "sh_test_support.h"
#include "sht_model_check.h"

namespace {

constexpr float kSentinel = -777.0f;

// qelrSH_32f of direction i, read from the coordinates as they are when
// direction i comes up.
ref::BasisOf LibraryBasis(const float* x, const float* y, const float* z, uint32_t order, const qelrSHState* state) {
  return [=](int i, float* record) { ASSERT_EQ(qelrSH_32f(x + i, y + i, z + i, 1, record, order, state), StatusOk); };
}

void CallForward(sht::Layout layout, const sht::Call& call, const float* const values[3], float* const coeffs[3]) {
  const float *x = call.d->x.data(), *y = call.d->y.data(), *z = call.d->z.data();
  qelStatus status = StatusOk;
  switch (layout) {
    case sht::Layout::C1:
      status = qelrSHTFwd_32f_C1I(x, y, z, values[0], call.count, coeffs[0], call.order, call.state);
      break;
    case sht::Layout::P3:
      status = qelrSHTFwd_32f_P3I(x, y, z, values, call.count, coeffs, call.order, call.state);
      break;
    case sht::Layout::C3:
      status = qelrSHTFwd_32f_C3P3I(x, y, z, values[0], call.count, coeffs, call.order, call.state);
      break;
  }
  EXPECT_EQ(status, StatusOk);
}

void CallInverse(sht::Layout layout, const sht::Call& call, const float* const coeffs[3], float* const dst[3]) {
  const float *x = call.d->x.data(), *y = call.d->y.data(), *z = call.d->z.data();
  qelStatus status = StatusOk;
  switch (layout) {
    case sht::Layout::C1:
      status = qelrSHTInv_32f_C1(coeffs[0], call.order, x, y, z, dst[0], call.count, call.state);
      break;
    case sht::Layout::P3:
      status = qelrSHTInv_32f_P3(coeffs, call.order, x, y, z, dst, call.count, call.state);
      break;
    case sht::Layout::C3:
      status = qelrSHTInv_32f_P3C3(coeffs, call.order, x, y, z, dst[0], call.count, call.state);
      break;
  }
  EXPECT_EQ(status, StatusOk);
}

// Every order in both modes; counts below, at and around whole blocks of
// directions; special coordinates and values; a NaN basis at a value of
// exactly 0 (adds nothing) and 1 (adds NaN).  Coefficients past the order
// are neither written (guards) nor read (NaN there).
TEST(SHTransform, MatchesModelOfOneDirectionAtATime) {
  qt::Rng rng(601);
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    sht::State state(15, mode);
    for (uint32_t order = 0; order <= 15; ++order)
      for (int count : {1, 8, 3 + rng.Int(0, 4) * 8 + rng.Int(0, 5)}) {
        sht::Directions d = sht::RandomDirections(rng, count, true);
        d.x[0] = NAN;
        const sht::Call call = {&d, count, order, state};
        sht::CheckTransformsAgainstModel(rng, call, LibraryBasis(d.x.data(), d.y.data(), d.z.data(), order, state),
                                         CallForward, CallInverse);
      }
  }
}

// Finite values, now and then exactly 0 or 1: with overlapping arrays an
// infinity or NaN would spread and hide the order of the additions.
std::vector<float> Finite(qt::Rng& rng, int n) {
  std::vector<float> v(n);
  for (float& f : v)
    f = rng.Chance(0.1) ? float(rng.Int(0, 1)) : rng.Uniform(-2.0f, 2.0f);
  return v;
}

// Arrays that overlap where one is written: the results are those of one
// direction at a time, channel by channel, reading what earlier steps wrote.
TEST(SHTransform, OverlappingArraysSeeEarlierWrites) {
  qt::Rng rng(602);
  sht::State state(8, SHModeRecurrence);
  const uint32_t order = 8;
  const int n = sht::Count(order), count = 21;
  for (int round = 0; round < 4; ++round) {
    SCOPED_TRACE(::testing::Message() << "round " << round);
    sht::Directions d = sht::RandomDirections(rng, count);
    const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();

    // Forward into three coefficient sets one float apart.
    std::vector<float> got(n + 2), want;
    for (float& f : got)
      f = rng.Uniform(-1.0f, 1.0f);
    want = got;
    std::vector<float> v[3] = {Finite(rng, count), Finite(rng, count), Finite(rng, count)};
    const float* vp[3] = {v[0].data(), v[1].data(), v[2].data()};
    float* wantP[3] = {&want[0], &want[1], &want[2]};
    float* gotP[3] = {&got[0], &got[1], &got[2]};
    ref::Forward(LibraryBasis(x, y, z, order, state), count, n, 3, vp, 1, wantP);
    ASSERT_EQ(qelrSHTFwd_32f_P3I(x, y, z, vp, count, gotP, order, state), StatusOk);
    EXPECT_TRUE(sht::SameValues(want.data(), got.data(), got.size())) << "P3I into overlapping sets";

    // Forward whose values are the coefficients being updated.
    std::vector<float> inPlace(n), modelInPlace;
    for (float& f : inPlace)
      f = rng.Uniform(-2.0f, 2.0f);
    modelInPlace = inPlace;
    const float* modelValues = modelInPlace.data();
    float* modelCoeffs = modelInPlace.data();
    ref::Forward(LibraryBasis(x, y, z, order, state), count, n, 1, &modelValues, 1, &modelCoeffs);
    ASSERT_EQ(qelrSHTFwd_32f_C1I(x, y, z, inPlace.data(), count, inPlace.data(), order, state), StatusOk);
    EXPECT_TRUE(sht::SameValues(modelInPlace.data(), inPlace.data(), n)) << "C1I with values in the coefficients";

    // Inverse writing into the x coordinates one ahead of the direction
    // being evaluated, and into two planes one float apart.
    const std::vector<float> k[3] = {Finite(rng, n), Finite(rng, n), Finite(rng, n)};
    const float* kp[3] = {k[0].data(), k[1].data(), k[2].data()};
    std::vector<float> xs(count + 1), modelXs;
    std::copy_n(x, count, xs.data());
    xs[count] = 0.5f;
    modelXs = xs;
    float* modelDst = modelXs.data() + 1;
    ref::Inverse(LibraryBasis(modelXs.data(), y, z, order, state), count, n, 1, kp, &modelDst, 1);
    ASSERT_EQ(qelrSHTInv_32f_C1(kp[0], order, xs.data(), y, z, xs.data() + 1, count, state), StatusOk);
    EXPECT_TRUE(sht::SameValues(modelXs.data(), xs.data(), xs.size())) << "C1 into its own coordinates";

    std::vector<float> planes(count + 2), modelPlanes(count + 2, 0.0f);
    float* planesP[3] = {&planes[0], &planes[1], &planes[2]};
    float* modelP[3] = {&modelPlanes[0], &modelPlanes[1], &modelPlanes[2]};
    ref::Inverse(LibraryBasis(x, y, z, order, state), count, n, 3, kp, modelP, 1);
    ASSERT_EQ(qelrSHTInv_32f_P3(kp, order, x, y, z, planesP, count, state), StatusOk);
    EXPECT_TRUE(sht::SameValues(modelPlanes.data(), planes.data(), planes.size())) << "P3 into overlapping planes";
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
