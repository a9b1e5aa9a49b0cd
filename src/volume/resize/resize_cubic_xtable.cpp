// Building the x tables of the interior: the grouped weights and the check
// for indexes that step by two.
#include <cstdint>

#include "volume/resize/resize_rows_cubic.h"

namespace {

constexpr int32_t kG = kCubicGroup;

// A group of columns' weights, four per column, as the group's first
// weights, then its second, third and fourth.
void Regroup(const float* weights4, float* group) {
  for (int32_t column = 0; column < kG; ++column)
    for (int32_t k = 0; k < 4; ++k) group[kG * k + column] = weights4[4 * column + k];
}

}  // namespace

void GroupCubicXWeights(float* weights4, int32_t n, float* lastGroup) {
  if (n < kG) return;
  // The last group first: it shares columns with the group before, which
  // is about to be rewritten.
  Regroup(weights4 + 4 * (n - kG), lastGroup);
  for (int32_t g = 0; g < n / kG; ++g) {
    float group[4 * kG];
    Regroup(weights4 + 4 * kG * g, group);
    for (int32_t k = 0; k < 4 * kG; ++k) weights4[4 * kG * g + k] = group[k];
  }
}

bool CubicIndexStepsByTwo(const int32_t* index, int32_t n) {
  if (n < kCubicGroup) return false;
  for (int32_t i = 0; i + 1 < n; ++i)
    if (int64_t(index[i + 1]) - index[i] != 2) return false;
  return true;
}
