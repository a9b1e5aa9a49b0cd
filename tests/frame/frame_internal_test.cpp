// Variant selection and the dispatch table, seen from inside.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "frame/qelr_internal.h"

namespace {

TEST(FrameInternal, SelectVariantNeedsBothBits) {
  const uint64_t masks[] = {0, 16, 32, ~0ull & ~16ull, 48, ~0ull};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(ownSelectVariant(masks[i]), i < 4 ? 0 : 1) << masks[i];
}

TEST(FrameInternal, DispatchPairs) {
  // Places of the exports with two distinct implementations.
  const int two[] = {3, 7, 11, 21, 22, 29, 30};
  for (int place = 1; place <= 52; ++place) {
    const void* v8 = qelrDispatch[2 * (place - 1)];
    const void* s8 = qelrDispatch[2 * (place - 1) + 1];
    if (!v8)  // not built yet: both slots empty
      EXPECT_EQ(s8, nullptr) << "place " << place;
    else if (std::count(two, two + 7, place))
      EXPECT_NE(v8, s8) << "place " << place;
    else
      EXPECT_EQ(v8, s8) << "place " << place;
  }
}

TEST(FrameInternal, EntryJumpsThroughTheSelectedSlot) {
  // The stub of qelrGetLibVersion (place 11) must reach slot 20 + variant.
  using Fn = const qelrVersionRecord* (*)();
  const int32_t variant = qelrVariant;
  Fn selected;
  std::memcpy(&selected, &qelrDispatch[20 + variant], sizeof selected);
  EXPECT_EQ(qelrGetLibVersion(), selected());
  EXPECT_EQ(variant, ownSelectVariant(qelGetEnabledCpuFeatures()));
}

}  // namespace
