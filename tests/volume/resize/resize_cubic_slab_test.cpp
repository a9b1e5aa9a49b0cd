// One slab of the cubic path against the scalar model over random problems:
// all codes and types, tiny sources, regions reaching past the volume,
// zero and negative steps, both source layouts.
#include <gtest/gtest.h>

#include <vector>

#include "cubic_cases.h"
#include "cubic_test_volume.h"
#include "reference_cubic.h"
#include "volume/resize/resize_cubic_path.h"
#include "volume/volume_frame.h"

namespace {

using cubictest::Case;
using cubictest::PaddedVolume;

enum class Steps { Plain, ZeroPlane, NegativePlane, NegativeRow };

template <typename T>
void RunCase(const Case& c, Steps steps, bool byPointer, Variant variant, uint32_t seed) {
  qt::Rng rng(seed);
  int32_t step = c.x.size + rng.Int(0, 3);
  int32_t planeStep = step * (c.y.size + rng.Int(0, 2));
  if (steps == Steps::ZeroPlane) planeStep = 0;
  if (steps == Steps::NegativePlane) planeStep = -planeStep;
  if (steps == Steps::NegativeRow) step = -step;
  const PaddedVolume<T> src(c.x.size, c.y.size, c.z.size, step, planeStep, rng);

  // Destination: large enough for the box, one spare column, filled.
  const int32_t dstStep = c.x.end + 1, dstPlane = dstStep * c.y.end;
  std::vector<T> actual(static_cast<size_t>(dstPlane) * c.z.end, T(99));
  std::vector<T> expected = actual;
  std::vector<T*> dstPlanes;
  for (int32_t z = 0; z < c.z.end; ++z) dstPlanes.push_back(actual.data() + z * dstPlane);

  const qelrVolume size = {c.x.size, c.y.size, c.z.size};
  const SourceVolume<T> source = byPointer ? PlanarSource(src.planes(), size, step)
                                           : ContiguousSource(src.base(), size, step, planeStep);
  const DestVolume<T> dst = byPointer ? PlanarDest(dstPlanes.data(), dstStep)
                                      : ContiguousDest(actual.data(), dstStep, dstPlane);
  const ResizeBox box = {c.x.first, c.y.first, c.z.first, c.x.end - c.x.first, c.y.end - c.y.first,
                         c.z.end - c.z.first};
  const ResizeMapping map = {c.x.inv, c.y.inv, c.z.inv, c.x.off, c.y.off, c.z.off};

  qt::GuardedBuffer<uint8_t> scratch(cubictest::CubicScratchBytes(c.x.m, c.y.m, c.z.m), rng.Int(0, 15));
  qelStatus status = StatusBadArgument;
  if constexpr (std::is_same<T, float>::value) {
    if (variant == Variant::S8) status = ResizeCubic<T, Variant::S8>(source, dst, box, map, c.code, scratch.data());
  }
  if (variant == Variant::V8) status = ResizeCubic<T, Variant::V8>(source, dst, box, map, c.code, scratch.data());
  ASSERT_EQ(status, StatusOk);
  ASSERT_TRUE(scratch.GuardsIntact()) << c.Describe();

  refcubic::Source<T> model;
  model.base = src.base();
  model.planes = byPointer ? src.planes() : nullptr;
  model.step = step;
  model.planeStep = planeStep;
  const refcubic::Problem p = {c.code, c.x.size, c.y.size, c.z.size, box.x, box.y, box.z, box.w, box.h,
                               box.d, c.x.inv, c.y.inv, c.z.inv, c.x.off, c.y.off, c.z.off};
  refcubic::Resize<T>(model, p, [&](int32_t z, int32_t y, int32_t x) {
    return expected.data() + z * dstPlane + y * dstStep + x;
  });
  ASSERT_TRUE(cubictest::SameSamples(expected, actual)) << c.Describe();
}

// Float slabs alternate between the two builds' tables; the others have one.
template <typename T>
Variant VariantFor(int i) {
  return std::is_same<T, float>::value && i % 2 ? Variant::S8 : Variant::V8;
}

template <typename T>
class CubicSlabTest : public ::testing::Test {};
using SampleTypes = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(CubicSlabTest, SampleTypes);

TYPED_TEST(CubicSlabTest, RandomProblemsMatchModel) {
  qt::Rng rng(2024);
  for (int i = 0; i < 150; ++i) {
    const Case c = cubictest::RandomCase(rng, 14);
    // Sources of 1 or 2 planes read planes -2 and -1 through the pointer
    // array, which the padded volume provides.
    RunCase<TypeParam>(c, Steps::Plain, rng.Chance(0.3), VariantFor<TypeParam>(i), rng.U32());
    if (this->HasFatalFailure()) return;
  }
}

TYPED_TEST(CubicSlabTest, ZeroAndNegativeSteps) {
  qt::Rng rng(77);
  for (int i = 0; i < 60; ++i) {
    const Case c = cubictest::RandomCase(rng, 10);
    RunCase<TypeParam>(c, static_cast<Steps>(1 + i % 3), false, VariantFor<TypeParam>(i), rng.U32());
    if (this->HasFatalFailure()) return;
  }
}

}  // namespace
