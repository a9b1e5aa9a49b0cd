// Each shading export, called through the library's entry, against its
// scalar model bit for bit over seeded random data: every array at every
// offset, lengths around multiples of 4 and below 1, masks all active, all
// masked out, mixed and mixed by block.
#include <gtest/gtest.h>

#include "shading_cases.h"

namespace {

using shading_test::kExports;

class ShadingPaths : public ::testing::TestWithParam<int> {};

TEST_P(ShadingPaths, MatchModelBitForBit) {
  const shading_test::Export& e = kExports[GetParam()];
  EXPECT_TRUE(shading_test::MatchesModel(e, e.exported, 0x5AD1 + GetParam()));
}

INSTANTIATE_TEST_SUITE_P(AllSix, ShadingPaths, ::testing::Range(0, 6),
                         [](const ::testing::TestParamInfo<int>& info) {
                           return std::string(kExports[info.param].name);
                         });

}  // namespace
