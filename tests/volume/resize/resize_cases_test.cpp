// Every interpolation code against the scalar models, bit for bit: seeded
// random volumes, regions, factors, shifts and layouts for the three sample
// types and both layouts, then the cases random parameters seldom reach.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "resize_harness.h"

namespace {

template <typename T>
class ResizeRandom : public ::testing::Test {
 protected:
  void TearDown() override { standinSetNumThreads(1); }
};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ResizeRandom, SampleTypes);

TYPED_TEST(ResizeRandom, EveryCodeMatchesTheModels) {
  struct Run {
    int32_t code, count;
  };
  const Run runs[] = {{InterNearest, 150}, {InterLinear, 300}, {InterCubic, 40},
                      {InterCubicBSpline, 40}, {InterCubicCatmullRom, 40}, {InterCubicB05C03, 40}};
  uint64_t seed = 11 + sizeof(TypeParam);
  for (const Run& r : runs)
    for (bool planar : {false, true}) {
      qt::Rng rng(++seed);
      for (int n = 0; n < r.count; ++n) {
        const rt::Case c = rt::RandomCase(rng, r.code, planar);
        ASSERT_TRUE(rt::RunCase<TypeParam>(c, seed * 1000 + n)) << "case " << n;
      }
    }
}

const int32_t kAllCodes[] = {InterNearest, InterLinear, InterCubic, InterCubicBSpline, InterCubicCatmullRom,
                             InterCubicB05C03};

rt::Case Cube(int32_t n, int32_t code) {
  rt::Case c;
  c.vol = {n, n, n};
  c.srcVoi = {0, 0, 0, n, n, n};
  c.dstVoi = c.srcVoi;
  c.code = code;
  return c;
}

std::vector<rt::Case> EdgeCases() {
  std::vector<rt::Case> cases;
  for (int axis = 0; axis < 3; ++axis) {
    // 16u rounding constants: 0 + 0.49999997 reaches 1 only through the
    // 0.5000001; 1 + 0.49999988 reaches 2 when it is added in float (the
    // interior), not in double (the frame).
    for (double shift : {-0.49999997, -0.49999988}) {
      rt::Case c = Cube(7, InterLinear);
      c.valueRange = 2;
      c.shift[axis] = shift;
      cases.push_back(c);
    }
    // A hair below a quarter still makes the 14-bit weight 4096 (the 1e-7).
    rt::Case c = Cube(7, InterLinear);
    c.shift[axis] = -0.249999999999;
    cases.push_back(c);
  }
  for (int32_t code : kAllCodes) {
    cases.push_back(Cube(9, code));  // identity
    // One team for any size, including more threads than planes.
    for (int32_t threads : {2, 3, 5, 17}) {
      rt::Case c = Cube(10, code);
      c.factor[0] = 1.7, c.factor[1] = 2.0, c.factor[2] = 1.6;  // 16 planes
      c.shift[2] = 0.3;
      c.dstVoi = {0, 0, 0, 17, 20, 16};
      c.threads = threads;
      c.bufferOffset = size_t(threads);
      cases.push_back(c);
    }
  }
  // Wide rows reach every block length of the row kernels and their tails.
  int n = 0;
  for (double f : {2.0, 0.5, 1.37, 0.77})
    for (int32_t width : {37, 64, 71}) {
      rt::Case c;
      c.code = n % 3 == 2 ? InterCubicCatmullRom : InterLinear;
      c.vol = {width, 5, 4};
      c.srcVoi = {0, 0, 0, width, 5, 4};
      c.factor[0] = f, c.factor[1] = 1.5, c.factor[2] = 1.5;
      c.dstVoi = {0, 0, 0, int32_t(width * f) + 1, 8, 6};
      c.rowPad = n++ % 3;
      cases.push_back(c);
    }
  // Halvings: straight runs of taps along x, and both source rows of a
  // destination row resampled afresh (also with every third row, and rows
  // upside down); wide rows reach every block of every kernel width.
  for (int32_t width : {70, 135})
    for (bool reversed : {false, true}) {
      rt::Case c;
      c.vol = {width, 14, 6};
      c.srcVoi = {0, 0, 0, width, 14, 6};
      c.factor[0] = 0.5, c.factor[1] = reversed ? 1.0 / 3.0 : 0.5, c.factor[2] = 0.5;
      c.shift[0] = reversed ? -0.75 : 0.0, c.shift[1] = 0.2;
      c.dstVoi = {0, 0, 0, width / 2 + 1, 8, 3};
      c.srcRowsReversed = reversed;
      c.rowPad = 1;
      cases.push_back(c);
    }
  // Exact halvings (every weight one half, 8u and 16u take the eight-tap
  // mean inside): odd extents and shifts of whole samples give frames on
  // every side; rows upside down and planes in reverse, both layouts, rows
  // wide enough for every block width.
  for (int32_t width : {71, 135, 263})
    for (bool reversed : {false, true}) {
      rt::Case c;
      c.vol = {width, 11, 9};
      c.srcVoi = {0, 0, 0, width, 11, 9};
      c.factor[0] = c.factor[1] = c.factor[2] = 0.5;
      c.shift[0] = reversed ? 1.0 : 0.0, c.shift[2] = reversed ? 0.0 : 1.0;
      c.dstVoi = {0, 0, 0, width / 2 + 2, 7, 6};
      c.srcRowsReversed = reversed;
      c.srcPlanes = reversed ? rt::PlaneSteps::Negative : rt::PlaneSteps::Positive;
      c.planar = width == 135;
      c.rowPad = 1;
      cases.push_back(c);
    }
  // Downscales whose columns read every second sample and whose rows and
  // planes share no source line, at weights other than one half.
  for (int32_t width : {70, 135}) {
    rt::Case c;
    c.vol = {width, 16, 12};
    c.srcVoi = {0, 0, 0, width, 16, 12};
    c.factor[0] = 0.5, c.factor[1] = 0.4, c.factor[2] = 0.35;
    c.shift[0] = 0.3, c.shift[1] = 0.1, c.shift[2] = 0.2;
    c.dstVoi = {0, 0, 0, width / 2 + 1, 8, 6};
    c.planar = width == 135;
    c.srcRowsReversed = width == 70;
    cases.push_back(c);
  }
  // A zero plane step reads one plane for all; a negative one reverses them.
  for (auto steps : {rt::PlaneSteps::Zero, rt::PlaneSteps::Negative}) {
    rt::Case c = Cube(6, InterLinear);
    c.factor[2] = 2.5, c.factor[0] = 0.6;
    c.dstVoi = {0, 0, 0, 4, 6, 15};
    c.srcPlanes = steps;
    c.dstReversed = true;
    cases.push_back(c);
  }
  // Planes without a z blend write their edges straight to the destination:
  // an upscale far beyond the edge frames' room stays exact.
  rt::Case c;
  c.vol = {5, 4, 1};
  c.srcVoi = {0, 0, 0, 5, 4, 1};
  c.factor[0] = 8, c.factor[1] = 6.5, c.factor[2] = 3;
  c.dstVoi = {0, 0, 0, 40, 26, 3};
  cases.push_back(c);
  return cases;
}

