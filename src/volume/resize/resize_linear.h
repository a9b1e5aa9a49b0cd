// The linear path of a resize.
#pragma once

#include <cstdint>

#include "volume/resize/resize_slab.h"

template <typename T, Variant V>
qelStatus ResizeLinear(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                       const ResizeMapping& map, uint8_t* scratch);
