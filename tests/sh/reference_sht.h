// Scalar models of the six transforms, one direction at a time in their
// defining order: the basis of direction i (by `basisOf`, called when
// direction i comes up, so that it sees earlier writes), then per channel
// in turn a scaled copy added into the coefficients, or a dot product
// stored.  Channel c of direction i is at values[c][i * stride] or
// dst[c][i * stride].
#pragma once

#include <functional>
#include <vector>

#include "reference_sh.h"

namespace ref {

using BasisOf = std::function<void(int direction, float* record)>;

inline void Forward(const BasisOf& basisOf, int count, int n, int channels, const float* const values[], int stride,
                    float* const coeffs[]) {
  std::vector<float> basis(n), scaled(n);
  for (int i = 0; i < count; ++i) {
    basisOf(i, basis.data());
    for (int c = 0; c < channels; ++c) {
      MulC(basis.data(), values[c][size_t(i) * stride], scaled.data(), n);
      AddInPlace(scaled.data(), coeffs[c], n);
    }
  }
}

inline void Inverse(const BasisOf& basisOf, int count, int n, int channels, const float* const coeffs[],
                    float* const dst[], int stride) {
  std::vector<float> basis(n);
  for (int i = 0; i < count; ++i) {
    basisOf(i, basis.data());
    for (int c = 0; c < channels; ++c)
      dst[c][size_t(i) * stride] = Dot(basis.data(), coeffs[c], n);
  }
}

}  // namespace ref
