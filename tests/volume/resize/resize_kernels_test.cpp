// The plane split among a team, seen from inside: every plane goes to
// exactly one thread, and the remainder to the last.
#include <gtest/gtest.h>

#include <vector>

#include "volume/slabs.h"

namespace {

TEST(PlaneSlabs, EveryPlaneOnceRemainderOnTheLast) {
  for (int32_t team = 1; team <= 9; ++team)
    for (int32_t depth = 0; depth <= 40; ++depth) {
      std::vector<int32_t> owner(depth, -1);
      const int32_t slice = depth / team, rest = depth % team;
      for (int32_t t = 0; t < team; ++t) {
        const SlabRange s = SlabOfThread(slice, rest, team, t);
        EXPECT_EQ(s.count, t == team - 1 ? slice + rest : slice);
        for (int32_t z = s.first; z < s.first + s.count; ++z) {
          ASSERT_EQ(owner[z], -1);
          owner[z] = t;
        }
      }
      for (int32_t z = 0; z < depth; ++z) ASSERT_NE(owner[z], -1);
    }
}

TEST(PlaneSlabs, TeamRunsEverySlabOnce) {
  std::vector<int32_t> seen(23, 0);
  int32_t masterRuns = 0;
  RunPlaneSlabs(23, 4, [&] { ++masterRuns; }, [&](int32_t, int32_t, SlabRange s) {
    for (int32_t z = s.first; z < s.first + s.count; ++z) {
#pragma omp atomic
      ++seen[z];
    }
  });
  EXPECT_EQ(masterRuns, 1);
  for (int32_t v : seen) EXPECT_EQ(v, 1);
}

}  // namespace
