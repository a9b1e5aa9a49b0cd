// The node decision on seeded random nodes against the plain model, and the
// serial and parallel forms of the search against each other.
#include "split_search_soup.h"
#include "frame/qelr_internal.h"
#include "test_util.h"

namespace {

// A coordinate on a coarse grid now and then (so that events coincide), on
// a face of the box now and then, otherwise anywhere inside.
float Coordinate(qt::Rng& rng, float low, float high, int grid) {
  const int kind = rng.Int(0, 5);
  if (kind < 2) return kind ? high : low;
  return kind < 4 ? low + (high - low) * float(rng.Int(0, grid)) / float(grid) : rng.Uniform(low, high);
}

// A random node: triangles, some flat on an axis, some clustered, some with
// more vertices, inside a box of random proportions.
PolygonSoup RandomNode(qt::Rng& rng, int32_t count, float box[6]) {
  // A box starting at 0 brings zeros into the events, which takes the
  // short lists through the library's quicksort.
  // Sometimes everything sits in one corner, leaving empty space to cut.
  const bool atZero = rng.Chance(0.3), cluster = rng.Chance(0.3);
  float hi[3];
  for (int a = 0; a < 3; ++a) {
    box[a] = atZero ? 0.0f : rng.Uniform(1.0f, 4.0f);
    box[a + 3] = box[a] + (rng.Chance(0.1) ? 0.0f : rng.Uniform(0.5f, 8.0f));
    hi[a] = cluster ? box[a] + (box[a + 3] - box[a]) * rng.Uniform(0.3f, 1.0f) : box[a + 3];
  }
  const int grid = rng.Int(2, 12);
  PolygonSoup soup;
  for (int32_t k = 0; k < count; ++k) {
    const int flatAxis = rng.Chance(0.25) ? rng.Int(0, 2) : -1;
    const int vertices = rng.Chance(0.8) ? 3 : rng.Int(4, 9);
    ref::Polygon polygon(vertices);
    for (int v = 0; v < vertices; ++v)
      for (int a = 0; a < 3; ++a) polygon[v][a] = Coordinate(rng, box[a], hi[a], grid);
    if (flatAxis >= 0)
      for (int v = 0; v < vertices; ++v) polygon[v][flatAxis] = polygon[0][flatAxis];
    soup.Add(polygon);
  }
  return soup;
}

TEST(SplitSearchDecision, MatchesModelOnRandomNodes) {
  qt::Rng rng(20240401);
  const int32_t counts[] = {1, 2, 3, 7, 20, 75, 76, 77, 150, 320, 321, 322, 700};
  for (int32_t count : counts) {
    for (int trial = 0; trial < 40; ++trial) {
      float box[6];
      PolygonSoup soup = RandomNode(rng, count, box);
      const float quality = rng.Chance(0.5) ? rng.Uniform(0.0f, 1.0f) : float(rng.Int(0, 1));
      qelrSplitDecision got{};
      localFindBestSplit(soup.Events(), soup.refs.data(), count, box, localQualityScale(quality),
                         false, &got);
      const qelrSplitDecision want = ref::Decide(soup.polygons, box, quality);
      ASSERT_TRUE(SameDecision(want, got)) << "count " << count << " trial " << trial;
    }
  }
}

TEST(SplitSearchDecision, SerialAndParallelAgreeWhateverTheTeam) {
  qt::Rng rng(77);
  for (int trial = 0; trial < 60; ++trial) {
    float box[6];
    const int32_t count = rng.Int(1, 500);
    PolygonSoup soup = RandomNode(rng, count, box);
    const float scale = localQualityScale(rng.Uniform(0.0f, 1.0f));
    const double leafCost = localLeafCost(box, count);
    qelrSplitDecision serial{}, parallel{};
    serial.cost = parallel.cost = leafCost;
    localFindBestSplitSortSearch(soup.Events(), soup.refs.data(), count, box, &serial, scale);
    localFindBestSplitSortSearch_MT(soup.Events(), soup.refs.data(), count, box, &parallel, scale);
    ASSERT_TRUE(SameDecision(serial, parallel)) << "trial " << trial;
  }
}

TEST(SplitSearchDecision, EventsSortedForTheSameReferencesServeAgain) {
  // After an empty cut the child keeps its parent's references and only its
  // box shrinks: the events sorted for the parent serve the child.
  qt::Rng rng(123);
  for (int trial = 0; trial < 30; ++trial) {
    float box[6];
    const int32_t count = rng.Int(76, 700);
    PolygonSoup soup = RandomNode(rng, count, box);
    const float quality = rng.Uniform(0.0f, 1.0f), scale = localQualityScale(quality);
    KDEventArrays* kept = soup.Events();
    qelrSplitDecision parent{};
    localFindBestSplit(kept, soup.refs.data(), count, box, scale, false, &parent);
    ASSERT_TRUE(SameDecision(ref::Decide(soup.polygons, box, quality), parent)) << trial;
    for (int cut = 0; cut < 3; ++cut) {
      const int axis = rng.Int(0, 2);
      const float t = (box[axis + 3] - box[axis]) * rng.Uniform(0.0f, 0.2f);
      if (rng.Chance(0.5)) box[axis] += t; else box[axis + 3] -= t;
      qelrSplitDecision reused{};
      localFindBestSplit(kept, soup.refs.data(), count, box, scale, true, &reused);
      ASSERT_TRUE(SameDecision(ref::Decide(soup.polygons, box, quality), reused)) << trial << "/" << cut;
    }
  }
}

// Both radix forms give the quicksort's order bit for bit, except that
// they put -0 below +0 where the quicksort leaves zeros as they came.
TEST(RadixSort, BothFormsSortLikeTheQuicksort) {
  qt::Rng rng(5);
  for (int32_t count : {1, 2, 47, 48, 321, 322, 4097, 70000, 70001}) {  // 70000 up: the long form
    std::vector<float> a(count), scratch(count);
    const bool narrow = count == 70001;  // a node's narrow range with repeats
    const bool nans = count % 2 == 1 && !narrow;  // NaNs have no defined place in the quicksort
    for (float& x : a) {
      x = narrow ? 1.2f + 0.001f * float(rng.Int(0, 300)) : rng.Special(-1e6f, 1e6f);
      if (x != x && !nans) x = 1.0f;
      if (rng.Chance(0.2)) x = rng.Chance(0.3) ? -0.0f : float(rng.Int(-3, 3));
    }
    std::vector<float> shortForm = a, quick = a;
    localRadixSort32f(a.data(), scratch.data(), count);
    localRadixSortShort32f(shortForm.data(), scratch.data(), count);
    ASSERT_EQ(ownSortAscend32f(quick.data(), count), StatusOk);
    for (int32_t k = 0; k < count; ++k) {
      ASSERT_EQ(qt::Bits(a[k]), qt::Bits(shortForm[k])) << count << " at " << k;
      if (nans) continue;
      if (a[k] == 0.0f) {
        ASSERT_EQ(quick[k], 0.0f) << k;
        ASSERT_FALSE(k > 0 && a[k - 1] == 0.0f && std::signbit(a[k]) && !std::signbit(a[k - 1])) << k;
      } else {
        ASSERT_EQ(qt::Bits(a[k]), qt::Bits(quick[k])) << count << " at " << k;
      }
    }
  }
}

}  // namespace
