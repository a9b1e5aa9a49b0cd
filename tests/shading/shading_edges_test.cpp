// The shading exports at their edges: which pointers are checked, division
// by zero, the strict comparison of the normal flip, what each path does to
// a masked-out element, and where the blocked path splits.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <limits>

#include "qelr.h"
#include "test_util.h"

namespace {

using qt::Bits;
using qt::FromBits;
using Floats = qt::GuardedBuffer<float>;
using Words = qt::GuardedBuffer<int32_t>;

const float kInf = std::numeric_limits<float>::infinity();
const float kDefaultNaN = FromBits(0xFFC00000u);

Floats FloatsOf(std::initializer_list<float> values, size_t offsetBytes = 0) {
  Floats b(values.size(), offsetBytes);
  size_t i = 0;
  for (float v : values) b[i++] = v;
  return b;
}

Words MaskOf(std::initializer_list<int32_t> values, size_t offsetBytes = 0) {
  Words b(values.size(), offsetBytes);
  size_t i = 0;
  for (int32_t v : values) b[i++] = v;
  return b;
}

// ---- Null checks: exactly the listed pointers, before the length ---------

TEST(ShadingEdges, NullChecksComeFirstAndCoverOnlyTheListedPointers) {
  Floats a(4), b(4), c(4), d(4);
  Words mask(4);
  const float coef[3] = {1, 1, 1};
  const float* in3[3] = {a.data(), b.data(), c.data()};
  float* out3[3] = {a.data(), b.data(), c.data()};
  const int32_t* m = mask.data();
  const qelStatus kNull = StatusNullPointer;

  // Checked pointers fail even with a length of 0.
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, nullptr, in3, m, out3, 0), kNull);
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, a.data(), nullptr, m, out3, 0), kNull);
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, a.data(), in3, nullptr, out3, 0), kNull);
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, a.data(), in3, m, nullptr, 0), kNull);
  EXPECT_EQ(qelrDiv_32f_C1IM(nullptr, m, d.data(), 0), kNull);
  EXPECT_EQ(qelrDiv_32f_C1IM(a.data(), m, nullptr, 0), kNull);
  EXPECT_EQ(qelrDotChangeNorm_32f_IM(nullptr, m, out3, d.data(), 0), kNull);
  EXPECT_EQ(qelrDotChangeNorm_32f_IM(in3, nullptr, out3, d.data(), 0), kNull);
  EXPECT_EQ(qelrDotChangeNorm_32f_IM(in3, m, nullptr, d.data(), 0), kNull);
  EXPECT_EQ(qelrDotChangeNorm_32f_IM(in3, m, out3, nullptr, 0), kNull);
  EXPECT_EQ(qelrDot_32f_P3C1M(nullptr, in3, m, d.data(), 0), kNull);
  EXPECT_EQ(qelrDot_32f_P3C1M(in3, nullptr, m, d.data(), 0), kNull);
  EXPECT_EQ(qelrDot_32f_P3C1M(in3, in3, nullptr, d.data(), 0), kNull);
  EXPECT_EQ(qelrDot_32f_P3C1M(in3, in3, m, nullptr, 0), kNull);
  EXPECT_EQ(qelrMul_32f_C1P3IM(nullptr, m, out3, 0), kNull);
  EXPECT_EQ(qelrMul_32f_C1P3IM(a.data(), nullptr, out3, 0), kNull);
  EXPECT_EQ(qelrMul_32f_C1P3IM(a.data(), m, nullptr, 0), kNull);

  // Unchecked pointers pass when nothing is to be done.
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(nullptr, a.data(), in3, m, out3, 0), StatusOk);
  EXPECT_EQ(qelrDiv_32f_C1IM(a.data(), nullptr, d.data(), 0), StatusOk);
  EXPECT_EQ(qelrMul_32f_C1IM(nullptr, nullptr, nullptr, 0), StatusOk);
  EXPECT_EQ(qelrMul_32f_C1IM(nullptr, nullptr, nullptr, -4), StatusOk);
  const float* noPlanes[3] = {nullptr, nullptr, nullptr};
  float* noOutPlanes[3] = {nullptr, nullptr, nullptr};
  EXPECT_EQ(qelrDot_32f_P3C1M(noPlanes, noPlanes, m, d.data(), 0), StatusOk);
  EXPECT_EQ(qelrMul_32f_C1P3IM(a.data(), m, noOutPlanes, -3), StatusOk);

  // A failed check writes nothing.
  for (int i = 0; i < 4; ++i) d[i] = 5.0f;
  EXPECT_EQ(qelrDiv_32f_C1IM(nullptr, m, d.data(), 4), kNull);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(d[i], 5.0f);
}

