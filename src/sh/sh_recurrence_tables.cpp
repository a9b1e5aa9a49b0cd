// Factors of the band recurrence:
//   Y(l, m) = recurA(l, m) z Y(l-1, m) + recurB(l, m) Y(l-2, m)
// and recurA(l, l) for the sectoral step.  Each entry is computed at the
// precision noted beside it; the evaluations are bit-exact against tables
// built exactly this way, so the mix of single and double precision stays.
#include "sh/sh_recurrence_tables.h"

#include <cmath>
#include <cstring>

#include "sh/sh_state_layout.h"

namespace {

float FloatFromBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// (l, l): -sqrt((2l+1) / (2l)), quotient and root in double.
float SectoralFactor(uint32_t l) {
  const double quotient = static_cast<double>(2 * l + 1) / static_cast<double>(2 * l);
  return static_cast<float>(-std::sqrt(quotient));
}

// recurA(l, 0): sqrt(4l^2 - 1) / l in double.
float CentreFactorA(uint32_t l) {
  const double ll = l;
  return static_cast<float>(std::sqrt(4.0 * ll * ll - 1.0) / ll);
}

// recurB(l, 0): (2l+1)/(2l-3) divided in single precision, its root in
// double, times 1/l - 1 in double.
float CentreFactorB(uint32_t l) {
  const float quotient = static_cast<float>(2 * l + 1) / static_cast<float>(2 * l - 3);
  const double root = std::sqrt(static_cast<double>(quotient));
  return static_cast<float>((1.0 / l - 1.0) * root);
}

// recurA(l, m), 0 < m < l: quotient of the integers and its root, both in
// single precision.
float InnerFactorA(uint32_t l, uint32_t m) {
  const int64_t ll = l, mm = m;
  const float quotient = static_cast<float>(4 * ll * ll - 1) / static_cast<float>(ll * ll - mm * mm);
  return std::sqrt(quotient);
}

// recurB(l, m), 0 < m < l: exact integers, single-precision quotient,
// double-precision root, negated.  At m = l - 1 this is -0.
float InnerFactorB(uint32_t l, uint32_t m) {
  const int64_t ll = l, mm = m;
  const int64_t numerator = (2 * ll + 1) * (ll - 1) * (ll - 1) - (2 * ll + 1) * mm * mm;
  const int64_t denominator = (2 * ll - 3) * ll * ll - (2 * ll - 3) * mm * mm;
  const float quotient = static_cast<float>(numerator) / static_cast<float>(denominator);
  return static_cast<float>(-std::sqrt(static_cast<double>(quotient)));
}

}  // namespace

void shFillRecurrenceTables(float* recurA, float* recurB, uint32_t order) {
  // sqrt(1/(4 pi)) and sqrt(3/(4 pi)) as single-precision bit patterns.
  recurA[0] = FloatFromBits(0x3E906EBBu);
  recurA[1] = FloatFromBits(0x3EFA2A1Du);
  recurA[2] = FloatFromBits(0xBEFA2A1Du);

  for (uint32_t l = 2; l <= order; ++l) {
    float* a = recurA + shTableRow(l);
    float* b = recurB + shTableRow(l);
    a[0] = CentreFactorA(l);
    b[0] = CentreFactorB(l);
    for (uint32_t m = 1; m < l; ++m) {
      a[m] = InnerFactorA(l, m);
      b[m] = InnerFactorB(l, m);
    }
    a[l] = SectoralFactor(l);
  }
}
