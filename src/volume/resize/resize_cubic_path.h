// The cubic path of a resize, for the four cubic interpolation codes, which
// differ only in their weight tables.
#pragma once

#include <cstdint>

#include "volume/resize/resize_slab.h"

template <typename T, Variant V>
qelStatus ResizeCubic(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                      const ResizeMapping& map, int32_t interpolation, uint8_t* scratch);
