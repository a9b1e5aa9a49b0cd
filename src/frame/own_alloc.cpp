#include "frame/qelr_internal.h"

void* ownAllocBytes(int32_t count) { return count < 1 ? nullptr : qelMalloc(count); }

// The product wraps like the 32-bit arithmetic the callers size with.
void* ownAllocWords(int32_t count) {
  return count < 1 ? nullptr : qelMalloc(static_cast<int32_t>(static_cast<uint32_t>(count) * 4u));
}

void* ownAllocQuads(int32_t count) {
  return count < 1 ? nullptr : qelMalloc(static_cast<int32_t>(static_cast<uint32_t>(count) * 8u));
}

void ownFree(void* block) { qelFree(block); }
