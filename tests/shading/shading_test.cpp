// The shading exports through the library's entry: against their models
// over seeded random data (which also covers the blocked path's split and
// every zero divisor), and at the edges the random data cannot reach
// (unchecked pointers, NaN payloads, stores that must not happen).
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "shading_harness.h"

namespace {

using qt::Bits;
using qt::FromBits;
using shading_test::kExports;
using Floats = qt::GuardedBuffer<float>;
using Words = qt::GuardedBuffer<int32_t>;

class ShadingPaths : public ::testing::TestWithParam<int> {};

TEST_P(ShadingPaths, MatchModelBitForBit) {
  const shading_test::Export& e = kExports[GetParam()];
  EXPECT_TRUE(shading_test::MatchesModel(e, e.exported, 0x5AD1 + GetParam()));
}

INSTANTIATE_TEST_SUITE_P(AllSix, ShadingPaths, ::testing::Range(0, 6),
                         [](const ::testing::TestParamInfo<int>& info) { return kExports[info.param].name; });

TEST(ShadingEdges, NullChecksComeFirstAndCoverOnlyTheListedPointers) {
  Floats a(4), d(4);
  Words mask(4);
  const float coef[3] = {1, 1, 1};
  const float* in3[3] = {a.data(), a.data(), a.data()};
  float* out3[3] = {a.data(), a.data(), a.data()};
  const float* noIn[3] = {nullptr, nullptr, nullptr};
  float* noOut[3] = {nullptr, nullptr, nullptr};
  const int32_t* m = mask.data();
  float* f = a.data();
  const qelStatus kNull = StatusNullPointer;
  const qelStatus statuses[][2] = {
      // Checked pointers fail even with a length of 0.
      {qelrAddMulMul_32f_AC1P3IM(coef, nullptr, in3, m, out3, 0), kNull},
      {qelrAddMulMul_32f_AC1P3IM(coef, f, nullptr, m, out3, 0), kNull},
      {qelrAddMulMul_32f_AC1P3IM(coef, f, in3, nullptr, out3, 0), kNull},
      {qelrAddMulMul_32f_AC1P3IM(coef, f, in3, m, nullptr, 0), kNull},
      {qelrDiv_32f_C1IM(nullptr, m, f, 0), kNull},
      {qelrDiv_32f_C1IM(f, m, nullptr, 0), kNull},
      {qelrDotChangeNorm_32f_IM(nullptr, m, out3, f, 0), kNull},
      {qelrDotChangeNorm_32f_IM(in3, nullptr, out3, f, 0), kNull},
      {qelrDotChangeNorm_32f_IM(in3, m, nullptr, f, 0), kNull},
      {qelrDotChangeNorm_32f_IM(in3, m, out3, nullptr, 0), kNull},
      {qelrDot_32f_P3C1M(nullptr, in3, m, f, 0), kNull},
      {qelrDot_32f_P3C1M(in3, nullptr, m, f, 0), kNull},
      {qelrDot_32f_P3C1M(in3, in3, nullptr, f, 0), kNull},
      {qelrDot_32f_P3C1M(in3, in3, m, nullptr, 0), kNull},
      {qelrMul_32f_C1P3IM(nullptr, m, out3, 0), kNull},
      {qelrMul_32f_C1P3IM(f, nullptr, out3, 0), kNull},
      {qelrMul_32f_C1P3IM(f, m, nullptr, 0), kNull},
      // Unchecked pointers (coef, Div's mask, all of Mul C1IM, the planes
      // themselves) pass when nothing is to be done.
      {qelrAddMulMul_32f_AC1P3IM(nullptr, f, in3, m, out3, 0), StatusOk},
      {qelrDiv_32f_C1IM(f, nullptr, f, 0), StatusOk},
      {qelrMul_32f_C1IM(nullptr, nullptr, nullptr, 0), StatusOk},
      {qelrMul_32f_C1IM(nullptr, nullptr, nullptr, -4), StatusOk},
      {qelrDot_32f_P3C1M(noIn, noIn, m, f, 0), StatusOk},
      {qelrMul_32f_C1P3IM(f, m, noOut, -3), StatusOk},
      // A failed check writes nothing.
      {qelrDiv_32f_C1IM(nullptr, m, (d[0] = d[3] = 5.0f, d.data()), 4), kNull},
  };
  for (size_t i = 0; i < sizeof statuses / sizeof statuses[0]; ++i)
    EXPECT_EQ(statuses[i][0], statuses[i][1]) << "call " << i;
  EXPECT_EQ(d[0], 5.0f);
  EXPECT_EQ(d[3], 5.0f);
}

TEST(ShadingEdges, DivisionNaNPayloads) {
  // A NaN over zero gives the default NaN; a NaN divisor divides normally.
  Floats num(3), den(3);
  Words mask(3);
  num[0] = FromBits(0x7FC01234u), den[0] = -0.0f, mask[0] = 0;
  num[1] = 1.0f, den[1] = FromBits(0x7FC01234u), mask[1] = 3;
  num[2] = -1.0f, den[2] = -0.0f, mask[2] = INT32_MAX;  // the zero's sign is ignored
  EXPECT_EQ(qelrDiv_32f_C1IM(den.data(), mask.data(), num.data(), 3), StatusDivByZero);
  EXPECT_EQ(Bits(num[0]), 0xFFC00000u);
  EXPECT_EQ(Bits(num[1]), 0x7FC01234u);
  EXPECT_EQ(Bits(num[2]), 0xFF800000u);
}

TEST(ShadingEdges, SignalingNaNNormals) {
  // Elements 0 and 1 active (d is NaN, the factor +1.0), 2 and 3 masked out.
  // The scalar path multiplies by the factor and quiets the NaN; the aligned
  // path flips bits, and nothing touches a masked-out normal.
  for (size_t offset : {0, 4}) {
    Floats s(4, offset), nx(4, offset), n(4, offset), dot(4, offset);
    Words mask(4, offset);
    for (int i = 0; i < 4; ++i) s[i] = 1, nx[i] = FromBits(0x7F800001u), n[i] = 1, mask[i] = i < 2 ? 0 : -1 - i;
    const float* src[3] = {s.data(), s.data(), s.data()};
    float* normals[3] = {nx.data(), n.data(), n.data()};
    ASSERT_EQ(qelrDotChangeNorm_32f_IM(src, mask.data(), normals, dot.data(), 4), StatusOk);
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(Bits(nx[i]), i >= 2 || offset == 0 ? 0x7F800001u : 0x7FC00001u) << offset << " " << i;
  }
}

// n floats of 1.5 of which the first `writable` lie on a writable page and
// the rest on a read-only one, where a store faults.
struct PartlyReadOnly {
  long page = sysconf(_SC_PAGESIZE);
  char* base = static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  float* data;
  PartlyReadOnly(int writable, int n) : data(reinterpret_cast<float*>(base + page) - writable) {
    for (int i = 0; i < n; ++i) data[i] = 1.5f;
    mprotect(base + page, page, PROT_READ);
  }
  ~PartlyReadOnly() { munmap(base, 2 * page); }
};

TEST(ShadingEdges, AlignedPathsLeaveBlocksOfFourMaskedOutElementsUnstored) {
  for (int writable : {4, 0}) {  // one block of four masked out, then all
    PartlyReadOnly x(writable, 8), y(writable, 8), z(writable, 8);
    Floats s(8), dot(8);
    Words mask(8);
    for (int i = 0; i < 8; ++i) s[i] = 1.0f, mask[i] = i < writable ? 0 : -1;
    const float* ones[3] = {s.data(), s.data(), s.data()};
    float* normals[3] = {x.data, y.data, z.data};
    ASSERT_EQ(qelrDotChangeNorm_32f_IM(ones, mask.data(), normals, dot.data(), 8), StatusOk);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(Bits(dot[i]), i < writable ? Bits(-4.5f) : 0u);
    const float coef[3] = {1, 1, 1};
    ASSERT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, s.data(), ones, mask.data(), normals, 8), StatusOk);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(x.data[i], i < writable ? -0.5f : 1.5f);
  }
}

}  // namespace
