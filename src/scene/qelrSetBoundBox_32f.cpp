// qelrSetBoundBox_32f: the scene box, padded on every side by a margin
// proportional to the coordinates' magnitude (not to the box's size), so
// that rays grazing the outermost triangles are still clipped inside it.
#include <cfloat>
#include <cmath>

#include "frame/qelr_internal.h"

extern "C" qelStatus qelrSetBoundBox_32f_impl(const float* vertices, int32_t vertexCount, float* box) {
  if (vertices == nullptr) return StatusNullPointer;
  float lower[3] = {FLT_MAX, FLT_MAX, FLT_MAX};
  float upper[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
  // A NaN coordinate never wins a comparison, so it is passed over.
  for (int32_t v = 0; v < vertexCount; ++v) {
    const float* p = vertices + 3 * static_cast<int64_t>(v);
    for (int32_t k = 0; k < 3; ++k) {
      if (p[k] < lower[k]) lower[k] = p[k];
      if (p[k] > upper[k]) upper[k] = p[k];
    }
  }
  // With no vertex the start values stay, so the minima end above the maxima.
  float largest = FLT_MIN;
  for (int32_t k = 0; k < 3; ++k) {
    largest = std::fmax(largest, std::fabs(lower[k]));
    largest = std::fmax(largest, std::fabs(upper[k]));
  }
  const float margin = largest * 0.0001f;
  for (int32_t k = 0; k < 3; ++k) {
    box[k] = lower[k] - margin;
    box[k + 3] = upper[k] + margin;
  }
  return StatusOk;
}