// ---- Division by zero --------------------------------------------------------

TEST(ShadingEdges, DivisionByAZeroDivisorIgnoresItsSign) {
  struct Case {
    float dividend, divisor;
    uint32_t expected;
    const char* what;
  } cases[] = {
      {0.0f, 0.0f, 0xFFC00000u, "0 / 0 is the default NaN"},
      {-0.0f, 0.0f, 0xFFC00000u, "-0 / 0 as well"},
      {kDefaultNaN, -0.0f, 0xFFC00000u, "NaN / 0 as well"},
      {FromBits(0x7FC01234u), 0.0f, 0xFFC00000u, "any NaN over zero"},
      {-1.0f, -0.0f, 0xFF800000u, "-1 / -0 is -inf: the zero's sign is ignored"},
      {1.0f, -0.0f, 0x7F800000u, "1 / -0 is +inf"},
      {-kInf, 0.0f, 0xFF800000u, "-inf / 0 is -inf"},
      {1e-45f, 0.0f, 0x7F800000u, "a denormal dividend is positive"},
  };
  for (const Case& c : cases) {
    Floats num = FloatsOf({c.dividend}), den = FloatsOf({c.divisor});
    Words mask = MaskOf({0});
    EXPECT_EQ(qelrDiv_32f_C1IM(den.data(), mask.data(), num.data(), 1), StatusDivByZero) << c.what;
    EXPECT_EQ(Bits(num[0]), c.expected) << c.what;
  }
}

TEST(ShadingEdges, DivisionWarnsOnlyForActiveZeroDivisorsAndFinishesTheArray) {
  // A zero divisor in a masked-out element: +0.0 there, and no warning.
  Floats num = FloatsOf({6.0f, -7.0f, 1.0f}), den = FloatsOf({3.0f, 0.0f, FromBits(0x7FC01234u)});
  Words mask = MaskOf({0, -1, 5});
  EXPECT_EQ(qelrDiv_32f_C1IM(den.data(), mask.data(), num.data(), 3), StatusOk);
  EXPECT_EQ(Bits(num[0]), Bits(2.0f));
  EXPECT_EQ(Bits(num[1]), 0u);
  EXPECT_EQ(Bits(num[2]), 0x7FC01234u);  // a NaN divisor divides normally

  // An active one in the middle: the warning, and the rest still divided.
  Floats num2 = FloatsOf({6.0f, -7.0f, 1.0f, 9.0f}), den2 = FloatsOf({3.0f, 0.0f, 4.0f, 0.5f});
  Words mask2 = MaskOf({0, 0, INT32_MIN, 0});
  EXPECT_EQ(qelrDiv_32f_C1IM(den2.data(), mask2.data(), num2.data(), 4), StatusDivByZero);
  EXPECT_EQ(Bits(num2[0]), Bits(2.0f));
  EXPECT_EQ(Bits(num2[1]), 0xFF800000u);
  EXPECT_EQ(Bits(num2[2]), 0u);
  EXPECT_EQ(Bits(num2[3]), Bits(18.0f));
}

// ---- DotChangeNorm ---------------------------------------------------------------

