// A block of rays: the facts that decide which path a function takes, and
// the planes of an eye-ray call.
#pragma once

#include <cstdint>

#include "qelr.h"

// A block takes the packet path only if both sides are multiples of 4 and
// every plane named by the function is 16-byte aligned.
inline bool IsAligned16(const void* p) { return (reinterpret_cast<uintptr_t>(p) & 15) == 0; }

inline bool IsPacketBlock(qelrSize size) { return size.width % 4 == 0 && size.height % 4 == 0; }


// The planes of one eye-ray call, as both paths walk them.
struct EyeBlock {
  const float* eye;
  const float* const* direction;
  float* dist;
  float* const* hit;
  int32_t* triangle;
  const qelrSceneContext* context;
};
