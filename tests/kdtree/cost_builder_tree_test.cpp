// The in-memory tree of the cost-driven builder: on random scenes every
// triangle that enters a leaf's box is listed there and no other is; the
// tree does not depend on the threads the search gets; worked cases; and
// failures in the middle of the walk give back every block.
#include <omp.h>

#include <limits>
#include <set>

#include "cost_builder_scenes.h"
#include "standin_core.h"

namespace {

constexpr uint32_t kMiB = 1u << 20;

// A build that hands back a context only on success, and leaves no block
// behind once released.
struct Built {
  const int64_t live = standinLiveBlocks();
  KDCostContext* context = nullptr;
  qelStatus status;
  Built(const Scene& s, const KDCostSettings& settings)
      : status(localKDBuildInMemory(s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                    s.TriangleCount(), settings, &context)) {
    EXPECT_EQ(context != nullptr, status == StatusOk);
  }
  ~Built() {
    if (context) localKDReleaseContext(context);
    EXPECT_EQ(standinLiveBlocks(), live);
  }
  const KDBuildNode& Root() const { return *context->root; }
};

TEST(CostBuilderTree, LeavesListExactlyTheTrianglesInTheirBoxes) {
  uint64_t seed = 11;
  const std::array<float, 6> clip = {2.0f, 1.5f, 3.0f, 8.0f, 9.5f, 7.25f};
  for (int32_t count : {1, 5, 60, 200, 900}) {  // up to the parallel search and the radix sort
    for (int variant = 0; variant < 3; ++variant, ++seed) {
      SCOPED_TRACE("count " + std::to_string(count) + " variant " + std::to_string(variant));
      const Scene s = RandomScene(seed, count);
      const int depthLimit = variant == 2 ? 6 : 50;
      Built built(s, KDCostSettings{uint32_t(depthLimit), variant == 1 ? 1.0f : 0.3f, 200 * kMiB,
                                    variant == 1 ? clip.data() : nullptr});
      ASSERT_EQ(built.status, StatusOk);
      int failures = 0;
      ForEachLeaf(built.Root(), variant == 1 ? clip : s.Bounds(), 0,
                  [&](const KDBuildNode& leaf, const std::array<float, 6>& box, int depth) {
        EXPECT_LE(depth, depthLimit);
        const std::vector<int32_t> list = leaf.value.count ? LeafList(leaf) : std::vector<int32_t>();
        const std::set<int32_t> listed(list.begin(), list.end());
        EXPECT_EQ(listed.size(), list.size()) << "a triangle listed twice in one leaf";
        const double margin = 1e-4;  // rounding of clipped points, scenes of size 10
        for (int32_t t = 0; t < s.TriangleCount() && failures < 5; ++t) {
          const int32_t* corner = &s.triangles[4 * t];
          const bool inside = listed.count(t) != 0;
          if (inside != Overlaps(s.Vertex(corner[0]), s.Vertex(corner[1]), s.Vertex(corner[2]), box,
                                 inside ? margin : -margin)) {
            ADD_FAILURE() << "triangle " << t << (inside ? " listed in a leaf it does not touch"
                                                         : " enters a leaf's box but is not listed");
            ++failures;
          }
        }
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

TEST(CostBuilderTree, TrianglesOnOrTouchingTheSplitPlane) {
  // Two triangles flat on x = 0 against a wall of others from x = 0.5: the
  // plane x = 0 takes them off with the bonus and they go where the search
  // counted them.
  Scene flat;
  flat.AddTriangleAt({0, 0, 0, 0, 4, 0, 0, 0, 4});
  flat.AddTriangleAt({0, 4, 4, 0, 4, 0, 0, 0, 4});
  for (int k = 0; k < 40; ++k) flat.AddTriangleAt({0.5f + 0.2f * k, 0, 0, 10, 4, 1, 0.7f + 0.2f * k, 1, 4});
  // A triangle with an edge on the plane x = 5 from below stays whole below.
  Scene touching;
  touching.AddTriangleAt({1, 0, 0, 5, 0, 0, 5, 4, 4});
  for (int k = 0; k < 30; ++k) touching.AddTriangleAt({5, 0.1f * k, 0, 10, 0.1f * k + 1, 1, 7, 0, 4});
  const float clip[6] = {0, 0, 0, 10, 4, 4};
  const struct { const Scene* scene; const float* clip; float split; std::vector<int32_t> below; int32_t above; }
      cases[] = {{&flat, clip, 0.0f, {0, 1}, 40}, {&touching, nullptr, 5.0f, {0}, 30}};
  for (const auto& c : cases) {
    Built built(*c.scene, KDCostSettings{1, 1.0f, 100 * kMiB, c.clip});
    ASSERT_EQ(built.status, StatusOk);
    ASSERT_EQ(built.Root().kind, 0);
    EXPECT_EQ(built.Root().value.split, c.split);
    const KDBuildNode* pair = static_cast<const KDBuildNode*>(built.Root().target);
    EXPECT_EQ(LeafList(pair[0]), c.below);
    EXPECT_EQ(pair[1].value.count, c.above);
  }
}

TEST(CostBuilderMemory, BudgetRunningOutAfterSplitsReleasesEverything) {
  // Two chunks: the polygon arrays and the node pairs fit, the first leaf
  // list does not, with frames still waiting on the stack.
  const Scene s = RandomScene(8, 400);
  EXPECT_EQ(Built(s, KDCostSettings{50, 1.0f, 80 * kMiB, nullptr}).status, StatusAllocFailed);
  EXPECT_EQ(Built(s, KDCostSettings{50, 1.0f, 81 * kMiB, nullptr}).status, StatusOk);
}

TEST(CostBuilderMemory, ASplitThatCannotReproduceItsCountsIsAMismatch) {
  // A NaN in a triangle's first corner (not the array's first vertex, so the
  // box stays finite): the search counts it above every plane, the partition
  // cuts it.  Long in x, so that the root splits on x.
  Scene s = RandomScene(2, 1000);
  for (size_t k = 0; k < s.vertices.size(); k += 3) s.vertices[k] *= 10.0f;
  const int32_t v = s.VertexCount();
  s.AddVertex(std::numeric_limits<float>::quiet_NaN(), 5, 6);
  s.AddVertex(50, 5, 5);
  s.AddVertex(60, 6, 5);
  s.AddTriangle(v, v + 1, v + 2);
  EXPECT_EQ(Built(s, KDCostSettings{50, 1.0f, 100 * kMiB, nullptr}).status, StatusBuildMismatch);
}

}  // namespace
