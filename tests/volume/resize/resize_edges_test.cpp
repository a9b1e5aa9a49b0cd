// Cases that random parameters seldom reach: the rounding constants of the
// 8u and 16u chains, identity resizes, extreme layouts and large teams.
#include <gtest/gtest.h>

#include "resize_harness.h"

namespace {

rt::Case Cube(int32_t n, int32_t code) {
  rt::Case c;
  c.vol = {n, n, n};
  c.srcVoi = {0, 0, 0, n, n, n};
  c.dstVoi = c.srcVoi;
  c.code = code;
  return c;
}

// Factor 1 with a shift just short of half a sample gives the fraction
// 0.49999997 on one axis: a sample halfway between 0 and 1 then lands just
// below 0.5, and only the rounding constant 0.5000001 (in float for the
// interior, in double for the frame) brings it to 1.
TEST(ResizeLinearEdges, RoundingConstantOf16uChainsPerAxis) {
  for (int axis = 0; axis < 3; ++axis) {
    rt::Case c = Cube(7, InterLinear);
    c.valueRange = 1;
    c.shift[axis] = -0.49999997;
    EXPECT_TRUE(rt::RunCase<uint16_t>(c, 100 + axis)) << "axis " << axis;
  }
}

// A fraction a hair below a quarter still makes the 14-bit weight 4096,
// thanks to the 1e-7 added before truncation.
TEST(ResizeLinearEdges, FixedWeightKeepsAStepJustBelowIt) {
  for (int axis = 0; axis < 3; ++axis) {
    rt::Case c = Cube(7, InterLinear);
    c.shift[axis] = -0.249999999999;
    EXPECT_TRUE(rt::RunCase<uint8_t>(c, 200 + axis)) << "axis " << axis;
  }
}

// Factor 1, shift 0 and equal regions: every path passes samples through,
// 8u as value times 64 and back.
TEST(ResizeLinearEdges, IdentityCopiesEveryType) {
  for (int32_t code : {InterNearest, InterLinear}) {
    rt::Case c = Cube(9, code);
    EXPECT_TRUE(rt::RunCase<uint8_t>(c, 300));
    EXPECT_TRUE(rt::RunCase<uint16_t>(c, 301));
    EXPECT_TRUE(rt::RunCase<float>(c, 302));
  }
}

// Wide rows reach every block length of the row kernels and their tails.
TEST(ResizeLinearEdges, WideRowsUpAndDown) {
  const double factors[] = {2.0, 0.5, 1.37, 0.77};
  int n = 0;
  for (double f : factors)
    for (int32_t width : {37, 64, 71}) {
      rt::Case c;
      c.vol = {width, 5, 4};
      c.srcVoi = {0, 0, 0, width, 5, 4};
      c.factor[0] = f;
      c.factor[1] = 1.5;
      c.factor[2] = 1.5;
      c.dstVoi = {0, 0, 0, int32_t(width * f) + 1, 8, 6};
      c.rowPad = n % 3;
      EXPECT_TRUE(rt::RunCase<uint8_t>(c, 400 + n));
      EXPECT_TRUE(rt::RunCase<uint16_t>(c, 500 + n));
      EXPECT_TRUE(rt::RunCase<float>(c, 600 + n));
      ++n;
    }
}

// A plane step of 0 reads one plane for all; the pair stays as it is after
// the first destination plane.  A negative step reverses every passing test.
TEST(ResizeLinearEdges, ZeroAndNegativePlaneSteps) {
  for (auto steps : {rt::PlaneSteps::Zero, rt::PlaneSteps::Negative}) {
    rt::Case c = Cube(6, InterLinear);
    c.factor[2] = 2.5;
    c.factor[0] = 0.6;
    c.dstVoi = {0, 0, 0, 4, 6, 15};
    c.srcPlanes = steps;
    c.dstReversed = true;
    EXPECT_TRUE(rt::RunCase<float>(c, 700));
    EXPECT_TRUE(rt::RunCase<uint8_t>(c, 701));
  }
}

// The threaded worker: the same result for any team, including one larger
// than the box's depth, where every slab but the last is empty.
TEST(ResizeThreads, ResultDoesNotDependOnTheTeam) {
  for (int32_t code : {InterNearest, InterLinear}) {
    for (int32_t threads : {1, 2, 3, 5, 17}) {
      rt::Case c = Cube(10, code);
      c.factor[0] = 1.7;
      c.factor[1] = 2.0;
      c.factor[2] = 1.6;  // 16 planes
      c.shift[2] = 0.3;
      c.dstVoi = {0, 0, 0, 17, 20, 16};
      c.threads = threads;
      c.bufferOffset = size_t(threads);
      EXPECT_TRUE(rt::RunCase<float>(c, 800)) << threads << " threads";
    }
  }
  standinSetNumThreads(1);
}

}  // namespace

namespace {

// Planes without a z blend write their edges straight to the destination,
// so an upscale far beyond the edge frames' room still gives exact results
// when every destination plane reads one source plane.
TEST(ResizeLinearEdges, LargeUpscaleOfPlanesWithoutZBlend) {
  rt::Case c;
  c.vol = {5, 4, 1};
  c.srcVoi = {0, 0, 0, 5, 4, 1};
  c.factor[0] = 8;
  c.factor[1] = 6.5;
  c.factor[2] = 3;
  c.dstVoi = {0, 0, 0, 40, 26, 3};
  EXPECT_TRUE(rt::RunCase<uint8_t>(c, 900));
  EXPECT_TRUE(rt::RunCase<uint16_t>(c, 901));
  EXPECT_TRUE(rt::RunCase<float>(c, 902));
}

}  // namespace
