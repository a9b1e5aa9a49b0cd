// The bit tricks of the packet walk against plain loops: the byte-per-kernel
// stack depths and the AVX-512 kernel masks (integer work only, so these
// run on any processor).
#include <gtest/gtest.h>

#include <cstdint>

#include "raycast/lanes_avx512.h"
#include "raycast/walk_packet_rows.h"

namespace {

using packet_walk_detail::KernelBytes;
using packet_walk_detail::KernelsWithNonzeroByte;

TEST(PacketWalkBits, DepthBytesCountEachKernelApart) {
  for (int32_t set = 0; set < 16; ++set) {
    uint32_t expected = 0;
    for (int32_t q = 0; q < 4; ++q) expected |= static_cast<uint32_t>((set >> q) & 1) << (8 * q);
    EXPECT_EQ(KernelBytes(set), expected) << set;
  }
  // Every byte value that a stack of 50 entries can reach, in each kernel,
  // with the other kernels' bytes at their extremes.
  for (uint32_t depth = 0; depth <= 255; ++depth) {
    for (int32_t q = 0; q < 4; ++q) {
      for (uint32_t others : {0u, 1u, 50u, 255u}) {
        uint32_t counts = 0;
        int32_t expected = 0;
        for (int32_t r = 0; r < 4; ++r) {
          const uint32_t byte = r == q ? depth : others;
          counts |= byte << (8 * r);
          expected |= (byte != 0 ? 1 : 0) << r;
        }
        ASSERT_EQ(KernelsWithNonzeroByte(counts), expected) << depth << " " << q << " " << others;
      }
    }
  }
}

TEST(PacketWalkBits, Avx512KernelMasksMatchTheirLanes) {
  for (int32_t kernels = 0; kernels < 16; ++kernels) {
    int32_t lanes = 0;
    for (int32_t q = 0; q < 4; ++q)
      if ((kernels >> q) & 1) lanes |= 0xF << (4 * q);
    EXPECT_EQ(Avx512Lanes::KernelLaneBits(kernels), lanes) << kernels;
  }
  for (int32_t laneBits = 0; laneBits < 0x10000; ++laneBits) {
    int32_t kernels = 0;
    for (int32_t q = 0; q < 4; ++q) kernels |= (((laneBits >> (4 * q)) & 0xF) != 0 ? 1 : 0) << q;
    ASSERT_EQ(Avx512Lanes::KernelsWithAnyLane(laneBits), kernels) << laneBits;
  }
}

}  // namespace
