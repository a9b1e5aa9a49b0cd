// The cubic codes through the six resize exports, against the scalar model:
// random problems in every type and layout (tiny sources, regions past the
// volume, zero and negative steps) with the scratch exactly as large as the
// size query says, the threaded float worker on several team sizes, and the
// edge cases of the cubic kernels.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "cubic_cases.h"
#include "cubic_test_volume.h"
#include "qelr.h"
#include "reference_cubic.h"
#include "standin_core.h"

namespace {

using cubictest::Case;
using cubictest::PaddedVolume;

qelStatus Resize(const uint8_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, uint8_t* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_8u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}
qelStatus Resize(const uint16_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, uint16_t* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_16u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}
qelStatus Resize(const float* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, float* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_32f_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}
qelStatus Resize(const uint8_t* const s[], qelrVolume v, int32_t ss, qelrCuboid sv, uint8_t* const d[],
                 int32_t ds, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_8u_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}
qelStatus Resize(const uint16_t* const s[], qelrVolume v, int32_t ss, qelrCuboid sv, uint16_t* const d[],
                 int32_t ds, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_16u_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}
qelStatus Resize(const float* const s[], qelrVolume v, int32_t ss, qelrCuboid sv, float* const d[],
                 int32_t ds, qelrCuboid dv, const double f[3], const double sh[3], int code, uint8_t* b) {
  return qelrResize_32f_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, b);
}

struct Options {
  bool byPointer = false;
  int32_t planeStepSign = 1;  // 1, 0 or -1
  int32_t rowStepSign = 1;    // 1 or -1
  size_t extraScratch = 0;    // room past the queried size
};

// Runs one problem through an export and through the model.  `expected`
// and `actual` are whole destination volumes, untouched samples included.
template <typename T>
struct Outcome {
  qelStatus status;
  std::vector<T> expected, actual;
  bool guardsIntact;
  int32_t dstStep, dstPlane;
};

template <typename T>
Outcome<T> RunCase(const Case& c, const Options& o, uint32_t seed) {
  qt::Rng rng(seed);
  const int32_t step = o.rowStepSign * (c.x.size + rng.Int(0, 3));
  const int32_t planeStep = o.planeStepSign * (c.x.size + 3) * (c.y.size + rng.Int(0, 2));
  const PaddedVolume<T> src(c.x.size, c.y.size, c.z.size, step, planeStep, rng);

  Outcome<T> r;
  r.dstStep = c.x.end + rng.Int(0, 2);
  r.dstPlane = r.dstStep * c.y.end;
  r.actual.assign(static_cast<size_t>(r.dstPlane) * c.z.end, T(42));
  r.expected = r.actual;
  std::vector<T*> dstPlanes;
  for (int32_t z = 0; z < c.z.end; ++z) dstPlanes.push_back(r.actual.data() + z * r.dstPlane);

  const qelrVolume volume = {c.x.size, c.y.size, c.z.size};
  const qelrCuboid srcVoi = {c.x.o, c.y.o, c.z.o, c.x.n, c.y.n, c.z.n};
  const qelrCuboid dstVoi = {c.x.p, c.y.p, c.z.p, c.x.m, c.y.m, c.z.m};
  const double factors[3] = {c.x.factor, c.y.factor, c.z.factor};
  const double shifts[3] = {c.x.shift, c.y.shift, c.z.shift};
  int32_t size = 0;
  EXPECT_EQ(qelrResizeGetBufSize(srcVoi, dstVoi, 1, c.code, &size), StatusOk);
  qt::GuardedBuffer<uint8_t> scratch(size + o.extraScratch, rng.Int(0, 15));
  const int32_t bytes = sizeof(T);
  if (o.byPointer)
    r.status = Resize(src.planes(), volume, step * bytes, srcVoi, dstPlanes.data(), r.dstStep * bytes, dstVoi,
                      factors, shifts, c.code, scratch.data());
  else
    r.status = Resize(src.base(), volume, step * bytes, planeStep * bytes, srcVoi, r.actual.data(),
                      r.dstStep * bytes, r.dstPlane * bytes, dstVoi, factors, shifts, c.code, scratch.data());
  r.guardsIntact = scratch.GuardsIntact();

  refcubic::Source<T> model;
  model.base = src.base();
  model.planes = o.byPointer ? src.planes() : nullptr;
  model.step = step;
  model.planeStep = planeStep;
  const refcubic::Problem p = {c.code, c.x.size, c.y.size, c.z.size, c.x.first, c.y.first, c.z.first,
                               c.x.end - c.x.first, c.y.end - c.y.first, c.z.end - c.z.first,
                               c.x.inv, c.y.inv, c.z.inv, c.x.off, c.y.off, c.z.off};
  refcubic::Resize<T>(model, p, [&](int32_t z, int32_t y, int32_t x) {
    return r.expected.data() + z * r.dstPlane + y * r.dstStep + x;
  });
  return r;
}

