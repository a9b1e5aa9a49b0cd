// The plain baseline the SH benchmarks compare against: real spherical
// harmonics of one direction at a time by the textbook associated-Legendre
// recurrence in single precision,
//   P(m, m)   = (-1)^m (2m-1)!!                     (times (1-z^2)^(m/2), which
//   P(m+1, m) = (2m+1) z P(m, m)                     the (x + iy)^m factor
//   P(l, m)   = ((2l-1) z P(l-1, m) - (l+m-1) P(l-2, m)) / (l-m)   supplies)
// with the normalisation sqrt(2) K(l, m) from a table made once.
#pragma once

#include <cmath>
#include <vector>

class BaselineSH {
 public:
  explicit BaselineSH(int order) : order_(order), norm_((order + 1) * (order + 1)) {
    for (int l = 0; l <= order; ++l)
      for (int m = 0; m <= l; ++m) {
        double ratio = 1;
        for (int j = l - m + 1; j <= l + m; ++j)
          ratio /= j;
        double k = std::sqrt((2 * l + 1) / (4 * M_PI) * ratio);
        if (m > 0)
          k *= std::sqrt(2.0);
        norm_[l * l + l + m] = float(k);
      }
  }

  // (order + 1)^2 values of each direction, in the library's layout.
  void Evaluate(const float* xs, const float* ys, const float* zs, int count, float* dst) const {
    const int n = (order_ + 1) * (order_ + 1);
    for (int i = 0; i < count; ++i, dst += n) {
      const float x = xs[i], y = ys[i], z = zs[i];
      float c = 1, s = 0, pmm = 1;
      for (int m = 0; m <= order_; ++m) {
        if (m > 0) {
          const float cNext = c * x - s * y;
          s = c * y + s * x;
          c = cNext;
          pmm *= -float(2 * m - 1);
        }
        float p2 = 0, p1 = pmm;
        for (int l = m; l <= order_; ++l) {
          float p = p1;
          if (l == m + 1)
            p = float(2 * m + 1) * z * pmm;
          else if (l > m + 1)
            p = (float(2 * l - 1) * z * p1 - float(l + m - 1) * p2) / float(l - m);
          if (l > m) {
            p2 = p1;
            p1 = p;
          }
          const int centre = l * l + l;
          const float k = norm_[centre + m] * p;
          if (m == 0) {
            dst[centre] = k;
          } else {
            dst[centre + m] = k * c;
            dst[centre - m] = k * s;
          }
        }
      }
    }
  }

 private:
  int order_;
  std::vector<float> norm_;
};
