// The in-memory tree of the cost-driven builder on random scenes: every
// triangle that enters a leaf's box is listed in that leaf and no other
// triangle is; the tree does not depend on the threads the search gets.
#include <omp.h>

#include <algorithm>
#include <set>

#include "cost_builder_scenes.h"
#include "standin_core.h"

namespace {

constexpr uint32_t kMiB = 1u << 20;

struct Built {
  KDCostContext* context = nullptr;
  qelStatus status = StatusOk;
  ~Built() {
    if (context) localKDReleaseContext(context);
  }
};

void Build(const Scene& s, const KDCostSettings& settings, Built* out) {
  out->status = localKDBuildInMemory(s.vertices.data(), s.triangles.data(), s.VertexCount(),
                                     s.TriangleCount(), settings, &out->context);
}

std::array<float, 6> SceneBox(const Scene& s) {
  std::array<float, 6> box = {INFINITY, INFINITY, INFINITY, -INFINITY, -INFINITY, -INFINITY};
  for (int32_t v = 0; v < s.VertexCount(); ++v)
    for (int a = 0; a < 3; ++a) {
      box[a] = std::min(box[a], s.Vertex(v)[a]);
      box[a + 3] = std::max(box[a + 3], s.Vertex(v)[a]);
    }
  return box;
}

// Every triangle that reaches into a leaf's box (shrunk by a rounding
// margin) is in its list; every listed one touches the box (grown by it).
void ExpectLeavesComplete(const Scene& s, const KDBuildNode& root, const std::array<float, 6>& rootBox,
                          const std::string& what) {
  int leaves = 0, failures = 0;
  std::vector<std::array<float, 6>> bounds(size_t(s.TriangleCount()));
  for (int32_t t = 0; t < s.TriangleCount(); ++t) {
    for (int a = 0; a < 3; ++a) {
      const float p = s.Vertex(s.triangles[4 * t])[a], q = s.Vertex(s.triangles[4 * t + 1])[a],
                  r = s.Vertex(s.triangles[4 * t + 2])[a];
      bounds[t][a] = std::min({p, q, r});
      bounds[t][a + 3] = std::max({p, q, r});
    }
  }
  ForEachLeaf(root, rootBox, 0, [&](const KDBuildNode& leaf, const std::array<float, 6>& box, int) {
    ++leaves;
    std::vector<int32_t> list = leaf.value.count ? LeafList(leaf) : std::vector<int32_t>();
    std::set<int32_t> listed(list.begin(), list.end());
    EXPECT_EQ(listed.size(), list.size()) << what << ": a triangle listed twice in one leaf";
    double scale = 0;
    for (int a = 0; a < 3; ++a) scale = std::max({scale, std::fabs(double(box[a])), std::fabs(double(box[a + 3]))});
    const double margin = 1e-5 * std::max(scale, 1.0);
    for (int32_t t = 0; t < s.TriangleCount() && failures < 5; ++t) {
      const bool inside = listed.count(t) != 0;
      bool apart = false;
      for (int k = 0; k < 3; ++k)
        apart = apart || bounds[t][k] > box[k + 3] + 2 * margin || bounds[t][k + 3] < box[k] - 2 * margin;
      if (apart && !inside) continue;
      const float* a = s.Vertex(s.triangles[4 * t]);
      const float* b = s.Vertex(s.triangles[4 * t + 1]);
      const float* c = s.Vertex(s.triangles[4 * t + 2]);
      if (!inside && Overlaps(a, b, c, box, -margin)) {
        ADD_FAILURE() << what << ": triangle " << t << " enters a leaf's box but is not listed";
        ++failures;
      }
      if (inside && !Overlaps(a, b, c, box, margin)) {
        ADD_FAILURE() << what << ": triangle " << t << " is listed in a leaf it does not touch";
        ++failures;
      }
    }
  });
  EXPECT_GT(leaves, 0);
}

TEST(CostBuilderTree, LeavesListExactlyTheTrianglesInTheirBoxes) {
  const int32_t counts[] = {1, 5, 60, 200, 900};
  uint64_t seed = 11;
  for (int32_t count : counts) {
    for (int variant = 0; variant < 3; ++variant, ++seed) {
      Scene s = RandomScene(seed, count);
      const float clip[6] = {2.0f, 1.5f, 3.0f, 8.0f, 9.5f, 7.25f};
      KDCostSettings settings{uint32_t(variant == 2 ? 6 : 50), variant == 1 ? 1.0f : 0.3f,
                              200 * kMiB, variant == 1 ? clip : nullptr};
      Built built;
      Build(s, settings, &built);
      ASSERT_EQ(built.status, StatusOk) << count << "/" << variant;
      std::array<float, 6> box;
      if (settings.clipBox)
        std::copy(clip, clip + 6, box.begin());
      else
        box = SceneBox(s);
      ExpectLeavesComplete(s, *built.context->root, box,
                           "count " + std::to_string(count) + " variant " + std::to_string(variant));
      // The depth limit holds.
      ForEachLeaf(*built.context->root, box, 0, [&](const KDBuildNode&, const std::array<float, 6>&, int depth) {
        EXPECT_LE(depth, int(settings.depthLimit));
      });
    }
  }
}

TEST(CostBuilderTree, LargeNodesSplitAndCutTriangles) {
  // Enough triangles for the parallel search and the radix sort, and some
  // spanning the whole scene so that they are cut at many planes.
  Scene s = RandomScene(99, 1000);
  KDCostSettings settings{50, 1.0f, 300 * kMiB, nullptr};
  Built built;
  Build(s, settings, &built);
  ASSERT_EQ(built.status, StatusOk);
  size_t references = 0, leaves = 0;
  ForEachLeaf(*built.context->root, SceneBox(s), 0, [&](const KDBuildNode& leaf, const std::array<float, 6>&, int) {
    references += size_t(leaf.value.count);
    ++leaves;
  });
  EXPECT_GT(leaves, 50u);
  EXPECT_GT(references, size_t(s.TriangleCount()));  // straddling triangles are in several leaves
  ExpectLeavesComplete(s, *built.context->root, SceneBox(s), "1000 triangles");
}

TEST(CostBuilderTree, SameTreeWhetherTheSearchGetsATeamOrNot) {
  Scene s = RandomScene(5, 2500);
  KDCostSettings settings{40, 0.7f, 300 * kMiB, nullptr};
  std::vector<int64_t> withTeams, withoutTeams;
  {
    Built built;
    Build(s, settings, &built);
    ASSERT_EQ(built.status, StatusOk);
    Flatten(*built.context->root, &withTeams);
  }
  // Inside an enclosing parallel region the runtime gives the search's
  // regions a single thread each: the same body runs on the caller.
  int innerTeam = 0;
#pragma omp parallel num_threads(2)
  {
#pragma omp master
    {
#pragma omp parallel num_threads(3)
      innerTeam = omp_get_num_threads();
      Built built;
      Build(s, settings, &built);
      if (built.status == StatusOk) Flatten(*built.context->root, &withoutTeams);
    }
  }
  if (omp_get_max_active_levels() <= 1) {
    EXPECT_EQ(innerTeam, 1);
  }
  EXPECT_GT(withTeams.size(), 100u);
  EXPECT_EQ(withTeams, withoutTeams);
}

TEST(CostBuilderTree, WorkedCases) {
  // An empty scene: the root is an empty leaf.
  {
    Scene s;
    s.AddVertex(1, 2, 3);  // read for the bounding box, though unused
    Built built;
    Build(s, KDCostSettings{50, 0.5f, 49 * kMiB, nullptr}, &built);
    ASSERT_EQ(built.status, StatusOk);
    EXPECT_EQ(built.context->root->kind, kKDLeafKind);
    EXPECT_EQ(built.context->root->value.count, 0);
  }
  // All triangles outside the clip box: nothing is referenced.
  {
    Scene s = RandomScene(3, 50);
    const float clip[6] = {20, 20, 20, 30, 30, 30};
    Built built;
    Build(s, KDCostSettings{50, 0.5f, 100 * kMiB, clip}, &built);
    ASSERT_EQ(built.status, StatusOk);
    EXPECT_EQ(built.context->root->kind, kKDLeafKind);
    EXPECT_EQ(built.context->root->value.count, 0);
  }
  // Depth limit 0: one leaf of every triangle in the caller's order, a
  // triangle with three equal vertices included.
  {
    Scene s = RandomScene(4, 300);
    s.AddVertex(5, 5, 5);
    const int32_t point = s.VertexCount() - 1;
    s.AddTriangle(point, point, point);
    Built built;
    Build(s, KDCostSettings{0, 1.0f, 100 * kMiB, nullptr}, &built);
    ASSERT_EQ(built.status, StatusOk);
    ASSERT_EQ(built.context->root->kind, kKDLeafKind);
    std::vector<int32_t> want(size_t(s.TriangleCount()));
    for (size_t t = 0; t < want.size(); ++t) want[t] = int32_t(t);
    EXPECT_EQ(LeafList(*built.context->root), want);
  }
}

TEST(CostBuilderTree, FlatTrianglesOnASplitPlaneFollowTheDecision) {
  // Two triangles flat on the plane x = 0 of a box that reaches from -1 to
  // 10, a wall of others at x = 0..0.5: the plane at 0 separates the flat
  // pair from the rest with the bonus, and they go where the search counted
  // them, never both ways.
  Scene s;
  auto add = [&](std::array<float, 9> p) {
    const int32_t v = s.VertexCount();
    s.AddVertex(p[0], p[1], p[2]);
    s.AddVertex(p[3], p[4], p[5]);
    s.AddVertex(p[6], p[7], p[8]);
    s.AddTriangle(v, v + 1, v + 2);
  };
  add({0, 0, 0, 0, 4, 0, 0, 0, 4});
  add({0, 4, 4, 0, 4, 0, 0, 0, 4});
  for (int k = 0; k < 40; ++k) add({0.5f + 0.2f * k, 0, 0, 10.0f, 4, 1, 0.7f + 0.2f * k, 1, 4});
  const float clip[6] = {0, 0, 0, 10, 4, 4};
  Built built;
  Build(s, KDCostSettings{1, 1.0f, 100 * kMiB, clip}, &built);
  ASSERT_EQ(built.status, StatusOk);
  const KDBuildNode& root = *built.context->root;
  ASSERT_EQ(root.kind, 0);
  EXPECT_EQ(root.value.split, 0.0f);
  const KDBuildNode* pair = static_cast<const KDBuildNode*>(root.target);
  EXPECT_EQ(LeafList(pair[0]), (std::vector<int32_t>{0, 1}));
  EXPECT_EQ(pair[1].value.count, 40);
}

TEST(CostBuilderTree, ATriangleTouchingThePlaneFromBelowIsNotCut) {
  // Splitting at x = 5 (forced by a cluster above), a triangle whose edge
  // lies on x = 5 from below stays whole on the low side.
  Scene s;
  auto add = [&](std::array<float, 9> p) {
    const int32_t v = s.VertexCount();
    for (int k = 0; k < 3; ++k) s.AddVertex(p[3 * k], p[3 * k + 1], p[3 * k + 2]);
    s.AddTriangle(v, v + 1, v + 2);
  };
  add({1, 0, 0, 5, 0, 0, 5, 4, 4});
  for (int k = 0; k < 30; ++k) add({5, 0.1f * k, 0, 10, 0.1f * k + 1, 1, 7, 0, 4});
  Built built;
  Build(s, KDCostSettings{1, 1.0f, 100 * kMiB, nullptr}, &built);
  ASSERT_EQ(built.status, StatusOk);
  const KDBuildNode& root = *built.context->root;
  ASSERT_EQ(root.kind, 0);
  ASSERT_EQ(root.value.split, 5.0f);
  const KDBuildNode* pair = static_cast<const KDBuildNode*>(root.target);
  EXPECT_EQ(LeafList(pair[0]), std::vector<int32_t>{0});
  const std::vector<int32_t> above = LeafList(pair[1]);
  EXPECT_EQ(std::count(above.begin(), above.end(), 0), 0);
  EXPECT_EQ(above.size(), 30u);
}

}  // namespace