// Four elements on the aligned path (offset 0) or the scalar one (offset 4).
struct NormalBlock {
  Floats sx, sy, sz, nx, ny, nz, dot;
  Words mask;
  explicit NormalBlock(size_t offset)
      : sx(4, offset), sy(4, offset), sz(4, offset), nx(4, offset), ny(4, offset),
        nz(4, offset), dot(4, offset), mask(4, offset) {}
  qelStatus Run() {
    const float* s[3] = {sx.data(), sy.data(), sz.data()};
    float* n[3] = {nx.data(), ny.data(), nz.data()};
    return qelrDotChangeNorm_32f_IM(s, mask.data(), n, dot.data(), 4);
  }
};

TEST(ShadingEdges, NormalFlipsOnlyForAStrictlyPositiveDot) {
  for (size_t offset : {0, 4}) {
    SCOPED_TRACE(offset == 0 ? "aligned path" : "scalar path");
    NormalBlock b(offset);
    const float direction[4][3] = {{1, 0, 0}, {1, 0, 0}, {kDefaultNaN, 0, 0}, {1, 2, 0}};
    const float normal[4][3] = {{-0.0f, 1, 0}, {2, -1, 3}, {1, 1, 1}, {1, 1, -0.0f}};
    for (int i = 0; i < 4; ++i) {
      b.sx[i] = direction[i][0], b.sy[i] = direction[i][1], b.sz[i] = direction[i][2];
      b.nx[i] = normal[i][0], b.ny[i] = normal[i][1], b.nz[i] = normal[i][2];
      b.mask[i] = 0;
    }
    ASSERT_EQ(b.Run(), StatusOk);
    // d = +0.0: the comparison is strict, nothing changes sign.
    EXPECT_EQ(Bits(b.nx[0]), Bits(-0.0f));
    EXPECT_EQ(Bits(b.dot[0]), Bits(0.0f));
    // d = 2 > 0: the normal and d turn round.
    EXPECT_EQ(Bits(b.nx[1]), Bits(-2.0f));
    EXPECT_EQ(Bits(b.ny[1]), Bits(1.0f));
    EXPECT_EQ(Bits(b.nz[1]), Bits(-3.0f));
    EXPECT_EQ(Bits(b.dot[1]), Bits(-2.0f));
    // d is NaN: the normal keeps its side.
    EXPECT_EQ(Bits(b.nx[2]), Bits(1.0f));
    EXPECT_TRUE(std::isnan(b.dot[2]));
    // A signed zero component turns with the rest.
    EXPECT_EQ(Bits(b.nz[3]), Bits(0.0f));
    EXPECT_EQ(Bits(b.dot[3]), Bits(-3.0f));
  }
}

TEST(ShadingEdges, MaskedOutNormalsKeepTheirBitsAndGetAZeroDot) {
  for (size_t offset : {0, 4}) {
    for (int32_t active0 : {-1, 0}) {  // a block of four masked out, and a mixed one
      NormalBlock b(offset);
      for (int i = 0; i < 4; ++i) {
        b.sx[i] = 1, b.sy[i] = 1, b.sz[i] = 1;
        b.nx[i] = 1, b.ny[i] = -0.0f, b.nz[i] = FromBits(0x7F800001u);  // a signaling NaN
        b.dot[i] = 9;
        b.mask[i] = i == 0 ? active0 : -1 - i;
      }
      ASSERT_EQ(b.Run(), StatusOk);
      for (int i = 1; i < 4; ++i) {
        EXPECT_EQ(Bits(b.nx[i]), Bits(1.0f));
        EXPECT_EQ(Bits(b.ny[i]), Bits(-0.0f));
        EXPECT_EQ(Bits(b.nz[i]), 0x7F800001u);
        EXPECT_EQ(Bits(b.dot[i]), 0u);
      }
    }
  }
}

TEST(ShadingEdges, OnlyTheScalarNormalFlipQuietsASignalingNaN) {
  // An active normal with a signaling NaN: d is NaN, the factor +1.0.  The
  // scalar path multiplies by it and quiets the NaN; the aligned path stores
  // the bits it read.
  for (size_t offset : {0, 4}) {
    NormalBlock b(offset);
    for (int i = 0; i < 4; ++i) {
      b.sx[i] = 1, b.sy[i] = 1, b.sz[i] = 1;
      b.nx[i] = FromBits(0x7F800001u), b.ny[i] = 1, b.nz[i] = 1;
      b.mask[i] = 0;
    }
    ASSERT_EQ(b.Run(), StatusOk);
    EXPECT_EQ(Bits(b.nx[0]), offset == 0 ? 0x7F800001u : 0x7FC00001u);
  }
}

