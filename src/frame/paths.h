// Path choice by alignment, and element access at any alignment.
//
// Several exports run a faster path only when every operand it reads with
// aligned vector loads starts on a 16-byte boundary and the length is a
// multiple of 4.  Everywhere else an operand may start at any byte address,
// so single elements are read and written through memcpy, which makes no
// alignment assumption the compiler could act on.
#pragma once

#include <cstdint>
#include <cstring>

inline bool IsAligned16(const void* p) { return (reinterpret_cast<uintptr_t>(p) & 15) == 0; }

inline bool AllAligned16() { return true; }

template <typename... More>
inline bool AllAligned16(const void* first, More... more) {
  return IsAligned16(first) && AllAligned16(more...);
}

// True for 0, 4, -4, 8, ...; a negative length is a multiple of 4 when it
// divides evenly, like a positive one.
inline bool IsMultipleOf4(int32_t length) { return length % 4 == 0; }

inline float LoadFloat(const float* p) {
  float value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

inline void StoreFloat(float* p, float value) { std::memcpy(p, &value, sizeof value); }

inline int32_t LoadWord(const int32_t* p) {
  int32_t value;
  std::memcpy(&value, p, sizeof value);
  return value;
}
