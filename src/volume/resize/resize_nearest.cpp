// Nearest: every destination sample copies the source sample whose cell
// holds its centre.  No clamping anywhere: the destination box keeps every
// index inside the source volume.  A destination plane that reads the same
// source plane as the one before it is a copy of that plane, so an upscale
// along z reads each source plane once.
#include "volume/resize/resize_nearest.h"

#include <cstring>

#include "volume/resize/resize_tables.h"

namespace {

template <typename T>
void ResizeNearestPlane(const T* plane, T* dst, int32_t dstStep, int32_t w, int32_t h,
                        const int32_t* yOffset, const int32_t* xIndex) {
  for (int32_t j = 0; j < h; ++j) {
    const T* row = plane + yOffset[j];
    T* out = dst + static_cast<ptrdiff_t>(j) * dstStep;
    for (int32_t i = 0; i < w; ++i) out[i] = row[xIndex[i]];
  }
}

}  // namespace

template <typename T>
qelStatus ResizeCopyPlane(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t w,
                          int32_t h) {
  if (src == nullptr || dst == nullptr)
    return StatusNullPointer;
  if (w < 1 || h < 1)
    return StatusBadSize;
  for (int32_t j = 0; j < h; ++j)
    std::memmove(dst + static_cast<ptrdiff_t>(j) * dstStep,
                 src + static_cast<ptrdiff_t>(j) * srcStep, sizeof(T) * static_cast<size_t>(w));
  return StatusOk;
}

template <typename T, Variant V>
qelStatus ResizeNearest(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                        const ResizeMapping& map, uint8_t* scratch) {
  // The three index arrays, each at a multiple of 16 bytes.
  ScratchCursor cursor(scratch);
  int32_t* xIndex = cursor.Take<int32_t>(4 * int64_t(box.w), 16);
  int32_t* yOffset = cursor.Take<int32_t>(4 * int64_t(box.h), 16);
  int32_t* zOffset = cursor.Take<int32_t>(4 * int64_t(box.d), 16);
  BuildNearestAxis<V>({box.x, box.w, map.xInv, map.xOff}, 1, xIndex);
  BuildNearestAxis<V>({box.y, box.h, map.yInv, map.yOff}, src.rowStep, yOffset);
  BuildNearestAxis<V>({box.z, box.d, map.zInv, map.zOff}, src.planeStep, zOffset);

  qelStatus status = StatusOk;
  for (int32_t k = 0; k < box.d; ++k) {
    T* out = dst.Sample(box.x, box.y, box.z + k);
    if (k > 0 && zOffset[k] == zOffset[k - 1]) {
      const T* previous = dst.Sample(box.x, box.y, box.z + k - 1);
      status = ResizeCopyPlane(previous, dst.rowStep, out, dst.rowStep, box.w, box.h);
    } else {
      ResizeNearestPlane(src.Plane(zOffset[k]), out, dst.rowStep, box.w, box.h, yOffset, xIndex);
    }
  }
  return status;
}

template qelStatus ResizeCopyPlane(const uint8_t*, int32_t, uint8_t*, int32_t, int32_t, int32_t);
template qelStatus ResizeCopyPlane(const uint16_t*, int32_t, uint16_t*, int32_t, int32_t, int32_t);
template qelStatus ResizeCopyPlane(const float*, int32_t, float*, int32_t, int32_t, int32_t);

#define QELR_NEAREST(T, V)                                                                     \
  template qelStatus ResizeNearest<T, V>(const SourceVolume<T>&, const DestVolume<T>&,         \
                                         const ResizeBox&, const ResizeMapping&, uint8_t*);
QELR_NEAREST(uint8_t, Variant::V8)
QELR_NEAREST(uint16_t, Variant::V8)
QELR_NEAREST(float, Variant::V8)
QELR_NEAREST(float, Variant::S8)
#undef QELR_NEAREST
