// The ray-triangle test on the projection record of a triangle, in its
// single-ray and four-lane forms.
//
// Both forms compute the same quantities: D, the ray direction against the
// plane; T, the origin's distance to the plane in the same units; and P, Q,
// R, the three barycentric numerators.  The ray parameter of the hit is
// T / D and the barycentric coordinates are P / D and Q / D.  The two forms
// associate D and T differently on purpose; each keeps its own order.
// What counts as an accepted hit differs between the ray functions, so it
// is left to the callers.
#pragma once

#include <cstdint>
#include <emmintrin.h>

#include "qelr.h"

struct TriangleAxes {
  int32_t k, u, w;  // dominant axis, then the two axes of the projection
};

// A record whose `axes` word is 0 marks a degenerate triangle.
inline bool IsUsableTriangle(const qelrTriangleAccel& accel) { return accel.axes != 0; }

inline TriangleAxes ReadTriangleAxes(const qelrTriangleAccel& accel) {
  const uint32_t axes = accel.axes;
  return TriangleAxes{static_cast<int32_t>((axes >> 4) & 3), static_cast<int32_t>((axes >> 2) & 3),
                      static_cast<int32_t>(axes & 3)};
}

// ---- Single ray ----

struct TriangleCrossing {
  float D, T, P, Q, R;
};

inline TriangleCrossing CrossTriangle(const qelrTriangleAccel& a, const float origin[3],
                                      const float direction[3]) {
  const TriangleAxes ax = ReadTriangleAxes(a);
  TriangleCrossing c;
  c.D = ((a.normalU * direction[ax.u]) + (a.normalW * direction[ax.w])) + direction[ax.k];
  const float pu = a.pointU - origin[ax.u];
  const float pw = a.pointW - origin[ax.w];
  c.T = ((a.pointK + (a.normalU * pu)) + (a.normalW * pw)) - origin[ax.k];
  const float xu = (direction[ax.u] * c.T) - (pu * c.D);
  const float xw = (direction[ax.w] * c.T) - (pw * c.D);
  c.P = (a.edge2W * xu) - (a.edge2U * xw);
  c.Q = (a.edge1U * xw) - (a.edge1W * xu);
  c.R = (c.D - c.P) - c.Q;
  return c;
}

// P, Q and R all of one sign (zeros allowed), so the sign of D needs no
// test of its own.  A NaN fails.
inline bool CrossesInside(const TriangleCrossing& c) {
  return c.R * c.P >= 0.0f && c.P * c.Q >= 0.0f && c.R * c.Q >= 0.0f;
}

// ---- Four lanes ----

struct Rays4 {
  __m128 origin[3];
  __m128 direction[3];
};

// A triangle's record with every field spread over four lanes, formed once
// and then tested against several groups of rays.
struct TriangleRecord4 {
  TriangleAxes ax;
  __m128 normalU, pointK, normalW, pointU, pointW, edge2U, edge2W, edge1U, edge1W;
  explicit TriangleRecord4(const qelrTriangleAccel& a)
      : ax(ReadTriangleAxes(a)),
        normalU(_mm_set1_ps(a.normalU)),
        pointK(_mm_set1_ps(a.pointK)),
        normalW(_mm_set1_ps(a.normalW)),
        pointU(_mm_set1_ps(a.pointU)),
        pointW(_mm_set1_ps(a.pointW)),
        edge2U(_mm_set1_ps(a.edge2U)),
        edge2W(_mm_set1_ps(a.edge2W)),
        edge1U(_mm_set1_ps(a.edge1U)),
        edge1W(_mm_set1_ps(a.edge1W)) {}
};

struct TriangleCrossing4 {
  __m128 pass;     // lanes whose barycentric numerators agree in sign
  __m128 t;        // T times the refined reciprocal of D
  __m128 P, Q;     // barycentric numerators
  __m128 inverseD; // refined reciprocal of D, 0 where the lane did not pass
};

