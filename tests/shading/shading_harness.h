// Test cases for the masked shading functions: the arrays of one call, each
// at its own byte offset past a 16-byte boundary with guard words around it,
// filled with seeded values and mask words, and the layouts that reach every
// path.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include "test_util.h"

namespace shading_test {

// The only NaN the random data holds is the one the processor itself
// produces (0xFFC00000).  When two NaNs meet, which one survives depends on
// the operand order the compiler picked, which no contract fixes; with a
// single NaN pattern the result is the same either way.  NaNs with other
// payloads are tested one at a time.
inline float Value(qt::Rng& rng) {
  const float v = rng.Special();
  return std::isnan(v) ? qt::FromBits(0xFFC00000u) : v;
}

inline int32_t MaskWord(qt::Rng& rng, bool active) {
  static const int32_t kActive[] = {0, 1, 7, INT32_MAX};
  static const int32_t kMasked[] = {-1, -2, INT32_MIN, -123456};
  return active ? kActive[rng.Int(0, 3)] : kMasked[rng.Int(0, 3)];
}

enum class MaskKind { AllActive, AllMasked, Mixed, Blockwise };
constexpr MaskKind kMaskKinds[] = {MaskKind::AllActive, MaskKind::AllMasked, MaskKind::Mixed,
                                   MaskKind::Blockwise};

// The arrays of one call: 32-bit words (floats or mask words) in argument
// order, the planes of a three-plane operand one after another.
class Operands {
 public:
  Operands(const std::vector<int>& offsets, int32_t len) : offsets_(offsets) {
    const size_t n = len > 0 ? static_cast<size_t>(len) : 0;
    for (int offset : offsets)
      arrays_.push_back(std::make_unique<qt::GuardedBuffer<uint32_t>>(n, offset));
  }

  int Count() const { return static_cast<int>(arrays_.size()); }
  const int* Offsets() const { return offsets_.data(); }
  size_t Length() const { return arrays_[0]->size(); }
  // Pointers at offsets that are not a multiple of 4 are what the contract
  // allows; the library reads them without alignment assumptions.
  float* F(int k) const { return reinterpret_cast<float*>(arrays_[k]->data()); }
  int32_t* M(int k) const { return reinterpret_cast<int32_t*>(arrays_[k]->data()); }

  uint32_t Word(int k, size_t i) const {
    uint32_t w;
    std::memcpy(&w, arrays_[k]->data() + i, 4);
    return w;
  }
  void SetWord(int k, size_t i, uint32_t w) { std::memcpy(arrays_[k]->data() + i, &w, 4); }

  // Plain, aligned copies of every array, for the reference model.
  std::vector<std::vector<uint32_t>> Copy() const {
    std::vector<std::vector<uint32_t>> copy(arrays_.size(), std::vector<uint32_t>(Length()));
    for (int k = 0; k < Count(); ++k)
      for (size_t i = 0; i < Length(); ++i) copy[k][i] = Word(k, i);
    return copy;
  }

  bool GuardsIntact() const {
    for (const auto& a : arrays_)
      if (!a->GuardsIntact()) return false;
    return true;
  }

 private:
  std::vector<int> offsets_;
  std::vector<std::unique_ptr<qt::GuardedBuffer<uint32_t>>> arrays_;
};

// Random floats everywhere, and mask words of the given kind in array
// maskIndex.  Blockwise gives each group of four elements all-active,
// all-masked or mixed words, so that every block code of the aligned paths
// turns up.
inline void Fill(Operands& ops, int maskIndex, MaskKind kind, qt::Rng& rng) {
  int group = 0;  // Blockwise: 0 all active, 1 all masked, 2 mixed
  for (int k = 0; k < ops.Count(); ++k)
    for (size_t i = 0; i < ops.Length(); ++i) {
      if (k != maskIndex) {
        ops.SetWord(k, i, qt::Bits(Value(rng)));
        continue;
      }
      bool active = true;
      switch (kind) {
        case MaskKind::AllActive: active = true; break;
        case MaskKind::AllMasked: active = false; break;
        case MaskKind::Mixed: active = rng.Chance(0.5); break;
        case MaskKind::Blockwise:
          if (i % 4 == 0) group = rng.Int(0, 2);
          active = group == 0 || (group == 2 && rng.Chance(0.5));
          break;
      }
      ops.SetWord(k, i, static_cast<uint32_t>(MaskWord(rng, active)));
    }
}

// Lengths around multiples of 4, the blocked path's limits, and below 1.
inline const std::vector<int32_t>& Lengths() {
  static const std::vector<int32_t> lengths = {-5, -4, -1, 0,  1,  2,  3,  4,  5,  6,  7, 8,
                                               9,  11, 12, 13, 15, 16, 17, 31, 32, 33, 64, 67};
  return lengths;
}

// Offsets of `count` arrays that between them put every array at every
// offset: all together at 0, 4, 8 and 12; each array alone at 2, 4, 8 or 12
// with the others aligned; and seeded random mixes.
inline std::vector<std::vector<int>> Layouts(int count, qt::Rng& rng) {
  std::vector<std::vector<int>> layouts;
  for (int offset : {0, 4, 8, 12}) layouts.push_back(std::vector<int>(count, offset));
  for (int k = 0; k < count; ++k)
    for (int offset : {2, 4, 8, 12}) {
      std::vector<int> layout(count, 0);
      layout[k] = offset;
      layouts.push_back(layout);
    }
  static const int kOffsets[] = {0, 0, 4, 8, 12, 2};
  for (int r = 0; r < 12; ++r) {
    std::vector<int> layout(count);
    for (int& offset : layout) offset = kOffsets[rng.Int(0, 5)];
    layouts.push_back(layout);
  }
  return layouts;
}

}  // namespace shading_test