template <typename T>
void ExpectModel(const Case& c, const Options& o, uint32_t seed) {
  const Outcome<T> r = RunCase<T>(c, o, seed);
  ASSERT_EQ(r.status, StatusOk) << c.Describe();
  ASSERT_TRUE(r.guardsIntact) << "scratch overrun: " << c.Describe();
  ASSERT_TRUE(cubictest::SameSamples(r.expected, r.actual)) << c.Describe();
}

template <typename T>
class CubicResizeTest : public ::testing::Test {
 protected:
  void TearDown() override { standinSetNumThreads(1); }
};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(CubicResizeTest, SampleTypes);

TYPED_TEST(CubicResizeTest, RandomProblemsBothLayouts) {
  qt::Rng rng(31337);
  for (int i = 0; i < 120; ++i) {
    const Case c = cubictest::RandomCase(rng, 12);
    Options o;
    o.byPointer = i % 2 == 1;
    o.planeStepSign = o.byPointer ? 1 : (i % 7 == 0 ? 0 : (i % 5 == 0 ? -1 : 1));
    o.rowStepSign = i % 3 == 0 ? -1 : 1;
    ExpectModel<TypeParam>(c, o, rng.U32());
    if (this->HasFatalFailure()) return;
  }
}

// The threaded float worker splits the planes among the team; every team
// size gives the model's result, the remainder going to the last thread.
TEST(CubicResizeThreads, TeamSizesMatchModel) {
  qt::Rng rng(5);
  for (int32_t threads : {1, 2, 3, 7}) {
    standinSetNumThreads(threads);
    for (int i = 0; i < 4; ++i) {
      Case c;
      c.code = 4 + i;
      for (cubictest::AxisCase* a : {&c.x, &c.y, &c.z}) {
        a->size = rng.Int(9, 20), a->o = 0, a->n = a->size, a->p = 0, a->m = 64;
        a->factor = i % 2 ? 0.77 * 3 : 2.0;
        a->shift = rng.Uniform(-1.0f, 1.0f);
        a->Derive();
      }
      ASSERT_GE(c.z.end - c.z.first, 16);
      ExpectModel<float>(c, Options{}, rng.U32());
      if (HasFatalFailure()) break;
    }
  }
  standinSetNumThreads(1);
}

// Identity with Catmull-Rom (and Lagrange for integers, whose tiny side
// weights vanish in rounding) reproduces every sample.
TYPED_TEST(CubicResizeTest, IdentityReproducesSource) {
  using T = TypeParam;
  qt::Rng rng(8);
  const int32_t W = 9, H = 7, D = 6;
  std::vector<T> src(W * H * D), dst(W * H * D, T(1));
  // Finite samples: an infinite neighbour times a zero weight is NaN.
  for (T& v : src) v = std::is_same<T, float>::value ? T(rng.Uniform(-300.0f, 300.0f)) : cubictest::RandomSample<T>(rng);
  const qelrVolume volume = {W, H, D};
  const qelrCuboid voi = {0, 0, 0, W, H, D};
  const double ones[3] = {1, 1, 1}, zeros[3] = {0, 0, 0};
  for (int code : {InterCubicCatmullRom, InterCubic}) {
    if (code == InterCubic && std::is_same<T, float>::value) continue;
    int32_t size = 0;
    ASSERT_EQ(qelrResizeGetBufSize(voi, voi, 1, code, &size), StatusOk);
    std::vector<uint8_t> scratch(size);
    const int32_t b = sizeof(T);
    ASSERT_EQ(Resize(src.data(), volume, W * b, W * H * b, voi, dst.data(), W * b, W * H * b, voi, ones, zeros,
                     code, scratch.data()),
              StatusOk);
    EXPECT_TRUE(cubictest::SameSamples(src, dst)) << "code " << code;
  }
}