TEST(ResizeEdges, EveryTypeMatchesTheModels) {
  const std::vector<rt::Case> cases = EdgeCases();
  for (size_t n = 0; n < cases.size(); ++n) {
    EXPECT_TRUE(rt::RunCase<uint8_t>(cases[n], 100 + n)) << "case " << n;
    EXPECT_TRUE(rt::RunCase<uint16_t>(cases[n], 300 + n)) << "case " << n;
    EXPECT_TRUE(rt::RunCase<float>(cases[n], 500 + n)) << "case " << n;
  }
  standinSetNumThreads(1);
}

// Small-valued cubic cases (found by search) with frame sums such as
// 1.4999999, which a float rounding would take to the next integer: the frame
// rounds in double.
TEST(ResizeEdges, CubicFramesRoundInDouble) {
  const auto zero = rt::PlaneSteps::Zero;
  const std::pair<rt::Case, uint64_t> found[] = {
      {{{5, 2, 5}, {0, 0, 0, 7, 4, 7}, {1, 0, 0, 6, 12, 21}, {1, 3.3133640289306641, 3},
        {0, -1.000428318977356, -1.6063486337661743}, 5, false, zero, false, false, 0, 0, 1, 15, 2}, 16064},
      {{{5, 4, 7}, {1, 0, 3, 6, 2, 4}, {3, 0, 7, 20, 2, 8}, {3.3552002906799316, 0.75, 2},
        {0, 0, 1.0790665149688721}, 6, false, zero, true, false, 3, 0, 3, 8, 2}, 15665},
      {{{1, 8, 4}, {0, 7, 0, 2, 2, 6}, {0, 3, 0, 2, 1, 11}, {1, 0.5, 1.761582612991333}, {0, 0, 0}, 7, false,
        zero, false, true, 2, 2, 3, 1, 2}, 12512}};
  for (const auto& [c, seed] : found) {
    EXPECT_TRUE(rt::RunCase<uint8_t>(c, seed));
    EXPECT_TRUE(rt::RunCase<uint16_t>(c, seed));
  }
  standinSetNumThreads(1);
}

}  // namespace
