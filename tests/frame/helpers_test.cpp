// The internal allocation wrappers, array helpers and sort.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <limits>
#include <thread>
#include <vector>

#include "frame/qelr_internal.h"
#include "standin_core.h"
#include "test_util.h"

namespace {

using qt::Bits;
using qt::FromBits;

const float kInf = std::numeric_limits<float>::infinity();
const uint32_t kSignalingNaN = 0x7F800001u;

// ---- Allocation wrappers ------------------------------------------------------

TEST(Helpers, AllocationBelowOneCountAsksNothingOfTheCore) {
  const int64_t calls = standinAllocCalls();
  for (int32_t count : {0, -1, INT32_MIN}) {
    EXPECT_EQ(ownAllocBytes(count), nullptr);
    EXPECT_EQ(ownAllocWords(count), nullptr);
    EXPECT_EQ(ownAllocQuads(count), nullptr);
  }
  EXPECT_EQ(standinAllocCalls(), calls);
}

TEST(Helpers, AllocationSizesWrapIn32Bits) {
  const int64_t live = standinLiveBlocks();
  void* words = ownAllocWords(3);
  void* wrapped = ownAllocQuads(0x20000001);  // 8 * count wraps to 8 bytes
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
  EXPECT_EQ(standinLiveBlocks(), live);
}

// ---- Array helpers: checks ------------------------------------------------------

TEST(Helpers, NullPointerBeforeBadSize) {
  float f[4] = {};
  int16_t h[4] = {};
  float result = 0;
  for (int32_t length : {0, -1, 4}) {
    EXPECT_EQ(ownZero16(nullptr, length), StatusNullPointer);
    EXPECT_EQ(ownZero32f(nullptr, length), StatusNullPointer);
    EXPECT_EQ(ownCopy32f(nullptr, f, length), StatusNullPointer);
    EXPECT_EQ(ownCopy32f(f, nullptr, length), StatusNullPointer);
    EXPECT_EQ(ownAdd32fInPlace(nullptr, f, length), StatusNullPointer);
    EXPECT_EQ(ownAdd32fInPlace(f, nullptr, length), StatusNullPointer);
    EXPECT_EQ(ownMulC32fInPlace(2.0f, nullptr, length), StatusNullPointer);
    // The check comes first even when value 0 would not read the source.
    EXPECT_EQ(ownMulC32f(nullptr, 0.0f, f, length), StatusNullPointer);
    EXPECT_EQ(ownMulC32f(f, 2.0f, nullptr, length), StatusNullPointer);
    EXPECT_EQ(ownDot32f(nullptr, f, length, &result), StatusNullPointer);
    EXPECT_EQ(ownDot32f(f, nullptr, length, &result), StatusNullPointer);
    EXPECT_EQ(ownDot32f(f, f, length, nullptr), StatusNullPointer);
    EXPECT_EQ(ownSortAscend32f(nullptr, length), StatusNullPointer);
  }
  for (int32_t length : {0, -1, INT32_MIN}) {
    EXPECT_EQ(ownZero16(h, length), StatusBadSize);
    EXPECT_EQ(ownZero32f(f, length), StatusBadSize);
    EXPECT_EQ(ownCopy32f(f, f + 2, length), StatusBadSize);
    EXPECT_EQ(ownAdd32fInPlace(f, f, length), StatusBadSize);
    EXPECT_EQ(ownMulC32fInPlace(1.0f, f, length), StatusBadSize);
    EXPECT_EQ(ownMulC32f(f, 0.0f, f, length), StatusBadSize);
    EXPECT_EQ(ownDot32f(f, f, length, &result), StatusBadSize);
    EXPECT_EQ(ownSortAscend32f(f, length), StatusBadSize);
  }
}

// ---- Array helpers: results at every offset and length --------------------------

std::vector<float> Values(qt::Rng& rng, int32_t n) {
  std::vector<float> v(n);
  for (float& x : v) x = rng.Special();
  return v;
}

TEST(Helpers, ElementWiseHelpersMatchThePlainLoopAtAnyOffset) {
  qt::Rng rng(12);
  for (int32_t n = 1; n <= 40; ++n)
    for (size_t offset : {0, 4, 8, 12}) {
      SCOPED_TRACE("length " + std::to_string(n) + " offset " + std::to_string(offset));
      const std::vector<float> a = Values(rng, n), b = Values(rng, n);
      const float value = rng.Uniform(-3.0f, 3.0f);
      qt::GuardedBuffer<float> add(n, offset), scaled(n, offset), product(n, offset),
          copy(n, offset), zeros(n, offset);
      qt::GuardedBuffer<int16_t> zeros16(n, offset / 2);
      std::vector<float> wantAdd(n), wantMul(n);
      for (int32_t i = 0; i < n; ++i) {
        add[i] = b[i], scaled[i] = b[i], zeros[i] = 1.0f, zeros16[i] = 7;
        wantAdd[i] = b[i] + a[i];
        wantMul[i] = b[i] * value;
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
      for (int32_t i = 0; i < n; ++i) {
        EXPECT_EQ(Bits(zeros[i]), 0u);
        EXPECT_EQ(zeros16[i], 0);
      }
      for (auto* g : {&add, &scaled, &product, &copy, &zeros}) EXPECT_TRUE(g->GuardsIntact());
      EXPECT_TRUE(zeros16.GuardsIntact());
    }
}

TEST(Helpers, MultiplyByExactlyOneOrZeroTakesTheShortcut) {
  const float special[] = {FromBits(kSignalingNaN), kInf, -kInf, -0.0f, 2.5f,
                           std::numeric_limits<float>::quiet_NaN()};
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
  void* guard = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(guard, MAP_FAILED);
  EXPECT_EQ(ownMulC32f(static_cast<const float*>(guard), 0.0f, cleared, n), StatusOk);
  for (float f : cleared) EXPECT_EQ(Bits(f), 0u);
  munmap(guard, page);
}

// The stated lane arrangement: below 32 elements one running sum; from 32
// on four lanes over the first (n & ~3) products, combined pairwise, then
// the rest in order.
float DotModel(const std::vector<float>& a, const std::vector<float>& b) {
  const size_t n = a.size();
  float sum = 0.0f;
  if (n < 32) {
    for (size_t i = 0; i < n; ++i) sum += a[i] * b[i];
    return sum;
  }
  float lane[4] = {0, 0, 0, 0};
  for (size_t i = 0; i < (n & ~size_t(3)); ++i) lane[i % 4] += a[i] * b[i];
  sum = (lane[0] + lane[1]) + (lane[2] + lane[3]);
  for (size_t i = n & ~size_t(3); i < n; ++i) sum += a[i] * b[i];
  return sum;
}

TEST(Helpers, DotSumsInLanes) {
  qt::Rng rng(5);
  for (int32_t n : {1, 2, 7, 31, 32, 33, 35, 64, 100, 1001}) {
    std::vector<float> a(n), b(n);
    for (int32_t i = 0; i < n; ++i) a[i] = rng.Uniform(-1, 1), b[i] = rng.Uniform(-1, 1);
    float result = 0;
    ASSERT_EQ(ownDot32f(a.data(), b.data(), n, &result), StatusOk);
    EXPECT_EQ(Bits(result), Bits(DotModel(a, b))) << "length " << n;
  }
}

// ---- Sort ---------------------------------------------------------------------------

// The same bit patterns, in any order.
::testing::AssertionResult SameMultiset(const std::vector<float>& x, const std::vector<float>& y) {
  std::vector<uint32_t> bx, by;
  for (float f : x) bx.push_back(Bits(f));
  for (float f : y) by.push_back(Bits(f));
  std::sort(bx.begin(), bx.end());
  std::sort(by.begin(), by.end());
  if (bx != by) return ::testing::AssertionFailure() << "elements lost or changed";
  return ::testing::AssertionSuccess();
}

// Sorted as floats (so +0 and -0 may trade places) and a permutation of the
// input's bit patterns.
::testing::AssertionResult SortedPermutation(std::vector<float> input,
                                             const std::vector<float>& output) {
  std::vector<float> want = input;
  std::sort(want.begin(), want.end());
  for (size_t i = 0; i < want.size(); ++i)
    if (!(want[i] == output[i]))
      return ::testing::AssertionFailure() << "at " << i << ": expected " << qt::Show(want[i])
                                           << ", got " << qt::Show(output[i]);
  return SameMultiset(input, output);
}

std::vector<float> Sorted(std::vector<float> v) {
  EXPECT_EQ(ownSortAscend32f(v.data(), static_cast<int32_t>(v.size())), StatusOk);
  return v;
}

TEST(Helpers, SortAgreesWithStdSort) {
  qt::Rng rng(99);
  const int32_t lengths[] = {1, 2, 3, 9, 10, 11, 17, 33, 100, 1000, 50000};
  for (int32_t n : lengths)
    for (int pattern = 0; pattern < 7; ++pattern) {
      std::vector<float> v(n);
      for (int32_t i = 0; i < n; ++i) {
        switch (pattern) {
          case 0: v[i] = rng.Uniform(-100, 100); break;          // distinct
          case 1: v[i] = static_cast<float>(rng.Int(-3, 3)); break;  // many duplicates
          case 2: v[i] = rng.Chance(0.5) ? 0.0f : -0.0f; break;  // signed zeros
          case 3: v[i] = static_cast<float>(i); break;            // ascending
          case 4: v[i] = static_cast<float>(n - i); break;        // descending
          case 5: v[i] = static_cast<float>(std::min(i, n - i)); break;  // organ pipe
          case 6: v[i] = rng.Chance(0.1) ? (rng.Chance(0.5) ? kInf : -kInf) : -0.0f; break;
        }
      }
      EXPECT_TRUE(SortedPermutation(v, Sorted(v))) << "length " << n << " pattern " << pattern;
    }
}

TEST(Helpers, SortEdgeLengthsAndEqualValues) {
  EXPECT_EQ(Sorted({5.0f}), std::vector<float>({5.0f}));
  EXPECT_EQ(Sorted(std::vector<float>(10, 2.5f)), std::vector<float>(10, 2.5f));
  // 9 elements run the selection sort alone, 10 the partition first.
  const std::vector<float> nine = {3, 1, 2, 9, 8, 7, -1, 0, 5};
  const std::vector<float> ten = {3, 1, 2, 9, 8, 7, -1, 0, 5, 4};
  EXPECT_TRUE(SortedPermutation(nine, Sorted(nine)));
  EXPECT_TRUE(SortedPermutation(ten, Sorted(ten)));
}

// Runs the sort on another thread so that a sort that never ends fails the
// test instead of hanging the suite.
bool SortEnds(std::vector<float>& v) {
  auto done = std::async(std::launch::async, [&v] {
    return ownSortAscend32f(v.data(), static_cast<int32_t>(v.size()));
  });
  if (done.wait_for(std::chrono::seconds(10)) == std::future_status::ready)
    return done.get() == StatusOk;
  ADD_FAILURE() << "the sort did not end";
  std::_Exit(1);  // the thread cannot be stopped
}

TEST(Helpers, SortWithNaNsEnds) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::vector<std::vector<float>> cases = {
      {1, 1, 1, 1, 1, 1, 1, 1, 1, nan},  // a NaN left at the top of the range
      {nan, 1, 1, 1, 1, 1, 1, 1, 1, 1},
      std::vector<float>(20, nan),
  };
  qt::Rng rng(7);
  for (int r = 0; r < 200; ++r) {
    std::vector<float> v(rng.Int(10, 300));
    for (float& f : v) f = rng.Chance(0.2) ? nan : static_cast<float>(rng.Int(-5, 5));
    cases.push_back(v);
  }
  for (std::vector<float>& v : cases) {
    const std::vector<float> before = v;
    ASSERT_TRUE(SortEnds(v));
    EXPECT_TRUE(SameMultiset(before, v));
  }
}

}  // namespace
