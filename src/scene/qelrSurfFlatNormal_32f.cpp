// qelrSurfFlatNormal_32f: the normal of the triangle that each ray hit,
// copied into three planes; a miss gets a zero normal.  The four-ray path
// gives the same values: it only saves reads for groups of misses and for
// groups that hit one triangle.
#include <emmintrin.h>

#include "frame/qelr_internal.h"
#include "raycast/ray_block.h"

namespace {

void CopyOneNormal(const float* triangleNormals, int32_t hit, float* const normals[3], int32_t i) {
  for (int32_t k = 0; k < 3; ++k)
    normals[k][i] = hit >= 0 ? triangleNormals[3 * static_cast<int64_t>(hit) + k] : 0.0f;
}

void FlatNormalsFourWide(const float* triangleNormals, const int32_t* hits, float* const normals[3],
                         int32_t length) {
  for (int32_t i = 0; i < length; i += 4) {
    const __m128i group = _mm_load_si128(reinterpret_cast<const __m128i*>(hits + i));
    const int32_t missBits = _mm_movemask_ps(_mm_castsi128_ps(group));
    if (missBits == 0xF) {
      for (int32_t k = 0; k < 3; ++k) _mm_store_ps(normals[k] + i, _mm_setzero_ps());
      continue;
    }
    const bool oneTriangle = missBits == 0 && hits[i] == hits[i + 1] && hits[i] == hits[i + 2] &&
                             hits[i] == hits[i + 3];
    if (oneTriangle) {
      const float* n = triangleNormals + 3 * static_cast<int64_t>(hits[i]);
      for (int32_t k = 0; k < 3; ++k) _mm_store_ps(normals[k] + i, _mm_set1_ps(n[k]));
      continue;
    }
    for (int32_t lane = 0; lane < 4; ++lane) CopyOneNormal(triangleNormals, hits[i + lane], normals, i + lane);
  }
}

}  // namespace

// `normals` is not tested.
extern "C" qelStatus qelrSurfFlatNormal_32f_impl(const float* triangleNormals, const int32_t* hits,
                                                 float* const normals[3], int32_t length) {
  if (triangleNormals == nullptr || hits == nullptr) return StatusNullPointer;
  if (length < 1) return StatusOk;
  const bool fourWide = length % 4 == 0 && IsAligned16(triangleNormals) && IsAligned16(hits) &&
                        IsAligned16(normals[0]) && IsAligned16(normals[1]) && IsAligned16(normals[2]);
  if (fourWide) {
    FlatNormalsFourWide(triangleNormals, hits, normals, length);
    return StatusOk;
  }
  for (int32_t i = 0; i < length; ++i) CopyOneNormal(triangleNormals, hits[i], normals, i);
  return StatusOk;
}
