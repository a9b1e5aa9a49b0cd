// The state: its size, its checks and the block that qelrSHInit_32f writes.
#include <cstring>
#include <vector>

#include "reference_sh.h"
#include "sh_test_support.h"

namespace {

constexpr uint8_t kFill = 0xA5;

TEST(SHState, Sizes) {
  struct Case {
    uint32_t order;
    int32_t mode, bytes;
  };
  const Case cases[] = {{0, SHModeClosedForm, 32}, {15, SHModeClosedForm, 32},  // the header alone
                        {0, SHModeRecurrence, 64}, {1, SHModeRecurrence, 64},   // room for rows 0 and 1
                        {3, SHModeRecurrence, 128}, {15, SHModeRecurrence, 1120},
                        {16, SHModeRecurrence, 1280}};  // no order limit at this stage
  for (const Case& c : cases) {
    int32_t size = -1;
    EXPECT_EQ(qelrSHGetSize_32f(c.order, c.mode, &size), StatusOk);
    EXPECT_EQ(size, c.bytes) << "order " << c.order << " mode " << c.mode;
  }
}

// Both functions test the mode before the order; neither writes on failure.
TEST(SHState, ChecksInOrderAndNothingWritten) {
  struct Case {
    uint32_t order;
    int32_t mode;
    qelStatus status;
  };
  const Case cases[] = {{99, 2, StatusBadOrder}, {0, -1, StatusBadOrder}, {16, SHModeClosedForm, StatusBadSize}};
  std::vector<uint8_t> block(256, kFill);
  auto* state = reinterpret_cast<qelrSHState*>(block.data());
  int32_t size = 12345;
  EXPECT_EQ(qelrSHGetSize_32f(99, 7, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSHInit_32f(nullptr, 3, 2), StatusNullPointer);
  for (const Case& c : cases) {
    EXPECT_EQ(qelrSHGetSize_32f(c.order, c.mode, &size), c.status) << "order " << c.order << " mode " << c.mode;
    EXPECT_EQ(qelrSHInit_32f(state, c.order, c.mode), c.status) << "order " << c.order << " mode " << c.mode;
  }
  EXPECT_EQ(size, 12345);
  for (uint8_t b : block)
    ASSERT_EQ(b, kFill);
}

TEST(SHState, ClosedFormWritesOnlyItsHeader) {
  std::vector<uint8_t> block(128, kFill);
  auto* state = reinterpret_cast<qelrSHState*>(block.data() + 16);
  ASSERT_EQ(qelrSHInit_32f(state, 15, SHModeClosedForm), StatusOk);
  EXPECT_EQ(state->order, 15u);
  EXPECT_EQ(state->mode, SHModeClosedForm);
  EXPECT_EQ(state->recurA, nullptr);
  EXPECT_EQ(state->recurB, nullptr);
  for (int i = 0; i < 128; ++i) {  // the header's padding (bytes 24..31) is cleared
    if (i >= 16 && i < 16 + 24)
      continue;
    EXPECT_EQ(block[i], i < 16 + 32 && i >= 16 ? 0 : kFill) << "byte " << i;
  }
}

// The whole block, byte by byte, for orders 0..20 and every 4-byte offset
// from a 16-byte boundary: the tables' places, their entries, zeros
// elsewhere, and nothing written beyond except the up to 15 bytes by which
// an unaligned block is overrun.
TEST(SHState, RecurrenceBlockMatchesTheReference) {
  for (uint32_t order = 0; order <= 20; ++order) {
    for (size_t offset : {0, 4, 8, 12}) {
      SCOPED_TRACE(::testing::Message() << "order " << order << " offset " << offset);
      int32_t size = 0;
      ASSERT_EQ(qelrSHGetSize_32f(order, SHModeRecurrence, &size), StatusOk);
      std::vector<uint8_t> storage(size + 128, kFill);
      uint8_t* aligned =
          reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(storage.data()) + 63) & ~uintptr_t(63));
      uint8_t* start = aligned + offset;
      ASSERT_EQ(qelrSHInit_32f(reinterpret_cast<qelrSHState*>(start), order, SHModeRecurrence), StatusOk);

      const size_t entries = (order + 1) * (order + 2) / 2;
      uint8_t* tableA = aligned + (offset ? 16 : 0) + 32;
      uint8_t* tableB = tableA + ((4 * entries + 15) & ~size_t(15));
      qelrSHState header;  // the block need not be aligned for the record
      std::memcpy(&header, start, sizeof header);
      EXPECT_EQ(header.order, order);
      EXPECT_EQ(header.mode, SHModeRecurrence);
      ASSERT_EQ(reinterpret_cast<uint8_t*>(header.recurA), tableA);
      ASSERT_EQ(reinterpret_cast<uint8_t*>(header.recurB), tableB);

      // The block cleared, then all of recurA (rows 0 and 1 even where they
      // spill past a table of one entry) and recurB's (l, m < l) from row 2.
      // recurB's zeros come from the clearing alone, so past the end of an
      // unaligned block they are not there.
      const ref::Tables t = ref::RecurrenceTables(int(order));
      std::vector<uint8_t> expected(storage.size(), kFill);
      const size_t base = aligned - storage.data();
      std::memset(&expected[base + offset], 0, size);
      std::memcpy(&expected[base + (tableA - aligned)], t.a.data(), 4 * t.a.size());
      for (int l = 2; l <= int(order); ++l)
        std::memcpy(&expected[base + (tableB - aligned) + 4 * ref::Row(l)], &t.b[ref::Row(l)], 4 * l);
      std::memcpy(&expected[base + offset], start, 24);  // header fields checked above
      for (size_t i = 0; i < storage.size(); ++i)
        ASSERT_EQ(storage[i], expected[i]) << "byte " << ptrdiff_t(i - base - offset) << " of the block";
    }
  }
}

}  // namespace
