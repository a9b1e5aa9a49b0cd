// The nearest-sample path of a resize.
#pragma once

#include <cstdint>

#include "volume/resize/resize_slab.h"

template <typename T, Variant V>
qelStatus ResizeNearest(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                        const ResizeMapping& map, uint8_t* scratch);

// Copies h rows of w samples between two planes (steps in samples).
template <typename T>
qelStatus ResizeCopyPlane(const T* src, int32_t srcStep, T* dst, int32_t dstStep, int32_t w,
                          int32_t h);
