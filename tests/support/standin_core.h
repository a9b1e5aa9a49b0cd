// Control of the stand-in core library that tests load in place of the
// real one.  Its feature mask comes from QELR_STANDIN_FEATURES (read before
// libqelr attaches) and its thread count from QELR_STANDIN_THREADS (default
// 2) until a test sets it.
#pragma once

#include <cstdint>

extern "C" {
void standinSetNumThreads(int32_t count);
// The k-th qelMalloc call from now on (1-based) returns null; 0 disarms.
void standinFailAllocAt(int64_t k);
// While on, every qelMalloc call returns null.
void standinFailAllAllocs(int on);
// Blocks handed out by qelMalloc and not yet given back to qelFree.
int64_t standinLiveBlocks(void);
// qelMalloc calls so far, failed ones included.
int64_t standinAllocCalls(void);
// The feature mask qelGetEnabledCpuFeatures reports.
uint64_t standinFeatures(void);
}
