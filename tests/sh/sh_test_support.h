// Helpers shared by the spherical-harmonic tests.
#pragma once

#include <cstdlib>
#include <vector>

#include "qelr.h"
#include "test_util.h"

namespace sht {

// A state built in a 16-byte aligned block (or `offset` bytes past one).
class State {
 public:
  State(uint32_t order, int32_t mode, size_t offset = 0) {
    int32_t size = 0;
    EXPECT_EQ(qelrSHGetSize_32f(order, mode, &size), StatusOk);
    storage_.assign(size + 64, 0);
    const uintptr_t aligned = (reinterpret_cast<uintptr_t>(storage_.data()) + 15) & ~uintptr_t(15);
    state_ = reinterpret_cast<qelrSHState*>(aligned + offset);
    EXPECT_EQ(qelrSHInit_32f(state_, order, mode), StatusOk);
  }
  State(const State&) = delete;
  operator const qelrSHState*() const { return state_; }

 private:
  std::vector<uint8_t> storage_;
  qelrSHState* state_;
};

inline int Count(uint32_t order) {
  return int((order + 1) * (order + 1));
}

// Bitwise equality, except that any two NaNs match: the payload of a NaN
// that meets another NaN depends on which operand a compiler put first.
inline ::testing::AssertionResult SameValues(const float* expected, const float* actual, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    if (std::isnan(expected[i]) && std::isnan(actual[i]))
      continue;
    if (qt::Bits(expected[i]) != qt::Bits(actual[i]))
      return ::testing::AssertionFailure()
             << "at " << i << ": expected " << qt::Show(expected[i]) << ", got " << qt::Show(actual[i]);
  }
  return ::testing::AssertionSuccess();
}

struct Directions {
  std::vector<float> x, y, z;
  void Add(float a, float b, float c) {
    x.push_back(a);
    y.push_back(b);
    z.push_back(c);
  }
};

// Random unit vectors, and with `specials` now and then a zero, infinity,
// NaN, denormal or huge component.
inline Directions RandomDirections(qt::Rng& rng, int n, bool specials = false) {
  Directions d;
  for (int i = 0; i < n; ++i) {
    float v[3];
    double norm = 0;
    do {
      for (float& c : v)
        c = rng.Uniform(-1.0f, 1.0f);
      norm = double(v[0]) * v[0] + double(v[1]) * v[1] + double(v[2]) * v[2];
    } while (norm < 1e-3 || norm > 1.0);
    for (float& c : v)
      c = float(c / std::sqrt(norm));
    if (specials && rng.Chance(0.3))
      v[rng.Int(0, 2)] = rng.Special(-2.0f, 2.0f);
    d.Add(v[0], v[1], v[2]);
  }
  return d;
}

}  // namespace sht
