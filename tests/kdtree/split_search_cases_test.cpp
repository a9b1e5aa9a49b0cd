// Worked cases of the split search, each checked field by field and
// against the plain model.
#include "split_search_soup.h"

namespace {

ref::Polygon Triangle(ref::Point a, ref::Point b, ref::Point c) { return {a, b, c}; }

// One axis of the node on its own, as the builder's search does it, checked
// against the model before the case looks at it.
qelrSplitDecision Axis(PolygonSoup& soup, const float box[6], int axis) {
  const double leafCost = localLeafCost(box, soup.Count());
  qelrSplitDecision d{leafCost, 0.0f, axis, 0, 0, 0}, want = d;
  KDAxisEvents held;
  held.lowCount = -1;
  localEvaluateAxis(soup.Events()->axis[axis], nullptr, soup.refs.data(), soup.Count(), box, axis, &d, &held);
  ref::EvaluateAxis(soup.polygons, box, axis, want);
  EXPECT_TRUE(SameDecision(want, d));
  return d;
}

void ExpectSplit(const qelrSplitDecision& d, float position, int32_t left, int32_t right, int32_t side) {
  EXPECT_EQ(d.position, position);
  EXPECT_EQ(d.leftCount, left);
  EXPECT_EQ(d.rightCount, right);
  EXPECT_EQ(d.flatSide, side);
}

double R(float e1, float e2) { return double(e1 * e2) / double(e1 + e2); }

TEST(SplitSearchCases, ClusterInTheLowestPartIsCutOffAtItsLastEnd) {
  const float box[6] = {0, 0, 0, 10, 1, 1};
  PolygonSoup soup;
  for (int k = 0; k < 6; ++k)
    soup.Add(Triangle({0.0f, 0.1f, 0.1f}, {8.5f - k, 0.5f, 0.2f}, {1.0f + k, 0.9f, 0.9f}));
  const qelrSplitDecision d = Axis(soup, box, 0);
  ExpectSplit(d, 8.5f, 6, 0, 1);
  // With the bonus; no plane inside was swept.
  const double want = double(2.0f) * 0.699999988079071 * (6.0 * (8.5 + R(1, 1)));
  EXPECT_EQ(d.cost, want);
}

TEST(SplitSearchCases, AnEndGapOfExactlyTenPercentIsNoCandidate) {
  const float box[6] = {0, 0, 0, 10, 1, 1};
  PolygonSoup exact;
  exact.Add(Triangle({1.0f, 0.2f, 0.2f}, {9.0f, 0.5f, 0.5f}, {5.0f, 0.8f, 0.8f}));
  exact.Add(Triangle({3.0f, 0.2f, 0.2f}, {4.0f, 0.5f, 0.5f}, {3.5f, 0.8f, 0.8f}));
  const qelrSplitDecision swept = Axis(exact, box, 0);
  // Swept: the best plane is the end at 4, without the bonus.
  ExpectSplit(swept, 4.0f, 2, 1, 1);
  EXPECT_EQ(swept.cost, double(2.0f) * (2.0 * (4.0 + R(1, 1)) + 1.0 * (6.0 + R(1, 1))));

  PolygonSoup wider;
  const float justAbove = std::nextafter(1.0f, 2.0f);
  wider.Add(Triangle({justAbove, 0.2f, 0.2f}, {9.0f, 0.5f, 0.5f}, {5.0f, 0.8f, 0.8f}));
  wider.Add(Triangle({3.0f, 0.2f, 0.2f}, {4.0f, 0.5f, 0.5f}, {3.5f, 0.8f, 0.8f}));
  const qelrSplitDecision cut = Axis(wider, box, 0);
  ExpectSplit(cut, justAbove, 0, 2, 1);
}

TEST(SplitSearchCases, FlatPolygonsAtOneCoordinateTryOnePlaneBothWays) {
  const float box[6] = {0, 0, 0, 10, 2, 2};
  for (float at : {4.0f, 6.0f}) {
    PolygonSoup soup;
    for (int k = 0; k < 5; ++k)
      soup.Add(Triangle({at, 0.1f * k, 0.5f}, {at, 1.5f, 0.2f}, {at, 0.7f, 1.9f}));
    const qelrSplitDecision d = Axis(soup, box, 0);
    // Below the middle the flats are cheaper on the low side, above it on the high side.
    ExpectSplit(d, at, at < 5.0f ? 5 : 0, at < 5.0f ? 0 : 5, at < 5.0f ? 0 : 1);
  }
}

TEST(SplitSearchCases, FlatsOnTheLowFaceAreSplitOffWithTheBonus) {
  const float box[6] = {0, 0, 0, 4, 4, 4};
  PolygonSoup soup;
  for (int k = 0; k < 3; ++k)
    soup.Add(Triangle({0.0f, 0.5f, 0.5f}, {0.0f, 3.0f, 1.0f + k}, {0.0f, 1.0f, 3.5f}));
  for (int k = 0; k < 4; ++k)
    soup.Add(Triangle({0.5f + 0.5f * k, 0.5f, 0.5f}, {4.0f, 3.0f, 1.0f}, {2.0f, 1.0f, 3.5f}));
  const qelrSplitDecision d = Axis(soup, box, 0);
  ExpectSplit(d, 0.0f, 3, 4, 0);
  const double r = R(4, 4);
  EXPECT_EQ(d.cost, double(8.0f) * (0.699999988079071 * (3.0 * r + 4.0 * (4.0 + r))));
}

// Equal costs on all axes take z; a box flat on two axes (or all three)
// stays a leaf; in the serial form (75) and the parallel one.
TEST(SplitSearchCases, TiesTakeZAndFlatBoxesStayLeaves) {
  PolygonSoup diagonal, line;
  for (int k = 0; k < 80; ++k) {
    const float a = 0.05f * (k % 7), b = 1.0f + 0.05f * (k % 5);
    diagonal.Add(Triangle({a, a, a}, {b, b, b}, {4, 4, 4}));
    line.Add(Triangle({0.1f * k, 1, 1}, {0.1f * k + 0.5f, 1, 1}, {0.2f, 1, 1}));
  }
  const float cube[6] = {0, 0, 0, 10, 10, 10}, twoFlat[6] = {0, 1, 1, 10, 1, 1};
  const float allFlat[6] = {1, 1, 1, 1, 1, 1};
  const struct { PolygonSoup* soup; const float* box; int axis; } cases[] = {
      {&diagonal, cube, 2}, {&line, twoFlat, -1}, {&line, allFlat, -1}};
  for (const auto& c : cases) {
    for (int32_t count : {75, 80}) {
      qelrSplitDecision d{};
      d.axis = 7;
      localFindBestSplit(c.soup->Events(), c.soup->refs.data(), count, c.box,
                         localQualityScale(c.axis < 0 ? 1.0f : 0.5f), false, &d);
      EXPECT_EQ(d.axis, c.axis) << count;
      if (c.axis == 2) {
        EXPECT_EQ(d.position, 4.0f) << count;
      }
    }
  }
}

}  // namespace
