// The events the walk keeps sorted from node to node must give the very
// tree that gathering and sorting at every node gives: the same nodes,
// split values and leaf lists, bit for bit, and the same status.
#include <cmath>
#include <limits>

#include "cost_builder_scenes.h"
#include "kdtree/kd_sorted_events.h"
#include "standin_core.h"

namespace {

constexpr uint32_t kMiB = 1u << 20;

struct Outcome {
  qelStatus status;
  std::vector<int64_t> tree;
};

Outcome BuildFlat(const Scene& s, KDCostSettings settings) {
  const int64_t live = standinLiveBlocks();
  KDCostContext* context = nullptr;
  Outcome out;
  out.status = localKDBuildInMemory(s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                    s.TriangleCount(), settings, &context);
  if (context) {
    Flatten(*context->root, &out.tree);
    localKDReleaseContext(context);
  }
  EXPECT_EQ(standinLiveBlocks(), live);
  return out;
}

// A random soup moved to straddle the origin: grid-rounded coordinates
// then give zeros of both signs (round(-0.3) is -0), in short and long
// event lists alike.
Scene AroundOrigin(uint64_t seed, int32_t count) {
  Scene s = RandomScene(seed, count);
  for (float& v : s.vertices) v = std::round(v - 5.0f) == 0.0f ? std::round(v - 5.0f) : v - 5.0f;
  return s;
}

TEST(CostBuilderKeptEvents, SameTreeAsSortingAtEveryNode) {
  const float clip[6] = {-4.0f, -3.5f, -5.0f, 3.0f, 4.5f, 2.25f};
  uint64_t seed = 900;
  for (int32_t count : {40, 300, 2500, 9000}) {
    for (int variant = 0; variant < 4; ++variant, ++seed) {
      SCOPED_TRACE("count " + std::to_string(count) + " variant " + std::to_string(variant));
      const Scene s = variant == 0 ? RandomScene(seed, count) : AroundOrigin(seed, count);
      KDCostSettings settings{variant == 3 ? 9u : 50u, variant == 2 ? 1.0f : 0.4f, 400 * kMiB,
                              variant == 2 ? clip : nullptr};
      const Outcome kept = BuildFlat(s, settings);
      settings.keepSortedEvents = false;
      const Outcome sorted = BuildFlat(s, settings);
      ASSERT_EQ(kept.status, StatusOk);
      ASSERT_EQ(sorted.status, StatusOk);
      EXPECT_GT(kept.tree.size(), size_t(count) / 4);
      EXPECT_EQ(kept.tree, sorted.tree);
    }
  }
}

TEST(CostBuilderKeptEvents, SameStatusAndTreeWithNaNCoordinates) {
  // NaN corners among the triangles (not the first vertex, so the box stays
  // finite): some builds end in a mismatch, the others must agree anyway.
  for (uint64_t seed = 31; seed < 37; ++seed) {
    Scene s = AroundOrigin(seed, 1500);
    for (int k = 1; k < 5; ++k)
      s.vertices[3 * size_t(k * 97 + int(seed)) + size_t(k % 3)] = std::numeric_limits<float>::quiet_NaN();
    KDCostSettings settings{50, 0.5f, 300 * kMiB, nullptr};
    const Outcome kept = BuildFlat(s, settings);
    settings.keepSortedEvents = false;
    const Outcome sorted = BuildFlat(s, settings);
    EXPECT_EQ(kept.status, sorted.status) << seed;
    EXPECT_EQ(kept.tree, sorted.tree) << seed;
  }
}

// Kept events serve an axis unless a zero or a NaN sits where the search's
// own sort would order it differently: in short start and end lists, and
// in flat coordinates at any length.
TEST(CostBuilderKeptEvents, AxisServesUnlessZerosOrNaNsAreOrderedByTheQuicksort) {
  auto events = [](std::vector<float> lows, std::vector<float> flats, std::vector<float> highs) {
    static std::vector<float> values;
    static std::vector<int32_t> index;
    const int32_t count = int32_t(lows.size() + flats.size());
    values.assign(size_t(KDSortedEventSlots(count)), 0.0f);
    index.assign(values.size(), 0);
    KDSortedEvents e{values.data(), index.data(), count, {int32_t(lows.size()), count, count}};
    std::copy(lows.begin(), lows.end(), values.begin());
    std::copy(flats.begin(), flats.end(), values.begin() + lows.size());
    std::copy(highs.begin(), highs.end(), values.begin() + count);
    return e;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(localSortedAxisServes(events({-2, 1}, {0.5f}, {-1, 3}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, -0.0f}, {}, {-1, 3}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, 1}, {}, {0.0f, 3}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, 1}, {-0.0f}, {-1, 3}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, 1}, {}, {-1, nan}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-nan, 1}, {}, {-1, 3}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, 1}, {0.5f, nan}, {-1, 3}), 0));
  // From 321 starts on, the radix sort orders zeros and NaNs by key too.
  std::vector<float> lows(321), highs(321);
  for (int k = 0; k < 321; ++k) lows[k] = float(k - 160), highs[k] = float(k - 150);
  lows[160] = -0.0f;
  EXPECT_TRUE(localSortedAxisServes(events(lows, {2.5f}, highs), 0));
  EXPECT_FALSE(localSortedAxisServes(events(lows, {0.0f}, highs), 0));
}

}  // namespace
