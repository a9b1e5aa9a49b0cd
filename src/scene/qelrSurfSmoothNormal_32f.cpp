// qelrSurfSmoothNormal_32f: the vertex normals of the hit triangle blended
// by the hit's barycentric weights and normalised.  The scalar path divides
// by the true square root; the four-ray path multiplies by the 12-bit
// rsqrtps estimate after one Newton step, which differs in the last bits and
// at the near-zero threshold (the scalar path keeps a length of exactly
// 2^-23, the four-ray path clears it).  Both are part of the results.
#include <cmath>
#include <emmintrin.h>

#include "frame/qelr_internal.h"
#include "raycast/ray_block.h"

namespace {

constexpr float kShortest = 1.1920929e-07f;

struct SmoothInputs {
  const float* vertexNormals;
  const int32_t* triangles;
  const int32_t* hits;
  const float* const* weights;
  int32_t stride;
};

// The un-normalised blend c * R + (b * Q + a * P) of ray i, which must hit.
void BlendVertexNormals(const SmoothInputs& in, int32_t i, float sum[3]) {
  const int32_t* t = in.triangles + static_cast<int64_t>(in.hits[i]) * in.stride;
  const float* P = in.vertexNormals + 3 * static_cast<int64_t>(t[0]);
  const float* Q = in.vertexNormals + 3 * static_cast<int64_t>(t[1]);
  const float* R = in.vertexNormals + 3 * static_cast<int64_t>(t[2]);
  const float a = in.weights[0][i];
  const float b = in.weights[1][i];
  const float c = (1.0f - a) - b;
  for (int32_t k = 0; k < 3; ++k) sum[k] = (c * R[k]) + ((b * Q[k]) + (a * P[k]));
}

void SmoothNormalsScalar(const SmoothInputs& in, float* const normals[3], int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    float sum[3] = {0.0f, 0.0f, 0.0f};
    if (in.hits[i] >= 0) {
      BlendVertexNormals(in, i, sum);
      const float square = ((sum[0] * sum[0]) + (sum[1] * sum[1])) + (sum[2] * sum[2]);
      if (kShortest > square) {
        sum[0] = sum[1] = sum[2] = 0.0f;
      } else {
        const float length = std::sqrt(square);
        for (int32_t k = 0; k < 3; ++k) sum[k] = sum[k] / length;
      }
    }
    for (int32_t k = 0; k < 3; ++k) normals[k][i] = sum[k];
  }
}

void SmoothNormalsFourWide(const SmoothInputs& in, float* const normals[3], int32_t length) {
  for (int32_t i = 0; i < length; i += 4) {
    const __m128 miss = _mm_castsi128_ps(
        _mm_srai_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(in.hits + i)), 31));
    if (_mm_movemask_ps(miss) == 0xF) {
      for (int32_t k = 0; k < 3; ++k) _mm_store_ps(normals[k] + i, _mm_setzero_ps());
      continue;
    }
    alignas(16) float lanes[3][4] = {};
    for (int32_t lane = 0; lane < 4; ++lane) {
      if (in.hits[i + lane] < 0) continue;
      float sum[3];
      BlendVertexNormals(in, i + lane, sum);
      for (int32_t k = 0; k < 3; ++k) lanes[k][lane] = sum[k];
    }
    const __m128 x = _mm_load_ps(lanes[0]), y = _mm_load_ps(lanes[1]), z = _mm_load_ps(lanes[2]);
    const __m128 square = _mm_add_ps(_mm_add_ps(_mm_mul_ps(x, x), _mm_mul_ps(y, y)), _mm_mul_ps(z, z));
    // 12-bit estimate, cleared for short vectors, then one Newton step:
    // y2 = (y * -0.5) * (square * y * y - 3).
    const __m128 estimate = _mm_and_ps(_mm_rsqrt_ps(square), _mm_cmpgt_ps(square, _mm_set1_ps(kShortest)));
    const __m128 refined =
        _mm_mul_ps(_mm_mul_ps(estimate, _mm_set1_ps(-0.5f)),
                   _mm_sub_ps(_mm_mul_ps(_mm_mul_ps(square, estimate), estimate), _mm_set1_ps(3.0f)));
    // A miss among hits gets a zero normal, as on the scalar path.
    const __m128 hit = _mm_andnot_ps(miss, _mm_castsi128_ps(_mm_set1_epi32(-1)));
    _mm_store_ps(normals[0] + i, _mm_and_ps(_mm_mul_ps(x, refined), hit));
    _mm_store_ps(normals[1] + i, _mm_and_ps(_mm_mul_ps(y, refined), hit));
    _mm_store_ps(normals[2] + i, _mm_and_ps(_mm_mul_ps(z, refined), hit));
  }
}

}  // namespace

extern "C" qelStatus qelrSurfSmoothNormal_32f_impl(const float* vertexNormals, const int32_t* triangles,
                                                   const int32_t* hits, const float* const weights[2],
                                                   float* const normals[3], int32_t length, int32_t stride) {
  if (vertexNormals == nullptr || triangles == nullptr || hits == nullptr || weights == nullptr ||
      normals == nullptr)
    return StatusNullPointer;
  if (length < 1) return StatusOk;
  const SmoothInputs in{vertexNormals, triangles, hits, weights, stride};
  const bool fourWide = length % 4 == 0 && IsAligned16(vertexNormals) && IsAligned16(triangles) &&
                        IsAligned16(hits) && IsAligned16(normals[0]) && IsAligned16(normals[1]) &&
                        IsAligned16(normals[2]) && IsAligned16(weights[0]) && IsAligned16(weights[1]);
  if (fourWide)
    SmoothNormalsFourWide(in, normals, length);
  else
    SmoothNormalsScalar(in, normals, length);
  return StatusOk;
}