// A hard edge upscaled with negative lobes overshoots: the float result
// keeps it, the integer types clamp it.
TEST(CubicResizeOvershoot, ClampedForIntegersKeptForFloat) {
  const int32_t W = 8, H = 4, D = 4;
  std::vector<float> src32(W * H * D);
  std::vector<uint8_t> src8(W * H * D);
  std::vector<uint16_t> src16(W * H * D);
  for (int32_t i = 0; i < W * H * D; ++i) {
    const bool high = i % W >= W / 2;
    src32[i] = high ? 255.0f : 0.0f;
    src8[i] = high ? 255 : 0;
    src16[i] = high ? 65535 : 0;
  }
  const qelrVolume volume = {W, H, D};
  const qelrCuboid srcVoi = {0, 0, 0, W, H, D}, dstVoi = {0, 0, 0, 3 * W, 3 * H, 3 * D};
  const double factors[3] = {3, 3, 3}, zeros[3] = {0, 0, 0};
  int32_t size = 0;
  ASSERT_EQ(qelrResizeGetBufSize(srcVoi, dstVoi, 1, InterCubicCatmullRom, &size), StatusOk);
  std::vector<uint8_t> scratch(size);
  const int32_t n = 27 * W * H * D, dW = 3 * W, dP = 9 * W * H;
  std::vector<float> dst32(n);
  std::vector<uint8_t> dst8(n);
  std::vector<uint16_t> dst16(n);
  ASSERT_EQ(Resize(src32.data(), volume, W * 4, W * H * 4, srcVoi, dst32.data(), dW * 4, dP * 4, dstVoi, factors,
                   zeros, InterCubicCatmullRom, scratch.data()), StatusOk);
  ASSERT_EQ(Resize(src8.data(), volume, W, W * H, srcVoi, dst8.data(), dW, dP, dstVoi, factors, zeros,
                   InterCubicCatmullRom, scratch.data()), StatusOk);
  ASSERT_EQ(Resize(src16.data(), volume, W * 2, W * H * 2, srcVoi, dst16.data(), dW * 2, dP * 2, dstVoi, factors,
                   zeros, InterCubicCatmullRom, scratch.data()), StatusOk);
  EXPECT_LT(*std::min_element(dst32.begin(), dst32.end()), -1.0f);
  EXPECT_GT(*std::max_element(dst32.begin(), dst32.end()), 256.0f);
  EXPECT_EQ(*std::min_element(dst8.begin(), dst8.end()), 0);
  EXPECT_EQ(*std::max_element(dst8.begin(), dst8.end()), 255);
  EXPECT_EQ(*std::min_element(dst16.begin(), dst16.end()), 0);
  EXPECT_EQ(*std::max_element(dst16.begin(), dst16.end()), 65535);
  // Where the float result overshoots, the integer results sit at the clamp.
  for (int32_t i = 0; i < n; ++i) {
    if (dst32[i] > 256.0f) {
      ASSERT_EQ(dst8[i], 255) << i;
    }
    if (dst32[i] < -1.0f) {
      ASSERT_EQ(dst8[i], 0) << i;
    }
  }
}

// An upscale by 20 gives more edge lines than a frame has room for; the
// frames then overlap in the scratch.  The interior does not depend on them.
TEST(CubicResizeLargeUpscale, InteriorUnaffectedByFrameOverlap) {
  Case c;
  c.code = InterCubicBSpline;
  c.x = {100, 0, 100, 0, 100, 1.0, 0.0};
  c.y = {4, 0, 4, 0, 80, 20.0, 0.0};
  c.z = {6, 0, 6, 0, 6, 1.0, 0.0};
  c.x.Derive(), c.y.Derive(), c.z.Derive();
  Options o;
  o.extraScratch = 1 << 16;  // the last frame may run past the queried size
  const Outcome<float> r = RunCase<float>(c, o, 3);
  ASSERT_EQ(r.status, StatusOk);
  const int32_t w = c.x.end - c.x.first, h = c.y.end - c.y.first, d = c.z.end - c.z.first;
  const refcubic::Axis X = refcubic::MapAxis(c.code, c.x.first, w, c.x.inv, c.x.off, c.x.size);
  const refcubic::Axis Y = refcubic::MapAxis(c.code, c.y.first, h, c.y.inv, c.y.off, c.y.size);
  ASSERT_GT((Y.Low() + Y.High()) * w, 32 * (w + h)) << "the frames must overlap for this test";
  int32_t compared = 0;
  for (int32_t k = 0; k < d; ++k)
    for (int32_t row = 0; row < h; ++row)
      for (int32_t col = 0; col < w; ++col) {
        if (refcubic::RegionOf(X, Y, w, h, row, col) != refcubic::Region::Interior) continue;
        const size_t at = size_t(c.z.first + k) * r.dstPlane + size_t(c.y.first + row) * r.dstStep + c.x.first + col;
        ASSERT_TRUE(cubictest::SameSample(r.expected[at], r.actual[at])) << k << " " << row << " " << col;
        ++compared;
      }
  EXPECT_GT(compared, 0);
}

}  // namespace
