// The internal allocation wrappers, array helpers and sort.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <limits>
#include <vector>

#include "frame/qelr_internal.h"
#include "standin_core.h"
#include "test_util.h"

namespace {

using qt::Bits;
using qt::FromBits;

const float kInf = std::numeric_limits<float>::infinity();

TEST(Helpers, Allocation) {
  const int64_t calls = standinAllocCalls(), live = standinLiveBlocks();
  for (int32_t count : {0, -1, INT32_MIN}) {  // below 1: the core is not asked
    EXPECT_EQ(ownAllocBytes(count), nullptr);
    EXPECT_EQ(ownAllocWords(count), nullptr);
    EXPECT_EQ(ownAllocQuads(count), nullptr);
  }
  EXPECT_EQ(standinAllocCalls(), calls);
  void* words = ownAllocWords(3);
  void* wrapped = ownAllocQuads(0x20000001);  // sizes wrap in 32 bits: 8 bytes
  ASSERT_NE(words, nullptr);
  ASSERT_NE(wrapped, nullptr);
  std::memset(words, 1, 12);
  std::memset(wrapped, 1, 8);
  EXPECT_EQ(standinLiveBlocks(), live + 2);
  ownFree(words);
  ownFree(wrapped);
  ownFree(nullptr);
  EXPECT_EQ(standinLiveBlocks(), live);
  standinFailAllocAt(1);
  EXPECT_EQ(ownAllocBytes(16), nullptr);  // the core's failure comes through
}

TEST(Helpers, NullPointerBeforeBadSize) {
  float f[4] = {}, result = 0;
  int16_t h[4] = {};
  for (int32_t length : {0, -1, 4, INT32_MIN}) {
    const qelStatus nulls[] = {
        ownZero16(nullptr, length), ownZero32f(nullptr, length), ownCopy32f(nullptr, f, length),
        ownCopy32f(f, nullptr, length), ownAdd32fInPlace(nullptr, f, length), ownAdd32fInPlace(f, nullptr, length),
        ownMulC32fInPlace(2.0f, nullptr, length),
        ownMulC32f(nullptr, 0.0f, f, length),  // checked even though value 0 reads nothing
        ownMulC32f(f, 2.0f, nullptr, length), ownDot32f(nullptr, f, length, &result),
        ownDot32f(f, nullptr, length, &result), ownDot32f(f, f, length, nullptr), ownSortAscend32f(nullptr, length)};
    for (qelStatus s : nulls) EXPECT_EQ(s, StatusNullPointer) << "length " << length;
    if (length == 4) continue;
    const qelStatus sizes[] = {ownZero16(h, length), ownZero32f(f, length), ownCopy32f(f, f + 2, length),
                               ownAdd32fInPlace(f, f, length), ownMulC32fInPlace(1.0f, f, length),
                               ownMulC32f(f, 0.0f, f, length), ownDot32f(f, f, length, &result),
                               ownSortAscend32f(f, length)};
    for (qelStatus s : sizes) EXPECT_EQ(s, StatusBadSize) << "length " << length;
  }
}

TEST(Helpers, ElementWiseHelpersMatchThePlainLoopAtAnyOffset) {
  qt::Rng rng(12);
  for (int32_t n = 1; n <= 40; ++n)
    for (size_t offset : {0, 4, 8, 12}) {
      SCOPED_TRACE("length " + std::to_string(n) + " offset " + std::to_string(offset));
      std::vector<float> a(n), b(n), wantAdd(n), wantMul(n);
      const float value = rng.Uniform(-3.0f, 3.0f);
      qt::GuardedBuffer<float> add(n, offset), scaled(n, offset), product(n, offset), copy(n, offset),
          zeros(n, offset);
      qt::GuardedBuffer<int16_t> zeros16(n, offset / 2);
      for (int32_t i = 0; i < n; ++i) {
        a[i] = rng.Special(), b[i] = rng.Special();
        add[i] = scaled[i] = b[i], zeros[i] = 1.0f, zeros16[i] = 7;
        wantAdd[i] = b[i] + a[i], wantMul[i] = b[i] * value;
      }
      ASSERT_EQ(ownAdd32fInPlace(a.data(), add.data(), n), StatusOk);
      ASSERT_EQ(ownMulC32fInPlace(value, scaled.data(), n), StatusOk);
      ASSERT_EQ(ownMulC32f(b.data(), value, product.data(), n), StatusOk);
      ASSERT_EQ(ownCopy32f(a.data(), copy.data(), n), StatusOk);
      ASSERT_EQ(ownZero32f(zeros.data(), n), StatusOk);
      ASSERT_EQ(ownZero16(zeros16.data(), n), StatusOk);
      EXPECT_TRUE(qt::SameBits(wantAdd.data(), add.data(), n));
      EXPECT_TRUE(qt::SameBits(wantMul.data(), scaled.data(), n));
      EXPECT_TRUE(qt::SameBits(wantMul.data(), product.data(), n));
      EXPECT_TRUE(qt::SameBits(a.data(), copy.data(), n));
      for (int32_t i = 0; i < n; ++i) EXPECT_TRUE(Bits(zeros[i]) == 0 && zeros16[i] == 0) << i;
      for (auto* g : {&add, &scaled, &product, &copy, &zeros}) EXPECT_TRUE(g->GuardsIntact());
      EXPECT_TRUE(zeros16.GuardsIntact());
    }
}

TEST(Helpers, MultiplyByExactlyOneOrZeroTakesTheShortcut) {
  const float special[] = {FromBits(0x7F800001u), kInf, -kInf, -0.0f, 2.5f, std::numeric_limits<float>::quiet_NaN()};
  const int32_t n = 6;
  float one[n], zero[n], copied[n], cleared[n];
  std::copy(special, special + n, one);
  std::copy(special, special + n, zero);
  std::fill(cleared, cleared + n, 9.0f);
  ASSERT_EQ(ownMulC32fInPlace(1.0f, one, n), StatusOk);
  EXPECT_TRUE(qt::SameBits(special, one, n));  // untouched: even the signaling NaN
  ASSERT_EQ(ownMulC32f(special, 1.0f, copied, n), StatusOk);
  EXPECT_TRUE(qt::SameBits(special, copied, n));  // a copy, not a product
  ASSERT_EQ(ownMulC32fInPlace(0.0f, zero, n), StatusOk);  // NaNs and infinities wiped
  for (float f : zero) EXPECT_EQ(Bits(f), 0u);
  // With value 0 the source is not read at all: give it a page that faults.
  const long page = sysconf(_SC_PAGESIZE);
  void* noAccess = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(noAccess, MAP_FAILED);
  EXPECT_EQ(ownMulC32f(static_cast<const float*>(noAccess), 0.0f, cleared, n), StatusOk);
  for (float f : cleared) EXPECT_EQ(Bits(f), 0u);
  munmap(noAccess, page);
}

TEST(Helpers, DotSumsInLanes) {
  // Below 32 elements one running sum; from 32 on four lanes over the first
  // (n & ~3) products, combined pairwise, then the rest in order.
  qt::Rng rng(5);
  for (int32_t n : {1, 2, 7, 31, 32, 33, 35, 64, 100, 1001, 1, 7, 31, 32, 32, 32, 33, 35}) {
    std::vector<float> a(n), b(n);
    for (int32_t i = 0; i < n; ++i) a[i] = rng.Uniform(-1, 1), b[i] = rng.Uniform(-1, 1);
    float lane[4] = {0, 0, 0, 0}, want = 0;
    const int32_t laned = n < 32 ? 0 : n & ~3;
    for (int32_t i = 0; i < laned; ++i) lane[i % 4] += a[i] * b[i];
    if (laned) want = (lane[0] + lane[1]) + (lane[2] + lane[3]);
    for (int32_t i = laned; i < n; ++i) want += a[i] * b[i];
    float result = 0;
    ASSERT_EQ(ownDot32f(a.data(), b.data(), n, &result), StatusOk);
    EXPECT_EQ(Bits(result), Bits(want)) << "length " << n;
  }
}

// Sorts v on another thread, so that a sort that never ends fails instead
// of hanging the suite.
void SortWithin10s(std::vector<float>& v) {
  auto done = std::async(std::launch::async, [&v] { return ownSortAscend32f(v.data(), int32_t(v.size())); });
  if (done.wait_for(std::chrono::seconds(10)) != std::future_status::ready) {
    ADD_FAILURE() << "the sort did not end";
    std::_Exit(1);  // the thread cannot be stopped
  }
  EXPECT_EQ(done.get(), StatusOk);
}

std::vector<uint32_t> SortedBits(const std::vector<float>& v) {
  std::vector<uint32_t> bits;
  for (float f : v) bits.push_back(Bits(f));
  std::sort(bits.begin(), bits.end());
  return bits;
}

TEST(Helpers, SortAgreesWithStdSortAndEndsWithNaNs) {
  // 9 elements run the selection sort alone, 10 the partition first.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::vector<std::vector<float>> cases = {
      {1, 1, 1, 1, 1, 1, 1, 1, 1, nan},  // a NaN left at the top of the range
      {nan, 1, 1, 1, 1, 1, 1, 1, 1, 1},
      std::vector<float>(20, nan),
  };
  qt::Rng rng(99);
  for (int r = 0; r < 200; ++r) {
    cases.emplace_back(rng.Int(10, 300));
    for (float& f : cases.back()) f = rng.Chance(0.2) ? nan : static_cast<float>(rng.Int(-5, 5));
  }
  for (int32_t n : {1, 2, 3, 9, 10, 11, 17, 33, 100, 1000, 50000})
    for (int pattern = 0; pattern < 7; ++pattern) {
      std::vector<float> v(n);
      for (int32_t i = 0; i < n; ++i) {
        switch (pattern) {
          case 0: v[i] = rng.Uniform(-100, 100); break;
          case 1: v[i] = static_cast<float>(rng.Int(-3, 3)); break;  // many duplicates
          case 2: v[i] = rng.Chance(0.5) ? 0.0f : -0.0f; break;
          case 3: v[i] = static_cast<float>(i); break;
          case 4: v[i] = static_cast<float>(n - i); break;
          case 5: v[i] = static_cast<float>(std::min(i, n - i)); break;  // organ pipe
          case 6: v[i] = rng.Chance(0.1) ? (rng.Chance(0.5) ? kInf : -kInf) : -0.0f; break;
        }
      }
      cases.push_back(v);
    }
  for (const std::vector<float>& v : cases) {
    std::vector<float> sorted = v, want = v;
    SortWithin10s(sorted);
    std::sort(want.begin(), want.end());
    // The same bits overall; where no NaN takes part, equal as floats to
    // std::sort's order (+0 and -0 may trade places).
    ASSERT_EQ(SortedBits(v), SortedBits(sorted)) << "length " << v.size();
    const bool hasNaN = std::any_of(v.begin(), v.end(), [](float f) { return std::isnan(f); });
    for (size_t i = 0; i < v.size() && !hasNaN; ++i) ASSERT_TRUE(want[i] == sorted[i]) << v.size() << " at " << i;
  }
}

}  // namespace
