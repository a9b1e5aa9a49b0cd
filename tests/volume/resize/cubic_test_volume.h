// Source volumes for the cubic tests: any row and plane step (zero and
// negative included), with a margin of random samples around the volume so
// that the unchecked taps of tiny sources read defined memory, the same for
// the library and the model.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "test_util.h"

namespace cubictest {

template <typename T>
T RandomSample(qt::Rng& rng);
template <>
inline uint8_t RandomSample<uint8_t>(qt::Rng& rng) { return static_cast<uint8_t>(rng.Int(0, 255)); }
template <>
inline uint16_t RandomSample<uint16_t>(qt::Rng& rng) { return static_cast<uint16_t>(rng.Int(0, 65535)); }
template <>
inline float RandomSample<float>(qt::Rng& rng) {
  // Mostly plain values; now and then infinities, signed zeros, denormals.
  return rng.Chance(0.02) ? rng.Special(-300.0f, 300.0f) : rng.Uniform(-300.0f, 300.0f);
}

// Samples reachable through base + z * planeStep + y * step + x for z, y, x
// from -kMargin to extent + kMargin.
template <typename T>
class PaddedVolume {
 public:
  static constexpr int32_t kMargin = 3;

  PaddedVolume(int32_t w, int32_t h, int32_t d, int32_t step, int32_t planeStep, qt::Rng& rng)
      : w_(w), h_(h), d_(d), step_(step), planeStep_(planeStep) {
    int64_t lo = 0, hi = 0;
    for (int32_t z : {-kMargin, d + kMargin})
      for (int32_t y : {-kMargin, h + kMargin})
        for (int32_t x : {-kMargin, w + kMargin}) {
          const int64_t at = int64_t(z) * planeStep + int64_t(y) * step + x;
          lo = std::min(lo, at);
          hi = std::max(hi, at);
        }
    storage_.resize(static_cast<size_t>(hi - lo + 1));
    for (T& v : storage_) v = RandomSample<T>(rng);
    base_ = storage_.data() - lo;
    for (int32_t z = -kMargin; z < d + kMargin; ++z) planes_.push_back(base_ + int64_t(z) * planeStep);
  }

  const T* base() const { return base_; }
  // Plane pointers, indexable from -kMargin on.
  const T* const* planes() const { return planes_.data() + kMargin; }
  int32_t step() const { return step_; }
  int32_t planeStep() const { return planeStep_; }

 private:
  int32_t w_, h_, d_, step_, planeStep_;
  std::vector<T> storage_;
  const T* base_;
  std::vector<const T*> planes_;
};

// Equal bits, or NaN on both sides (payloads may differ with operand order).
inline bool SameSample(float a, float b) {
  return qt::Bits(a) == qt::Bits(b) || (std::isnan(a) && std::isnan(b));
}
inline bool SameSample(uint8_t a, uint8_t b) { return a == b; }
inline bool SameSample(uint16_t a, uint16_t b) { return a == b; }

inline std::string ShowSample(float v) { return qt::Show(v); }
inline std::string ShowSample(uint32_t v) { return std::to_string(v); }

template <typename T>
::testing::AssertionResult SameSamples(const std::vector<T>& expected, const std::vector<T>& actual) {
  if (expected.size() != actual.size()) return ::testing::AssertionFailure() << "sizes differ";
  for (size_t i = 0; i < expected.size(); ++i)
    if (!SameSample(expected[i], actual[i])) {
      using Shown = typename std::conditional<std::is_same<T, float>::value, float, uint32_t>::type;
      return ::testing::AssertionFailure() << "at " << i << ": expected "
                                           << ShowSample(static_cast<Shown>(expected[i])) << ", got "
                                           << ShowSample(static_cast<Shown>(actual[i]));
    }
  return ::testing::AssertionSuccess();
}

}  // namespace cubictest
