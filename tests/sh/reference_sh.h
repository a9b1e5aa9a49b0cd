// Scalar models of the spherical-harmonic arithmetic, written from the
// library's documented arithmetic: the factor tables entry by entry at their
// precisions, the band recurrence in single precision reading the previous
// bands from the output record, and the array helpers the transforms use.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "test_util.h"

namespace ref {

inline int Index(int l, int m) {
  return l * l + l + m;
}
inline int Row(int l) {
  return l * (l + 1) / 2;
}

struct Tables {
  std::vector<float> a, b;
};

// Rows 0..order of recurA and recurB.  Entries of rows 0 and 1 of recurB
// and (l, l) of recurB are zero.
inline Tables RecurrenceTables(int order) {
  Tables t;
  const int entries = (order + 1) * (order + 2) / 2;
  t.a.assign(entries < 3 ? 3 : entries, 0.0f);
  t.b.assign(entries, 0.0f);
  t.a[0] = qt::FromBits(0x3E906EBB);
  t.a[1] = qt::FromBits(0x3EFA2A1D);
  t.a[2] = qt::FromBits(0xBEFA2A1D);
  for (int l = 2; l <= order; ++l) {
    const double dl = l;
    t.a[Row(l) + l] = static_cast<float>(-std::sqrt(double(2 * l + 1) / double(2 * l)));
    t.a[Row(l)] = static_cast<float>(std::sqrt(4.0 * dl * dl - 1.0) / dl);
    const float q0 = float(2 * l + 1) / float(2 * l - 3);
    t.b[Row(l)] = static_cast<float>(std::sqrt(double(q0)) * (1.0 / dl - 1.0));
    for (int m = 1; m < l; ++m) {
      const int64_t L = l, M = m;
      t.a[Row(l) + m] = std::sqrt(float(4 * L * L - 1) / float(L * L - M * M));
      const int64_t num = (2 * L + 1) * (L - 1) * (L - 1) - (2 * L + 1) * M * M;
      const int64_t den = (2 * L - 3) * L * L - (2 * L - 3) * M * M;
      t.b[Row(l) + m] = static_cast<float>(-std::sqrt(double(float(num) / float(den))));
    }
  }
  return t;
}

// One direction's record of (order + 1)^2 values by the band recurrence.
inline void Recurrence(const float* A, const float* B, float x, float y, float z, int order, float* Y) {
  Y[0] = A[0];
  if (order < 1)
    return;
  Y[Index(1, -1)] = A[Row(1) + 1] * y;
  Y[Index(1, 0)] = A[Row(1)] * z;
  Y[Index(1, 1)] = A[Row(1) + 1] * x;
  for (int l = 2; l <= order; ++l) {
    const float* a = A + Row(l);
    const float* b = B + Row(l);
    const float p = Y[Index(l - 1, l - 1)], n = Y[Index(l - 1, -(l - 1))];
    Y[Index(l, l)] = (p * x - n * y) * a[l];
    Y[Index(l, -l)] = (p * y + n * x) * a[l];
    Y[Index(l, l - 1)] = a[l - 1] * z * p;
    Y[Index(l, -(l - 1))] = a[l - 1] * z * n;
    Y[Index(l, 0)] = a[0] * z * Y[Index(l - 1, 0)] + b[0] * Y[Index(l - 2, 0)];
    for (int m = 1; m <= l - 2; ++m)
      for (int s : {1, -1})
        Y[Index(l, s * m)] = a[m] * z * Y[Index(l - 1, s * m)] + b[m] * Y[Index(l - 2, s * m)];
  }
}

// The array helpers as the transforms rely on them.
inline void MulC(const float* src, float value, float* dst, int n) {
  for (int i = 0; i < n; ++i)
    dst[i] = value == 1.0f ? src[i] : value == 0.0f ? 0.0f : src[i] * value;
}
inline void AddInPlace(const float* src, float* dst, int n) {
  for (int i = 0; i < n; ++i)
    dst[i] += src[i];
}
// Below 32 elements in order; from 32 on, four lanes over the multiple of 4,
// combined as (l0 + l1) + (l2 + l3), then the rest in order.
inline float Dot(const float* a, const float* b, int n) {
  float sum = 0.0f;
  int i = 0;
  if (n >= 32) {
    float lane[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (; i + 4 <= n; i += 4)
      for (int k = 0; k < 4; ++k)
        lane[k] += a[i + k] * b[i + k];
    sum = (lane[0] + lane[1]) + (lane[2] + lane[3]);
  }
  for (; i < n; ++i)
    sum += a[i] * b[i];
  return sum;
}

}  // namespace ref
