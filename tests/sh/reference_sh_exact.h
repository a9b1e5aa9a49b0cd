// The real spherical harmonics from their defining formula, in long double:
//   Y(l, 0)  = K(l, 0) P_l(z)
//   Y(l, ±m) = (-1)^m sqrt(2) K(l, m) D(l, m)(z) {C_m, S_m}
// with D(l, m) the m-th derivative of the Legendre polynomial P_l,
// C_m + i S_m = (x + iy)^m and K(l, m) = sqrt((2l+1)/(4 pi) (l-m)!/(l+m)!).
// Nothing here shares code or constants with the library's generator.
#pragma once

#include <cmath>
#include <vector>

namespace exact {

struct Value {
  long double y;          // the coefficient
  long double magnitude;  // the same expansion with every term made positive
};

// Coefficients of P_l by the explicit sum, index = power of z.
inline std::vector<long double> Legendre(int l) {
  std::vector<long double> c(l + 1, 0.0L);
  for (int k = 0; 2 * k <= l; ++k) {
    long double term = std::ldexp(1.0L, -l);
    for (int j = 1; j <= k; ++j)
      term *= (long double)(l - k + j) / j;  // C(l, k)
    long double c2 = 1.0L;
    for (int j = 1; j <= l; ++j)
      c2 *= (long double)(l - 2 * k + j) / j;  // C(2l-2k, l)
    c[l - 2 * k] = ((k % 2) ? -1.0L : 1.0L) * term * c2;
  }
  return c;
}

inline Value Y(int l, int m, long double x, long double y, long double z) {
  const int am = m < 0 ? -m : m;
  std::vector<long double> d = Legendre(l);
  for (int t = 0; t < am; ++t)
    for (size_t p = 0; p + 1 < d.size(); ++p)
      d[p] = d[p + 1] * (long double)(p + 1);
  long double poly = 0.0L, polyAbs = 0.0L;
  for (int p = l - am; p >= 0; --p) {
    poly = poly * z + d[p];
    polyAbs = polyAbs * std::fabs(z) + std::fabs(d[p]);
  }
  long double ratio = 1.0L;  // (l-m)!/(l+m)!
  for (int j = l - am + 1; j <= l + am; ++j)
    ratio /= j;
  const long double pi = 3.141592653589793238462643383279502884L;
  long double k = std::sqrt((2 * l + 1) / (4.0L * pi) * ratio);
  if (am > 0)
    k *= std::sqrt(2.0L) * ((am % 2) ? -1.0L : 1.0L);
  long double re = 1.0L, im = 0.0L;
  for (int t = 0; t < am; ++t) {
    const long double r = re * x - im * y;
    im = re * y + im * x;
    re = r;
  }
  const long double harmonic = m > 0 ? re : m < 0 ? im : 1.0L;
  const long double harmonicAbs = std::pow(std::fabs(x) + std::fabs(y), (long double)am);
  return {k * poly * harmonic, std::fabs(k) * polyAbs * harmonicAbs};
}

}  // namespace exact
