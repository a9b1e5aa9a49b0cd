// qelrTriangleNormal_32f: the unit normal of every triangle, computed in
// double precision and rounded once, on a team of ownGetNumThreads() threads.
#include <cfloat>
#include <cmath>

#include "frame/qelr_internal.h"
#include "scene/triangle_normal.h"

namespace {

void UnitNormal(const float* A, const float* B, const float* C, float* out) {
  const TriangleEdges edges = EdgesAndNormal(A, B, C);
  const double* n = edges.n;
  const double square = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
  // A degenerate triangle gets a zero normal, never a NaN.
  if (square < DBL_EPSILON) {
    out[0] = out[1] = out[2] = 0.0f;
    return;
  }
  const double length = std::sqrt(square);
  for (int32_t i = 0; i < 3; ++i) out[i] = static_cast<float>(n[i] / length);
}

}  // namespace

extern "C" qelStatus qelrTriangleNormal_32f_impl(const float* vertices, const int32_t* triangles,
                                                 float* triangleNormals, int32_t triangleCount) {
  if (vertices == nullptr || triangles == nullptr || triangleNormals == nullptr) return StatusNullPointer;
  // The region opens whatever the count.  OpenMP needs a team size of at
  // least 1, so a count below that asks for the calling thread alone.
  const int32_t threads = ownGetNumThreads();
#pragma omp parallel num_threads(threads > 0 ? threads : 1)
  {
    if (triangleCount > 0) {
#pragma omp for schedule(static)
      for (int32_t i = 0; i < triangleCount; ++i) {
        const int32_t* t = triangles + 4 * static_cast<int64_t>(i);
        UnitNormal(vertices + 3 * static_cast<int64_t>(t[0]), vertices + 3 * static_cast<int64_t>(t[1]),
                   vertices + 3 * static_cast<int64_t>(t[2]), triangleNormals + 3 * static_cast<int64_t>(i));
      }
    }
  }
  return StatusOk;
}
