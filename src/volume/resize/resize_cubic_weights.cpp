// The cubic kernels, evaluated in double precision exactly in the grouping
// written below and narrowed to float.  The weights are not normalised: a
// table's four weights sum to whatever the polynomials give.
#include "volume/resize/resize_cubic_weights.h"

#include <cmath>

#include "qelr.h"

namespace {

// Each kernel has a near form for |x| < 1 and a far form for 1 <= |x| < 2.
struct LagrangeKernel {
  static double Near(double x) { return (x * 0.5 * x - x - 0.5) * x + 1.0; }
  static double Far(double x) {
    return (-0.16666666666666666 * x * x + x - 1.8333333333333333) * x + 1.0;
  }
};

struct BSplineKernel {
  static double Near(double x) { return (x * 0.5 * x - x) * x + 0.6666666666666666; }
  static double Far(double x) {
    return (-0.16666666666666666 * x * x + x) * x + (1.3333333333333333 - x - x);
  }
};

struct CatmullRomKernel {
  static double Near(double x) { return (x * 1.5 - 2.5) * x * x + 1.0; }
  static double Far(double x) { return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0; }
};

struct B05C03Kernel {
  static double Near(double x) { return (x * 0.95 - 1.7) * x * x + 0.8333333333333334; }
  static double Far(double x) {
    return ((-0.38333333333333336 * x + 2.0) * x - 3.4) * x + 1.8666666666666667;
  }
};

// The tests run in this order on purpose: a NaN distance fails all three
// comparisons and weighs 1.
template <typename Kernel>
float KernelWeight(float distance) {
  const double x = std::fabs(static_cast<double>(distance));
  if (x >= 2.0) return 0.0f;
  if (1.0 > x) return static_cast<float>(Kernel::Near(x));
  if (x >= 1.0) return static_cast<float>(Kernel::Far(x));
  return 1.0f;
}

template <typename Kernel>
void BuildWeights(const float* fractions, int32_t n, float* table) {
  for (int32_t i = 0; i < n; ++i) {
    // The four distances are formed in single precision from the fraction.
    const float u = -1.0f - fractions[i];
    table[4 * i + 0] = KernelWeight<Kernel>(u);
    table[4 * i + 1] = KernelWeight<Kernel>(1.0f + u);
    table[4 * i + 2] = KernelWeight<Kernel>(u + 2.0f);
    table[4 * i + 3] = KernelWeight<Kernel>(u + 3.0f);
  }
}

}  // namespace

void CubicWeightsLagrange(const float* fractions, int32_t n, float* table) {
  BuildWeights<LagrangeKernel>(fractions, n, table);
}

void CubicWeightsBSpline(const float* fractions, int32_t n, float* table) {
  BuildWeights<BSplineKernel>(fractions, n, table);
}

void CubicWeightsCatmullRom(const float* fractions, int32_t n, float* table) {
  BuildWeights<CatmullRomKernel>(fractions, n, table);
}

void CubicWeightsB05C03(const float* fractions, int32_t n, float* table) {
  BuildWeights<B05C03Kernel>(fractions, n, table);
}

CubicWeightsFn CubicWeightsForCode(int32_t interpolation) {
  switch (interpolation) {
    case InterCubic: return CubicWeightsLagrange;
    case InterCubicBSpline: return CubicWeightsBSpline;
    case InterCubicCatmullRom: return CubicWeightsCatmullRom;
    case InterCubicB05C03: return CubicWeightsB05C03;
    default: return nullptr;
  }
}
