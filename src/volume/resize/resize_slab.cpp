#include "volume/resize/resize_slab.h"

#include "volume/resize/resize_cubic_path.h"
#include "volume/resize/resize_linear.h"
#include "volume/resize/resize_nearest.h"

template <typename T, Variant V>
qelStatus ResizeSlab(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                     const ResizeMapping& map, int32_t interpolation, uint8_t* scratch) {
  switch (interpolation) {
    case InterNearest:
      return ResizeNearest<T, V>(src, dst, box, map, scratch);
    case InterLinear:
      return ResizeLinear<T, V>(src, dst, box, map, scratch);
    default:
      // The four cubic codes share one path; the checks have let no other
      // code through.
      return ResizeCubic<T, V>(src, dst, box, map, interpolation, scratch);
  }
}

#define QELR_SLAB(T, V)                                                                      \
  template qelStatus ResizeSlab<T, V>(const SourceVolume<T>&, const DestVolume<T>&,          \
                                      const ResizeBox&, const ResizeMapping&, int32_t, uint8_t*);
QELR_SLAB(uint8_t, Variant::V8)
QELR_SLAB(uint16_t, Variant::V8)
QELR_SLAB(float, Variant::V8)
QELR_SLAB(float, Variant::S8)
#undef QELR_SLAB
