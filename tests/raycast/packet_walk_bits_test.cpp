// The bit tricks of the packet walk against plain loops: the AVX-512
// kernel sets (integer work only, so this runs on any processor) and the
// grouping of a tile's rays by octant.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "raycast/lanes_avx512.h"
#include "raycast/packet_tiles.h"
#include "test_util.h"

namespace {

// A set of kernels is held as all lanes of its kernels; the set touched by
// any lane mask of sixteen lanes.
TEST(PacketWalkBits, Avx512KernelsOfLanesSpreadsEachTouchedKernel) {
  for (int32_t laneBits = 0; laneBits < 0x10000; ++laneBits) {
    int32_t kernels = 0;
    for (int32_t q = 0; q < 4; ++q)
      if (((laneBits >> (4 * q)) & 0xF) != 0) kernels |= 0xF << (4 * q);
    ASSERT_EQ(Avx512Lanes::KernelsOfLanes(laneBits), kernels) << laneBits;
  }
}

// Each ray's code from its own three signs (-0.0 and NaN are not below
// 0.0), in tiles cut from a wider block, with directions of every kind and
// tiles of one code, of two, and of all eight.
TEST(PacketWalkBits, TileOctantsGroupEachRayByItsOwnSigns) {
  qt::Rng rng(61);
  constexpr int32_t kWidth = 12, kHeight = 8;
  for (int round = 0; round < 2000; ++round) {
    alignas(16) float planes[3][kWidth * kHeight];
    const int32_t mode = round % 3;
    for (auto& plane : planes) {
      const float sign = rng.Chance(0.5) ? 1.0f : -1.0f;
      for (float& d : plane) {
        d = mode == 0 ? rng.Special() : mode == 1 ? sign * rng.Uniform(0.0f, 2.0f) : rng.Uniform(-1.0f, 1.0f);
        if (mode == 1 && rng.Chance(0.05)) d = rng.Chance(0.5) ? -0.0f : qt::FromBits(0xFFC00000u);
      }
    }
    const float* direction[3] = {planes[0], planes[1], planes[2]};
    const int32_t tileRow = 4 * rng.Int(0, kHeight / 4 - 1), tileCol = 4 * rng.Int(0, kWidth / 4 - 1);
    const int64_t tileStart = static_cast<int64_t>(tileRow) * kWidth + tileCol;
    const TileOctants g = GroupTileByOctant(direction, tileStart, kWidth);
    int32_t expected[8] = {};
    for (int32_t row = 0; row < 4; ++row) {
      for (int32_t lane = 0; lane < 4; ++lane) {
        const int64_t i = tileStart + row * kWidth + lane;
        const int32_t code = (planes[0][i] < 0.0f ? 1 : 0) | (planes[1][i] < 0.0f ? 2 : 0) | (planes[2][i] < 0.0f ? 4 : 0);
        expected[code] |= 1 << (4 * row + lane);
      }
    }
    int32_t lowest = 8, highest = -1;
    for (int32_t code = 0; code < 8; ++code) {
      ASSERT_EQ(g.lanes[code], expected[code]) << "round " << round << " code " << code;
      if (expected[code] != 0) lowest = std::min(lowest, code), highest = std::max(highest, code);
    }
    ASSERT_EQ(g.lowest, lowest) << "round " << round;
    ASSERT_EQ(g.highest, highest) << "round " << round;
  }
}

}  // namespace
