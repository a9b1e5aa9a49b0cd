// Size and layout of a qelrSHState block.
//
// The record's header (order, mode and the two table pointers) takes
// kShHeaderBytes.  A recurrence state keeps its two tables in the same block:
// recurA starts kShHeaderBytes past the block's first 16-byte boundary, and
// recurB at the first 16-byte boundary at or after the end of recurA.  The
// size formula leaves room for that only for a block that is itself 16-byte
// aligned; an unaligned block is overrun by up to 15 bytes.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/qelr_internal.h"

constexpr uint32_t kShMaxOrder = 15;
constexpr uint32_t kShHeaderBytes = 32;
constexpr uint32_t kShClosedFormBytes = kShHeaderBytes;

// Entries of one recurrence table: rows 0..order, row l holding l + 1.
inline uint32_t shTableEntries(uint32_t order) {
  return (order + 1) * (order + 2) / 2;
}

// Where entry (l, m) of a table stands.
inline uint32_t shTableRow(uint32_t l) {
  return l * (l + 1) / 2;
}

// Bytes of a recurrence state, in unsigned 32-bit arithmetic that is allowed
// to wrap: the order is not limited when a state is built.
inline uint32_t shRecurrenceStateBytes(uint32_t order) {
  const uint32_t entries = shTableEntries(order);
  return ((8 * entries + 30) & ~31u) + 16 + (kShHeaderBytes - 16);
}

inline bool shModeIsKnown(int32_t mode) {
  return mode == SHModeClosedForm || mode == SHModeRecurrence;
}

inline uintptr_t shAlignUp16(uintptr_t address) {
  return (address + 15) & ~uintptr_t(15);
}

// The record at the start of a block, copied bytewise: a block may sit at
// any address, not only at one aligned for the record's pointers.
inline qelrSHState shReadHeader(const qelrSHState* state) {
  qelrSHState header;
  std::memcpy(&header, state, sizeof header);
  return header;
}

inline void shWriteHeader(qelrSHState* state, const qelrSHState& header) {
  std::memcpy(state, &header, sizeof header);
}