// ---- The Mul functions: what a masked-out element becomes ---------------------

TEST(ShadingEdges, MulClearsMaskedOutElementsByMultiplyingExceptOnTheAlignedPlanePath) {
  // Products: -6 (negative), inf (infinite), NaN, 6; all masked out.
  const std::initializer_list<float> dst = {-2.0f, kInf, kDefaultNaN, 2.0f};
  const std::initializer_list<float> src = {3.0f, 3.0f, 3.0f, 3.0f};
  const uint32_t byMultiplying[4] = {0x80000000u, 0xFFC00000u, 0xFFC00000u, 0u};

  Floats c1Dst = FloatsOf(dst), c1Src = FloatsOf(src);
  Words mask = MaskOf({-1, -1, -1, -1});
  ASSERT_EQ(qelrMul_32f_C1IM(c1Src.data(), mask.data(), c1Dst.data(), 4), StatusOk);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Bits(c1Dst[i]), byMultiplying[i]) << "C1IM " << i;

  for (size_t offset : {0, 4}) {
    Floats x = FloatsOf(dst, offset), y = FloatsOf(dst, offset), z = FloatsOf(dst, offset);
    float* planes[3] = {x.data(), y.data(), z.data()};
    ASSERT_EQ(qelrMul_32f_C1P3IM(c1Src.data(), mask.data(), planes, 4), StatusOk);
    for (int i = 0; i < 4; ++i)
      for (Floats* p : {&x, &y, &z})
        EXPECT_EQ(Bits((*p)[i]), offset == 0 ? 0u : byMultiplying[i]) << "C1P3IM " << i;
  }
}

// ---- Aligned blocks of four masked-out elements are not stored ------------

// n floats of which the first `writable` lie on a writable page and the rest
// on a read-only one, so that a store to them faults.
class PartlyReadOnly {
 public:
  PartlyReadOnly(int writable, int n) {
    page_ = sysconf(_SC_PAGESIZE);
    base_ = static_cast<char*>(
        mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    data_ = reinterpret_cast<float*>(base_ + page_) - writable;
    for (int i = 0; i < n; ++i) data_[i] = 1.5f;
    mprotect(base_ + page_, page_, PROT_READ);
  }
  ~PartlyReadOnly() { munmap(base_, 2 * page_); }
  float* data() { return data_; }

 private:
  long page_;
  char* base_;
  float* data_;
};

TEST(ShadingEdges, AlignedPathsLeaveBlocksOfFourMaskedOutElementsUnstored) {
  // Elements 0..3 active and writable, 4..7 masked out on a read-only page:
  // a store there would fault.  Also with every element masked out.
  for (int writable : {4, 0}) {
    SCOPED_TRACE(writable == 4 ? "one block of four masked out" : "all masked out");
    PartlyReadOnly x(writable, 8), y(writable, 8), z(writable, 8);
    Floats s(8), dot(8);
    Words mask(8);
    for (int i = 0; i < 8; ++i) {
      s[i] = 1.0f;
      mask[i] = i < writable ? 0 : -1;
    }
    const float* directions[3] = {s.data(), s.data(), s.data()};
    float* normals[3] = {x.data(), y.data(), z.data()};
    ASSERT_EQ(qelrDotChangeNorm_32f_IM(directions, mask.data(), normals, dot.data(), 8), StatusOk);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(Bits(dot[i]), i < writable ? Bits(-4.5f) : 0u);

    const float coef[3] = {1, 1, 1};
    const float* src2[3] = {s.data(), s.data(), s.data()};
    ASSERT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, s.data(), src2, mask.data(), normals, 8), StatusOk);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(x.data()[i], i < writable ? -0.5f : 1.5f);
  }
}

// ---- AddMulMul: the blocked split and the aligned order ----------------------

