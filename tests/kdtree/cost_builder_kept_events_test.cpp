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
// own sort would order it differently: among short start and end lists,
// and among flat coordinates at any length.
TEST(CostBuilderKeptEvents, AxisServesUnlessZerosOrNaNsAreOrderedByTheQuicksort) {
  // Starts and ends as one list in event order, then the flats (axis 0).
  auto events = [](std::vector<float> startsAndEnds, std::vector<float> flats) {
    static std::vector<float> values;
    static std::vector<int32_t> tags;
    const int32_t starts = int32_t(startsAndEnds.size() / 2);
    const int32_t count = starts + int32_t(flats.size());
    values.assign(size_t(KDSortedEventSlots(count)), 1.0f);
    tags.assign(values.size(), 0);
    KDSortedEvents e{values.data(), tags.data(), count, {starts, count, count}};
    std::copy(startsAndEnds.begin(), startsAndEnds.end(), values.begin());
    std::copy(flats.begin(), flats.end(), values.begin() + startsAndEnds.size());
    return e;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(localSortedAxisServes(events({-2, -1, 1, 3}, {0.5f}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, -1, -0.0f, 3}, {}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, 0.0f, 1, 3}, {}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, -1, 1, 3}, {-0.0f}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, -1, 1, nan}, {}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-nan, -1, 1, 3}, {}), 0));
  EXPECT_FALSE(localSortedAxisServes(events({-2, -1, 1, 3}, {0.5f, nan}), 0));
  // From 321 starts on, the radix sort orders zeros and NaNs by key too.
  std::vector<float> startsAndEnds(642);
  for (int k = 0; k < 642; ++k) startsAndEnds[k] = float(k - 321);
  startsAndEnds[321] = -0.0f;
  EXPECT_TRUE(localSortedAxisServes(events(startsAndEnds, {2.5f}), 0));
  EXPECT_FALSE(localSortedAxisServes(events(startsAndEnds, {0.0f}), 0));
}

}  // namespace
