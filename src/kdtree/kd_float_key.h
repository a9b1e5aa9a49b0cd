// Floats as unsigned keys that sort in float order: a negative value has
// all its bits inverted and any other gets the sign bit, so that -0 comes
// just below +0 and NaNs go to the two ends by their sign.
#pragma once

#include <cstdint>
#include <cstring>

inline uint32_t KDFloatKeyFromBits(uint32_t bits) {
  return (bits & 0x80000000u) ? ~bits : bits | 0x80000000u;
}
inline uint32_t KDFloatBitsFromKey(uint32_t key) {
  return (key & 0x80000000u) ? key & 0x7FFFFFFFu : ~key;
}

inline uint32_t KDFloatKey(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, 4);
  return KDFloatKeyFromBits(bits);
}
inline float KDFloatFromKey(uint32_t key) {
  const uint32_t bits = KDFloatBitsFromKey(key);
  float value;
  std::memcpy(&value, &bits, 4);
  return value;
}
