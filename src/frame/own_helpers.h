// Allocation wrappers and single-precision array helpers used inside calls.
//
// The allocation wrappers give null for a count below 1 without asking the
// core; the multiplication by the unit size is done in 32 bits unchecked.
// Each array helper returns StatusNullPointer for a null pointer, then
// StatusBadSize for a length below 1, and otherwise StatusOk.
#pragma once

#include <cstdint>

#include "qelr.h"

void* ownAllocBytes(int32_t count);
void* ownAllocWords(int32_t count);  // count of 4-byte units
void* ownAllocQuads(int32_t count);  // count of 8-byte units
void ownFree(void* block);           // null is harmless

qelStatus ownZero16(int16_t* destination, int32_t length);
qelStatus ownZero32f(float* destination, int32_t length);
// Also copies plain 32-bit words and records made of them; no overlap.
qelStatus ownCopy32f(const float* source, float* destination, int32_t length);
qelStatus ownAdd32fInPlace(const float* source, float* sourceDestination, int32_t length);
// value exactly 1: nothing is touched; exactly 0: the array is cleared, so
// infinities and NaNs are wiped rather than multiplied.
qelStatus ownMulC32fInPlace(float value, float* sourceDestination, int32_t length);
// value exactly 1: a copy; exactly 0: destination cleared, source not read.
qelStatus ownMulC32f(const float* source, float value, float* destination, int32_t length);
// Sum of products.  Below 32 elements the sum runs in element order.  From
// 32 on, four lanes each sum every fourth product of the first (length & ~3)
// elements, the lanes are combined as (l0 + l1) + (l2 + l3), and the last
// length % 4 products are added in order.
qelStatus ownDot32f(const float* sourceA, const float* sourceB, int32_t length, float* result);
// In-place ascending sort by float comparison (quicksort, explicit stack).
qelStatus ownSortAscend32f(float* array, int32_t length);
