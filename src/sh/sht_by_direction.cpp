// The transforms one direction at a time.
#include "sh/sht_by_direction.h"

#include "sh/sh_basis.h"

namespace {

// Room for bands 0..15 of one direction.
constexpr int32_t kWorkFloats = 256;

// The status of the evaluation is not looked at: a state that the evaluator
// refuses (a corrupted mode, an order above 15) leaves `basis` as it was,
// and the transform goes on with it.  Callers must keep the order at 15 or
// below; nothing here enforces it.
void DirectionBasis(const float* x, const float* y, const float* z, int32_t i, uint32_t order,
                    const qelrSHState* state, float* basis) {
  (void)shBasis(x + i, y + i, z + i, 1, basis, order, state);
}

// coeffs += value * basis, as a scaled copy by ownMulC32f added with
// ownAdd32fInPlace, in one pass without the copy: a value of exactly 1 adds
// the basis as it is, and a value of exactly 0 adds +0.0 (the copy would
// have been cleared, not multiplied, so infinities in the basis leave no
// NaN).
void AddScaledBasis(const float* basis, float value, float* coeffs, int32_t n) {
  if (value == 0.0f) {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += 0.0f;
  } else if (value == 1.0f) {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += basis[k];
  } else {
    for (int32_t k = 0; k < n; ++k) coeffs[k] += basis[k] * value;
  }
}

int32_t CoefficientCount(uint32_t order) {
  return static_cast<int32_t>((order + 1) * (order + 1));
}

}  // namespace

void shtForwardByDirection(const ShtForwardJob& job) {
  const int32_t n = CoefficientCount(job.order);
  alignas(16) float basis[kWorkFloats];
  for (int32_t i = 0; i < job.count; ++i) {
    DirectionBasis(job.x, job.y, job.z, i, job.order, job.state, basis);
    for (int c = 0; c < job.channels; ++c)
      AddScaledBasis(basis, job.values[c][size_t(i) * job.valueStride], job.coeffs[c], n);
  }
}

void shtInverseByDirection(const ShtInverseJob& job) {
  const int32_t n = CoefficientCount(job.order);
  alignas(16) float basis[kWorkFloats];
  for (int32_t i = 0; i < job.count; ++i) {
    DirectionBasis(job.x, job.y, job.z, i, job.order, job.state, basis);
    for (int c = 0; c < job.channels; ++c)
      ownDot32f(basis, job.coeffs[c], n, &job.dst[c][size_t(i) * job.dstStride]);
  }
}
