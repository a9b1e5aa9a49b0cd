// The state: its size, its checks and the block that qelrSHInit_32f writes.
#include <cstring>
#include <vector>

#include "reference_sh.h"
#include "sh_test_support.h"

namespace {

constexpr uint8_t kFill = 0xA5;

// Both functions test the mode before the order; neither writes on failure.
TEST(SHState, SizesAndChecks) {
  struct Case {
    uint32_t order;
    int32_t mode;
    qelStatus status;
    int32_t bytes;
  };
  const Case cases[] = {
      {0, SHModeClosedForm, StatusOk, 32},   {15, SHModeClosedForm, StatusOk, 32},  // the header alone
      {0, SHModeRecurrence, StatusOk, 64},   {1, SHModeRecurrence, StatusOk, 64},   // room for rows 0 and 1
      {3, SHModeRecurrence, StatusOk, 128},  {15, SHModeRecurrence, StatusOk, 1120},
      {16, SHModeRecurrence, StatusOk, 1280},  // no order limit at this stage
      {99, 2, StatusBadOrder, 0},            {0, -1, StatusBadOrder, 0},
      {16, SHModeClosedForm, StatusBadSize, 0}};
  std::vector<uint8_t> block(256, kFill);
  auto* state = reinterpret_cast<qelrSHState*>(block.data());
  EXPECT_EQ(qelrSHGetSize_32f(99, 7, nullptr), StatusNullPointer);
  EXPECT_EQ(qelrSHInit_32f(nullptr, 3, 2), StatusNullPointer);
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << "order " << c.order << " mode " << c.mode);
    int32_t size = 12345;
    EXPECT_EQ(qelrSHGetSize_32f(c.order, c.mode, &size), c.status);
    EXPECT_EQ(size, c.status == StatusOk ? c.bytes : 12345);
    if (c.status != StatusOk) {
      EXPECT_EQ(qelrSHInit_32f(state, c.order, c.mode), c.status);
    }
  }
  for (uint8_t b : block)
    ASSERT_EQ(b, kFill);
}

// The whole block, byte by byte, for every order and every 4-byte offset
// from a 16-byte boundary: the header, the tables' places and entries,
// zeros elsewhere, and nothing written beyond except the up to 15 bytes by
// which an unaligned recurrence block is overrun.
TEST(SHState, BlockMatchesTheReference) {
  for (int32_t mode : {SHModeClosedForm, SHModeRecurrence}) {
    const bool tables = mode == SHModeRecurrence;
    for (uint32_t order = 0; order <= (tables ? 20u : 15u); ++order) {
      for (size_t offset : {0, 4, 8, 12}) {
        SCOPED_TRACE(::testing::Message() << "mode " << mode << " order " << order << " offset " << offset);
        int32_t size = 0;
        ASSERT_EQ(qelrSHGetSize_32f(order, mode, &size), StatusOk);
        std::vector<uint8_t> storage(size + 128, kFill);
        uint8_t* aligned =
            reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(storage.data()) + 63) & ~uintptr_t(63));
        uint8_t* start = aligned + offset;
        ASSERT_EQ(qelrSHInit_32f(reinterpret_cast<qelrSHState*>(start), order, mode), StatusOk);

        const size_t entries = (order + 1) * (order + 2) / 2;
        uint8_t* tableA = tables ? aligned + (offset ? 16 : 0) + 32 : nullptr;
        uint8_t* tableB = tables ? tableA + ((4 * entries + 15) & ~size_t(15)) : nullptr;
        qelrSHState header;  // the block need not be aligned for the record
        std::memcpy(&header, start, sizeof header);
        EXPECT_EQ(header.order, order);
        EXPECT_EQ(header.mode, mode);
        ASSERT_EQ(reinterpret_cast<uint8_t*>(header.recurA), tableA);
        ASSERT_EQ(reinterpret_cast<uint8_t*>(header.recurB), tableB);

        // The block cleared (the header's padding too), then all of recurA
        // (rows 0 and 1 even where they spill past a table of one entry)
        // and recurB's (l, m < l) from row 2.  recurB's zeros come from the
        // clearing alone, so past the end of an unaligned block they are not
        // there.
        std::vector<uint8_t> expected(storage.size(), kFill);
        const size_t base = aligned - storage.data();
        std::memset(&expected[base + offset], 0, size);
        if (tables) {
          const ref::Tables t = ref::RecurrenceTables(int(order));
          std::memcpy(&expected[base + (tableA - aligned)], t.a.data(), 4 * t.a.size());
          for (int l = 2; l <= int(order); ++l)
            std::memcpy(&expected[base + (tableB - aligned) + 4 * ref::Row(l)], &t.b[ref::Row(l)], 4 * l);
        }
        std::memcpy(&expected[base + offset], start, 24);  // header fields checked above
        for (size_t i = 0; i < storage.size(); ++i)
          ASSERT_EQ(storage[i], expected[i]) << "byte " << ptrdiff_t(i - base - offset) << " of the block";
      }
    }
  }
}

}  // namespace
