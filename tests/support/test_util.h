// Small tools shared by the tests: seeded random data, bit-level float
// comparison, and buffers at a chosen alignment with guard words around them.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace qt {

inline uint32_t Bits(float f) {
  uint32_t u;
  std::memcpy(&u, &f, 4);
  return u;
}
inline float FromBits(uint32_t u) {
  float f;
  std::memcpy(&f, &u, 4);
  return f;
}

// "1.5 (0x3fc00000)": how a mismatch is shown.
inline std::string Show(float f) {
  char text[64];
  std::snprintf(text, sizeof text, "%.9g (0x%08x)", static_cast<double>(f), Bits(f));
  return text;
}

// Compares two float arrays bit for bit; reports the first mismatch.
inline ::testing::AssertionResult SameBits(const float* expected, const float* actual, size_t n) {
  for (size_t i = 0; i < n; ++i)
    if (Bits(expected[i]) != Bits(actual[i]))
      return ::testing::AssertionFailure()
             << "at " << i << ": expected " << Show(expected[i]) << ", got " << Show(actual[i]);
  return ::testing::AssertionSuccess();
}

// Seeded generator with the value mixes the tests need.
class Rng {
 public:
  explicit Rng(uint64_t seed) : engine_(seed) {}

  uint32_t U32() { return static_cast<uint32_t>(engine_()); }
  int32_t Int(int32_t lo, int32_t hi) {  // inclusive
    return std::uniform_int_distribution<int32_t>(lo, hi)(engine_);
  }
  float Uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(engine_); }
  bool Chance(double p) { return std::bernoulli_distribution(p)(engine_); }

  // Ordinary values most of the time, and now and then a signed zero, an
  // infinity, a NaN, a denormal or a huge value.
  float Special(float lo = -4.0f, float hi = 4.0f) {
    switch (Int(0, 19)) {
      case 0: return 0.0f;
      case 1: return -0.0f;
      case 2: return std::numeric_limits<float>::infinity();
      case 3: return -std::numeric_limits<float>::infinity();
      case 4: return std::numeric_limits<float>::quiet_NaN();
      case 5: return FromBits(0x00000123u | (U32() & 0x80000000u));
      case 6: return Chance(0.5) ? 3.0e38f : -3.0e38f;
      default: return Uniform(lo, hi);
    }
  }


 private:
  std::mt19937_64 engine_;
};

// A buffer of n elements of T that starts `offsetBytes` past a 64-byte
// boundary, with guard words before and after that must survive.
template <typename T>
class GuardedBuffer {
 public:
  static constexpr uint8_t kGuard = 0xA5;
  static constexpr size_t kGuardBytes = 64;

  GuardedBuffer(size_t n, size_t offsetBytes = 0) : n_(n) {
    storage_.resize(kGuardBytes + offsetBytes + n * sizeof(T) + kGuardBytes + 64);
    uintptr_t base = reinterpret_cast<uintptr_t>(storage_.data());
    uintptr_t aligned = (base + kGuardBytes + 63) & ~uintptr_t(63);
    data_ = reinterpret_cast<T*>(aligned + offsetBytes);
    std::memset(storage_.data(), kGuard, storage_.size());
  }

  T* data() { return data_; }
  const T* data() const { return data_; }
  size_t size() const { return n_; }
  T& operator[](size_t i) { return data_[i]; }

  // True when every byte outside the n elements still holds the guard.
  bool GuardsIntact() const {
    const uint8_t* first = reinterpret_cast<const uint8_t*>(data_);
    for (const uint8_t* p = storage_.data(); p < storage_.data() + storage_.size(); ++p)
      if ((p < first || p >= first + n_ * sizeof(T)) && *p != kGuard) return false;
    return true;
  }

 private:
  size_t n_;
  std::vector<uint8_t> storage_;
  T* data_;
};

}  // namespace qt