// AddMulMul with every element masked out over destinations of -0.0: the
// blocked body adds a cleared product and turns -0.0 into +0.0, the scalar
// head and tail leave it alone.  So the +0.0s show where the body ran.
std::string BodyOf(size_t anchorOffset, size_t dstOffset, int32_t len) {
  Floats src1(len, anchorOffset), s2(len), x(len, dstOffset), y(len, dstOffset), z(len, dstOffset);
  Words mask(len);
  const float one = 1.0f;
  for (int32_t i = 0; i < len; ++i) {
    // src1 may sit at an odd address: written byte-wise.
    std::memcpy(reinterpret_cast<char*>(src1.data()) + 4 * i, &one, 4);
    s2[i] = 1, x[i] = y[i] = z[i] = -0.0f;
    mask[i] = -1;
  }
  const float coef[3] = {1, 1, 1};
  const float* src2[3] = {s2.data(), s2.data(), s2.data()};
  float* dst[3] = {x.data(), y.data(), z.data()};
  EXPECT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, src1.data(), src2, mask.data(), dst, len), StatusOk);
  std::string shape;
  for (int32_t i = 0; i < len; ++i) {
    EXPECT_EQ(Bits(x[i]), Bits(z[i]));
    shape += Bits(x[i]) == 0 ? 'b' : 's';
  }
  return shape;
}

TEST(ShadingEdges, BlockedPathSplitsAtTheAnchor) {
  EXPECT_EQ(BodyOf(8, 4, 5), "sssss") << "h = 2 and h + 4 > 5: all scalar";
  EXPECT_EQ(BodyOf(8, 4, 6), "ssbbbb") << "h = 2, body 2..5";
  EXPECT_EQ(BodyOf(8, 4, 9), "ssbbbbsss") << "h = 2, e = 6, tail 6..8";
  EXPECT_EQ(BodyOf(4, 0, 10), "sssbbbbsss") << "h = 3, e = 7";
  EXPECT_EQ(BodyOf(0, 4, 9), "bbbbbbbbs") << "h = 0, e = 8";
  EXPECT_EQ(BodyOf(0, 4, 3), "sss") << "shorter than 4";
  EXPECT_EQ(BodyOf(2, 4, 12), std::string(12, 's')) << "anchor not float-aligned";
  EXPECT_EQ(BodyOf(0, 0, 8), std::string(8, 's')) << "aligned path keeps the exact bits";
}

TEST(ShadingEdges, AlignedAddMulMulMultipliesInItsOwnOrder) {
  // Find values whose two products round differently.
  qt::Rng rng(17);
  float c = 0, s1 = 0, s2 = 0;
  do {
    c = rng.Uniform(0.1f, 3.0f), s1 = rng.Uniform(0.1f, 3.0f), s2 = rng.Uniform(0.1f, 3.0f);
  } while (Bits(((c * s2) * s1) + 0.25f) == Bits(((s2 * s1) * c) + 0.25f));
  const float other = 0.25f;
  for (size_t dstOffset : {0, 4}) {
    Floats src1 = FloatsOf({s1, s1, s1, s1}), p2 = FloatsOf({s2, s2, s2, s2});
    Floats x = FloatsOf({other, other, other, other}, dstOffset);
    Floats y = FloatsOf({other, other, other, other}, dstOffset);
    Floats z = FloatsOf({other, other, other, other}, dstOffset);
    Words mask = MaskOf({0, 0, 0, 0});
    const float coef[3] = {c, c, c};
    const float* src2[3] = {p2.data(), p2.data(), p2.data()};
    float* dst[3] = {x.data(), y.data(), z.data()};
    ASSERT_EQ(qelrAddMulMul_32f_AC1P3IM(coef, src1.data(), src2, mask.data(), dst, 4), StatusOk);
    const float expected = dstOffset == 0 ? ((s2 * s1) * c) + other : ((c * s2) * s1) + other;
    EXPECT_EQ(Bits(x[0]), Bits(expected)) << "dst offset " << dstOffset;
  }
}

}  // namespace
