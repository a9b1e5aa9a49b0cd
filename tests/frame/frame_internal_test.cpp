// Variant selection and the dispatch table, seen from inside.
#include <gtest/gtest.h>

#include <cstring>

#include "frame/qelr_internal.h"

namespace {

TEST(FrameInternal, SelectVariantNeedsBothBits) {
  EXPECT_EQ(ownSelectVariant(0), 0);
  EXPECT_EQ(ownSelectVariant(16), 0);
  EXPECT_EQ(ownSelectVariant(32), 0);
  EXPECT_EQ(ownSelectVariant(48), 1);
  EXPECT_EQ(ownSelectVariant(~0ull), 1);
  EXPECT_EQ(ownSelectVariant(~0ull & ~16ull), 0);
}

// Exports with two distinct implementations, by place.
bool HasTwoImplementations(int place) {
  switch (place) {
    case 3: case 7: case 11: case 21: case 22: case 29: case 30: return true;
    default: return false;
  }
}

TEST(FrameInternal, DispatchPairs) {
  for (int place = 1; place <= 52; ++place) {
    const void* v8 = qelrDispatch[2 * (place - 1)];
    const void* s8 = qelrDispatch[2 * (place - 1) + 1];
    if (!v8) {  // not built yet: both slots empty
      EXPECT_EQ(s8, nullptr) << "place " << place;
      continue;
    }
    if (HasTwoImplementations(place))
      EXPECT_NE(v8, s8) << "place " << place;
    else
      EXPECT_EQ(v8, s8) << "place " << place;
  }
}

TEST(FrameInternal, EntryJumpsThroughTheSelectedSlot) {
  // The stub of qelrGetLibVersion must reach slot 20 + variant.
  using Fn = const qelrVersionRecord* (*)();
  const int32_t variant = qelrVariant;
  Fn selected;
  std::memcpy(&selected, &qelrDispatch[20 + variant], sizeof selected);
  EXPECT_EQ(qelrGetLibVersion(), selected());
  EXPECT_EQ(variant, ownSelectVariant(qelGetEnabledCpuFeatures()));
}

}  // namespace
