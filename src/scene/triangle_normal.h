// A triangle's edges from its third vertex and their cross product, in
// double precision: shared by the acceleration records and the triangle
// normals, which must agree on them component for component.
#pragma once

#include <cstdint>

struct TriangleEdges {
  double e1[3];  // A - C
  double e2[3];  // B - C
  double n[3];   // e1 x e2, not normalised
};

inline TriangleEdges EdgesAndNormal(const float* A, const float* B, const float* C) {
  TriangleEdges t;
  for (int32_t i = 0; i < 3; ++i) {
    t.e1[i] = static_cast<double>(A[i]) - static_cast<double>(C[i]);
    t.e2[i] = static_cast<double>(B[i]) - static_cast<double>(C[i]);
  }
  t.n[0] = t.e1[1] * t.e2[2] - t.e1[2] * t.e2[1];
  t.n[1] = t.e1[2] * t.e2[0] - t.e2[2] * t.e1[0];
  t.n[2] = t.e2[1] * t.e1[0] - t.e1[1] * t.e2[0];
  return t;
}
