// The in-memory tree of the cost-driven builder: on random scenes every
// triangle that enters a leaf's box is listed there and no other is; the
// tree does not depend on the threads the search gets; worked cases.
#include <omp.h>

#include <set>

#include "cost_builder_scenes.h"

namespace {

constexpr uint32_t kMiB = 1u << 20;

struct Built {
  KDCostContext* context = nullptr;
  qelStatus status;
  Built(const Scene& s, const KDCostSettings& settings)
      : status(localKDBuildInMemory(s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                    s.TriangleCount(), settings, &context)) {}
  ~Built() {
    if (context) localKDReleaseContext(context);
  }
  const KDBuildNode& Root() const { return *context->root; }
};

void ExpectLeavesComplete(const Scene& s, const KDBuildNode& root, const std::array<float, 6>& rootBox) {
  int failures = 0;
  ForEachLeaf(root, rootBox, 0, [&](const KDBuildNode& leaf, const std::array<float, 6>& box, int) {
    const std::vector<int32_t> list = leaf.value.count ? LeafList(leaf) : std::vector<int32_t>();
    const std::set<int32_t> listed(list.begin(), list.end());
    EXPECT_EQ(listed.size(), list.size()) << "a triangle listed twice in one leaf";
    const double margin = 1e-4;  // rounding of clipped points, scenes of size 10
    for (int32_t t = 0; t < s.TriangleCount() && failures < 5; ++t) {
      const float* a = s.Vertex(s.triangles[4 * t]);
      const float* b = s.Vertex(s.triangles[4 * t + 1]);
      const float* c = s.Vertex(s.triangles[4 * t + 2]);
      const bool inside = listed.count(t) != 0;
      if (inside ? !Overlaps(a, b, c, box, margin) : Overlaps(a, b, c, box, -margin)) {
        ADD_FAILURE() << "triangle " << t << (inside ? " listed in a leaf it does not touch"
                                                     : " enters a leaf's box but is not listed");
        ++failures;
      }
    }
  });
}

TEST(CostBuilderTree, LeavesListExactlyTheTrianglesInTheirBoxes) {
  uint64_t seed = 11;
  for (int32_t count : {1, 5, 60, 200, 900}) {  // up to the parallel search and the radix sort
    for (int variant = 0; variant < 3; ++variant, ++seed) {
      const Scene s = RandomScene(seed, count);
      const float clip[6] = {2.0f, 1.5f, 3.0f, 8.0f, 9.5f, 7.25f};
      const KDCostSettings settings{uint32_t(variant == 2 ? 6 : 50), variant == 1 ? 1.0f : 0.3f,
                                    200 * kMiB, variant == 1 ? clip : nullptr};
      Built built(s, settings);
      ASSERT_EQ(built.status, StatusOk) << count << "/" << variant;
      std::array<float, 6> box;
      if (settings.clipBox)
        std::copy(clip, clip + 6, box.begin());
      else
        box = s.Bounds();
      SCOPED_TRACE("count " + std::to_string(count) + " variant " + std::to_string(variant));
      ExpectLeavesComplete(s, built.Root(), box);
      ForEachLeaf(built.Root(), box, 0, [&](const KDBuildNode&, const std::array<float, 6>&, int depth) {
        EXPECT_LE(depth, int(settings.depthLimit));
      });
    }
  }
}

TEST(CostBuilderTree, SameTreeWhetherTheSearchGetsATeamOrNot) {
  const Scene s = RandomScene(5, 2500);
  const KDCostSettings settings{40, 0.7f, 300 * kMiB, nullptr};
  std::vector<int64_t> withTeams, withoutTeams;
  {
    Built built(s, settings);
    ASSERT_EQ(built.status, StatusOk);
    Flatten(built.Root(), &withTeams);
  }
  // Inside an enclosing parallel region the search's regions get a single
  // thread each: the same body runs on the caller.
  int innerTeam = 0;
#pragma omp parallel num_threads(2)
  {
#pragma omp master
    {
#pragma omp parallel num_threads(3)
      innerTeam = omp_get_num_threads();
      Built built(s, settings);
      if (built.status == StatusOk) Flatten(built.Root(), &withoutTeams);
    }
  }
  if (omp_get_max_active_levels() <= 1) {
    EXPECT_EQ(innerTeam, 1);
  }
  EXPECT_GT(withTeams.size(), 100u);
  EXPECT_EQ(withTeams, withoutTeams);
}

TEST(CostBuilderTree, DepthLimitZeroListsEveryTriangleInOrder) {
  Scene s = RandomScene(4, 300);
  s.AddVertex(5, 5, 5);  // and a triangle of three equal vertices, flat on every axis
  s.AddTriangle(s.VertexCount() - 1, s.VertexCount() - 1, s.VertexCount() - 1);
  Built built(s, KDCostSettings{0, 1.0f, 100 * kMiB, nullptr});
  ASSERT_EQ(built.status, StatusOk);
  ASSERT_EQ(built.Root().kind, kKDLeafKind);
  std::vector<int32_t> all(size_t(s.TriangleCount()));
  for (size_t t = 0; t < all.size(); ++t) all[t] = int32_t(t);
  EXPECT_EQ(LeafList(built.Root()), all);
}

TEST(CostBuilderTree, TrianglesOnOrTouchingTheSplitPlane) {
  // Two triangles flat on x = 0 against a wall of others from x = 0.5: the
  // plane x = 0 takes them off with the bonus and they go where the search
  // counted them.
  Scene flat;
  flat.AddTriangleAt({0, 0, 0, 0, 4, 0, 0, 0, 4});
  flat.AddTriangleAt({0, 4, 4, 0, 4, 0, 0, 0, 4});
  for (int k = 0; k < 40; ++k) flat.AddTriangleAt({0.5f + 0.2f * k, 0, 0, 10, 4, 1, 0.7f + 0.2f * k, 1, 4});
  const float clip[6] = {0, 0, 0, 10, 4, 4};
  Built a(flat, KDCostSettings{1, 1.0f, 100 * kMiB, clip});
  ASSERT_EQ(a.status, StatusOk);
  ASSERT_EQ(a.Root().kind, 0);
  EXPECT_EQ(a.Root().value.split, 0.0f);
  const KDBuildNode* pair = static_cast<const KDBuildNode*>(a.Root().target);
  EXPECT_EQ(LeafList(pair[0]), (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(pair[1].value.count, 40);

  // A triangle with an edge on the plane x = 5 from below stays whole below.
  Scene touching;
  touching.AddTriangleAt({1, 0, 0, 5, 0, 0, 5, 4, 4});
  for (int k = 0; k < 30; ++k) touching.AddTriangleAt({5, 0.1f * k, 0, 10, 0.1f * k + 1, 1, 7, 0, 4});
  Built b(touching, KDCostSettings{1, 1.0f, 100 * kMiB, nullptr});
  ASSERT_EQ(b.status, StatusOk);
  ASSERT_EQ(b.Root().kind, 0);
  ASSERT_EQ(b.Root().value.split, 5.0f);
  pair = static_cast<const KDBuildNode*>(b.Root().target);
  EXPECT_EQ(LeafList(pair[0]), std::vector<int32_t>{0});
  EXPECT_EQ(pair[1].value.count, 30);
}

}  // namespace
