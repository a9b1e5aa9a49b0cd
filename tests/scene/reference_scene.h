// Plain scalar models of the scene-preparation arithmetic, written from the
// documented operation order, for bit-for-bit comparison with the library.
#pragma once

#include <xmmintrin.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "qelr.h"

namespace ref {

inline void CrossEdges(const float* A, const float* B, const float* C, double e1[3], double e2[3], double n[3]) {
  for (int i = 0; i < 3; ++i) {
    e1[i] = double(A[i]) - double(C[i]);
    e2[i] = double(B[i]) - double(C[i]);
  }
  n[0] = e1[1] * e2[2] - e1[2] * e2[1];
  n[1] = e1[2] * e2[0] - e2[2] * e1[0];
  n[2] = e2[1] * e1[0] - e1[1] * e2[0];
}

inline qelrTriangleAccel TriangleAccel(const float* A, const float* B, const float* C) {
  double e1[3], e2[3], n[3];
  CrossEdges(A, B, C, e1, e2, n);
  const double a0 = std::fabs(n[0]), a1 = std::fabs(n[1]), a2 = std::fabs(n[2]);
  int k, u, w;
  double sign;
  if (a2 > (a0 > a1 ? a0 : a1)) {
    k = 2, u = 0, w = 1, sign = 1;
  } else if (a1 > a0) {
    k = 1, u = 0, w = 2, sign = -1;
  } else {
    k = 0, u = 1, w = 2, sign = 1;
  }
  qelrTriangleAccel r;
  std::memset(&r, 0, sizeof r);
  if (n[k] == 0.0) return r;
  const double inverse = 1.0 / n[k];
  r.axes = uint32_t(w) | uint32_t(u) << 2 | uint32_t(k) << 4;
  if (std::fabs(n[w]) < 2.220446049250313e-16 && std::fabs(n[u]) < 2.220446049250313e-16) {
    r.axes |= 0x80000000u;
  } else {
    r.normalU = float(n[u] * inverse);
    r.normalW = float(n[w] * inverse);
  }
  const double scaled = inverse * sign;
  r.pointK = C[k];
  r.pointU = C[u];
  r.pointW = C[w];
  r.edge2U = float(e2[u] * scaled);
  r.edge2W = float(e2[w] * scaled);
  r.edge1U = float(e1[u] * scaled);
  r.edge1W = float(e1[w] * scaled);
  return r;
}

inline void TriangleNormal(const float* A, const float* B, const float* C, float out[3]) {
  double e1[3], e2[3], n[3];
  CrossEdges(A, B, C, e1, e2, n);
  const double square = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
  for (int i = 0; i < 3; ++i) out[i] = square < 2.220446049250313e-16 ? 0.0f : float(n[i] / std::sqrt(square));
}

inline void BoundBox(const float* v, int count, float box[6]) {
  float lo[3] = {3.4028235e+38f, 3.4028235e+38f, 3.4028235e+38f};
  float hi[3] = {-3.4028235e+38f, -3.4028235e+38f, -3.4028235e+38f};
  for (int i = 0; i < count; ++i)
    for (int k = 0; k < 3; ++k) {
      lo[k] = v[3 * i + k] < lo[k] ? v[3 * i + k] : lo[k];
      hi[k] = v[3 * i + k] > hi[k] ? v[3 * i + k] : hi[k];
    }
  float largest = 1.1754944e-38f;
  for (int k = 0; k < 3; ++k) {
    if (std::fabs(lo[k]) > largest) largest = std::fabs(lo[k]);
    if (std::fabs(hi[k]) > largest) largest = std::fabs(hi[k]);
  }
  const float margin = largest * 0.0001f;
  for (int k = 0; k < 3; ++k) {
    box[k] = lo[k] - margin;
    box[k + 3] = hi[k] + margin;
  }
}

// c * R + (b * Q + a * P), component by component.
inline void BlendNormals(const float* P, const float* Q, const float* R, float a, float b, float sum[3]) {
  const float c = (1.0f - a) - b;
  for (int k = 0; k < 3; ++k) sum[k] = c * R[k] + (b * Q[k] + a * P[k]);
}

inline float SumOfSquares(const float s[3]) { return (s[0] * s[0] + s[1] * s[1]) + s[2] * s[2]; }

// Scalar path: true square root, short vectors (strictly under 2^-23) zeroed.
inline void NormaliseScalar(float s[3]) {
  const float square = SumOfSquares(s);
  if (1.1920929e-07f > square) {
    s[0] = s[1] = s[2] = 0.0f;
    return;
  }
  for (int k = 0; k < 3; ++k) s[k] = s[k] / std::sqrt(square);
}

// Four-ray path: 12-bit rsqrt cleared unless square > 2^-23, one Newton step.
inline void NormaliseFourWide(float s[3]) {
  const float square = SumOfSquares(s);
  float y = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(square)));
  if (!(square > 1.1920929e-07f)) y = 0.0f;
  const float y2 = (y * -0.5f) * (((square * y) * y) - 3.0f);
  for (int k = 0; k < 3; ++k) s[k] = s[k] * y2;
}

}  // namespace ref
