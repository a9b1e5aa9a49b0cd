// The nearest and linear paths against the scalar reference, bit for bit,
// over seeded random volumes, regions, factors, shifts and layouts, for the
// three sample types and both layouts.
#include <gtest/gtest.h>

#include "resize_harness.h"

namespace {

template <typename T>
void RunRandomCases(int32_t code, bool planar, uint64_t seed, int count) {
  qt::Rng rng(seed);
  for (int n = 0; n < count; ++n) {
    const rt::Case c = rt::RandomCase(rng, code, planar);
    ASSERT_TRUE(rt::RunCase<T>(c, seed * 1000 + n)) << "case " << n;
  }
}

TEST(ResizeNearest, RandomCases8u) {
  RunRandomCases<uint8_t>(InterNearest, false, 11, 150);
  RunRandomCases<uint8_t>(InterNearest, true, 12, 150);
}
TEST(ResizeNearest, RandomCases16u) {
  RunRandomCases<uint16_t>(InterNearest, false, 13, 150);
  RunRandomCases<uint16_t>(InterNearest, true, 14, 150);
}
TEST(ResizeNearest, RandomCases32f) {
  RunRandomCases<float>(InterNearest, false, 15, 150);
  RunRandomCases<float>(InterNearest, true, 16, 150);
}

TEST(ResizeLinear, RandomCases8u) {
  RunRandomCases<uint8_t>(InterLinear, false, 21, 300);
  RunRandomCases<uint8_t>(InterLinear, true, 22, 300);
}
TEST(ResizeLinear, RandomCases16u) {
  RunRandomCases<uint16_t>(InterLinear, false, 23, 300);
  RunRandomCases<uint16_t>(InterLinear, true, 24, 300);
}
TEST(ResizeLinear, RandomCases32f) {
  RunRandomCases<float>(InterLinear, false, 25, 300);
  RunRandomCases<float>(InterLinear, true, 26, 300);
}

}  // namespace
