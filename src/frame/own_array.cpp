#include <cstring>
#include <xmmintrin.h>

#include "frame/qelr_internal.h"

qelStatus ownZero16(int16_t* destination, int32_t length) {
  if (!destination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  std::memset(destination, 0, static_cast<size_t>(length) * 2);
  return StatusOk;
}

qelStatus ownZero32f(float* destination, int32_t length) {
  if (!destination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  std::memset(destination, 0, static_cast<size_t>(length) * 4);
  return StatusOk;
}

qelStatus ownCopy32f(const float* source, float* destination, int32_t length) {
  if (!source || !destination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  std::memcpy(destination, source, static_cast<size_t>(length) * 4);
  return StatusOk;
}

// The element-wise helpers below round each element on its own, so the
// compiler's vectorisation of these loops cannot change a result.
qelStatus ownAdd32fInPlace(const float* source, float* sourceDestination, int32_t length) {
  if (!source || !sourceDestination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  for (int32_t i = 0; i < length; ++i) sourceDestination[i] += source[i];
  return StatusOk;
}

qelStatus ownMulC32fInPlace(float value, float* sourceDestination, int32_t length) {
  if (!sourceDestination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  if (value == 1.0f) return StatusOk;
  if (value == 0.0f) return ownZero32f(sourceDestination, length);
  for (int32_t i = 0; i < length; ++i) sourceDestination[i] *= value;
  return StatusOk;
}

qelStatus ownMulC32f(const float* source, float value, float* destination, int32_t length) {
  if (!source || !destination) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  if (value == 1.0f) return ownCopy32f(source, destination, length);
  if (value == 0.0f) return ownZero32f(destination, length);
  for (int32_t i = 0; i < length; ++i) destination[i] = source[i] * value;
  return StatusOk;
}

qelStatus ownDot32f(const float* sourceA, const float* sourceB, int32_t length, float* result) {
  if (!sourceA || !sourceB || !result) return StatusNullPointer;
  if (length < 1) return StatusBadSize;
  if (length < 32) {
    float sum = 0.0f;
    for (int32_t i = 0; i < length; ++i) sum += sourceA[i] * sourceB[i];
    *result = sum;
    return StatusOk;
  }
  const int32_t body = length & ~3;
  __m128 lanes = _mm_setzero_ps();
  for (int32_t i = 0; i < body; i += 4)
    lanes = _mm_add_ps(lanes, _mm_mul_ps(_mm_loadu_ps(sourceA + i), _mm_loadu_ps(sourceB + i)));
  alignas(16) float l[4];
  _mm_store_ps(l, lanes);
  float sum = (l[0] + l[1]) + (l[2] + l[3]);
  for (int32_t i = body; i < length; ++i) sum += sourceA[i] * sourceB[i];
  *result = sum;
  return StatusOk;
}