// The packet paths' test.  Returns false when no lane passes; `out` is then
// incomplete.  A lane passes unless one of R * P, R * Q, P * Q is below 0,
// so a NaN passes; the callers' tests of t keep such lanes from being
// accepted.
inline bool CrossTriangle4(const TriangleRecord4& a, const Rays4& ray, TriangleCrossing4& out) {
  const TriangleAxes ax = a.ax;
  const __m128 du = ray.direction[ax.u], dw = ray.direction[ax.w], dk = ray.direction[ax.k];
  const __m128 D = _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.normalU, du), dk), _mm_mul_ps(a.normalW, dw));
  const __m128 pu = _mm_sub_ps(a.pointU, ray.origin[ax.u]);
  const __m128 pw = _mm_sub_ps(a.pointW, ray.origin[ax.w]);
  const __m128 T = _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.normalU, pu), _mm_sub_ps(a.pointK, ray.origin[ax.k])),
                              _mm_mul_ps(a.normalW, pw));
  const __m128 xu = _mm_sub_ps(_mm_mul_ps(du, T), _mm_mul_ps(pu, D));
  const __m128 xw = _mm_sub_ps(_mm_mul_ps(dw, T), _mm_mul_ps(pw, D));
  const __m128 P = _mm_sub_ps(_mm_mul_ps(a.edge2W, xu), _mm_mul_ps(a.edge2U, xw));
  const __m128 Q = _mm_sub_ps(_mm_mul_ps(a.edge1U, xw), _mm_mul_ps(a.edge1W, xu));
  const __m128 R = _mm_sub_ps(_mm_sub_ps(D, P), Q);
  const __m128 zero = _mm_setzero_ps();
  const __m128 anyNegative = _mm_or_ps(_mm_or_ps(_mm_cmplt_ps(_mm_mul_ps(R, P), zero),
                                                 _mm_cmplt_ps(_mm_mul_ps(R, Q), zero)),
                                       _mm_cmplt_ps(_mm_mul_ps(P, Q), zero));
  const int anyNegativeBits = _mm_movemask_ps(anyNegative);
  if (anyNegativeBits == 0xF) return false;
  out.pass = _mm_andnot_ps(anyNegative, _mm_castsi128_ps(_mm_set1_epi32(-1)));
  // Approximate reciprocal, cleared where the lane failed, then one Newton step.
  const __m128 r = _mm_and_ps(_mm_rcp_ps(D), out.pass);
  out.inverseD = _mm_sub_ps(_mm_add_ps(r, r), _mm_mul_ps(_mm_mul_ps(r, r), D));
  out.t = _mm_mul_ps(T, out.inverseD);
  out.P = P;
  out.Q = Q;
  return true;
}

// ---- The single-ray test on four lanes ----

// Four single rays against one triangle: each lane does exactly what
// CrossTriangle does for its ray (the single-ray association of D and T),
// so the lanes can stand in for four scalar tests.
struct SingleCrossing4 {
  __m128 inside;  // lanes where R * P, P * Q and R * Q are all at least 0 (a NaN fails)
  __m128 D, T, P, Q;
};

inline SingleCrossing4 CrossTriangleSingle4(const TriangleRecord4& a, const Rays4& ray) {
  const TriangleAxes ax = a.ax;
  const __m128 du = ray.direction[ax.u], dw = ray.direction[ax.w], dk = ray.direction[ax.k];
  SingleCrossing4 c;
  c.D = _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.normalU, du), _mm_mul_ps(a.normalW, dw)), dk);
  const __m128 pu = _mm_sub_ps(a.pointU, ray.origin[ax.u]);
  const __m128 pw = _mm_sub_ps(a.pointW, ray.origin[ax.w]);
  c.T = _mm_sub_ps(_mm_add_ps(_mm_add_ps(a.pointK, _mm_mul_ps(a.normalU, pu)), _mm_mul_ps(a.normalW, pw)),
                   ray.origin[ax.k]);
  const __m128 xu = _mm_sub_ps(_mm_mul_ps(du, c.T), _mm_mul_ps(pu, c.D));
  const __m128 xw = _mm_sub_ps(_mm_mul_ps(dw, c.T), _mm_mul_ps(pw, c.D));
  c.P = _mm_sub_ps(_mm_mul_ps(a.edge2W, xu), _mm_mul_ps(a.edge2U, xw));
  c.Q = _mm_sub_ps(_mm_mul_ps(a.edge1U, xw), _mm_mul_ps(a.edge1W, xu));
  const __m128 R = _mm_sub_ps(_mm_sub_ps(c.D, c.P), c.Q);
  const __m128 zero = _mm_setzero_ps();
  c.inside = _mm_and_ps(_mm_and_ps(_mm_cmpge_ps(_mm_mul_ps(R, c.P), zero), _mm_cmpge_ps(_mm_mul_ps(c.P, c.Q), zero)),
                        _mm_cmpge_ps(_mm_mul_ps(R, c.Q), zero));
  return c;
}
