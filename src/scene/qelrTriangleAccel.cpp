// qelrTriangleAccelGetSize, qelrTriangleAccelInit: the per-triangle records
// of the ray-triangle test.
//
// A record writes the triangle's plane as a function of the two coordinates
// left when the axis of the normal's largest component is dropped, and the
// inverse of the projected edge matrix, so that the ray test needs no
// vertex and no division by a normal component.  Everything is computed in
// double precision and rounded once at the end: the axis choice and the
// degenerate test decide the record's structure and must not wobble.
#include <cfloat>
#include <cmath>
#include <cstring>

#include "frame/qelr_internal.h"
#include "scene/triangle_normal.h"

namespace {

constexpr uint32_t kPerpendicularBit = 0x80000000u;

struct AxisChoice {
  int32_t k, u, w;
  double sign;  // keeps the triangle's orientation the same in all three choices
};

// A tie between x and y goes to x; z must beat both strictly.  With a NaN
// every comparison fails and x is chosen.
AxisChoice ChooseAxes(const double n[3]) {
  const double ax = std::fabs(n[0]), ay = std::fabs(n[1]), az = std::fabs(n[2]);
  const double greaterXY = ax > ay ? ax : ay;
  if (az > greaterXY) return AxisChoice{2, 0, 1, 1.0};
  if (ay > ax) return AxisChoice{1, 0, 2, -1.0};
  return AxisChoice{0, 1, 2, 1.0};
}

void InitRecord(qelrTriangleAccel* record, const float* A, const float* B, const float* C) {
  const TriangleEdges edges = EdgesAndNormal(A, B, C);
  const double* e1 = edges.e1;
  const double* e2 = edges.e2;
  const double* n = edges.n;
  const AxisChoice c = ChooseAxes(n);

  // No area: an all-zero record, which readers recognise by `axes` alone.
  if (n[c.k] == 0.0) {
    std::memset(record, 0, sizeof *record);
    return;
  }
  const double inverse = 1.0 / n[c.k];
  uint32_t axes = static_cast<uint32_t>(c.w) | (static_cast<uint32_t>(c.u) << 2) |
                  (static_cast<uint32_t>(c.k) << 4);
  if (std::fabs(n[c.w]) < DBL_EPSILON && std::fabs(n[c.u]) < DBL_EPSILON) {
    // The plane is perpendicular to axis k.
    record->normalU = 0.0f;
    record->normalW = 0.0f;
    axes |= kPerpendicularBit;
  } else {
    record->normalU = static_cast<float>(n[c.u] * inverse);
    record->normalW = static_cast<float>(n[c.w] * inverse);
  }
  const double scaled = inverse * c.sign;
  record->axes = axes;
  record->pointK = C[c.k];
  record->pointU = C[c.u];
  record->pointW = C[c.w];
  record->edge2U = static_cast<float>(e2[c.u] * scaled);
  record->edge2W = static_cast<float>(e2[c.w] * scaled);
  record->edge1U = static_cast<float>(e1[c.u] * scaled);
  record->edge1W = static_cast<float>(e1[c.w] * scaled);
}

}  // namespace

extern "C" qelStatus qelrTriangleAccelGetSize_impl(int32_t* pSize) {
  if (pSize == nullptr) return StatusNullPointer;
  *pSize = static_cast<int32_t>(sizeof(qelrTriangleAccel));
  return StatusOk;
}

// Tests none of its pointers; bad data gives degenerate or NaN records.
extern "C" qelStatus qelrTriangleAccelInit_impl(qelrTriangleAccel* accel, const float* vertices,
                                                const int32_t* triangles, int32_t triangleCount) {
  for (int32_t i = 0; i < triangleCount; ++i) {
    const int32_t* t = triangles + 4 * static_cast<int64_t>(i);
    InitRecord(accel + i, vertices + 3 * static_cast<int64_t>(t[0]), vertices + 3 * static_cast<int64_t>(t[1]),
               vertices + 3 * static_cast<int64_t>(t[2]));
  }
  return StatusOk;
}
