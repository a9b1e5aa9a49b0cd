// Box clip of the packet kernels' rays, all kernels of a vector at once.
#pragma once

#include "raycast/ray_math.h"

// Clips each lane's [tmin, tmax] to the box on all three axes, x, y, z in
// order, and forms the inverse directions of rays from `eye`.  A near-zero
// component is replaced by a small positive one before it is inverted, so
// every axis is clipped and no inverse is infinite; the triangle test keeps
// the true direction.  Each lane does the operations of a four-ray kernel.
template <class L>
inline void ClipPacketLanesToBox(const float* box, const float eye[3], const typename L::V direction[3],
                                 typename L::V& tmin, typename L::V& tmax, typename L::V inverse[3]) {
  using V = typename L::V;
  for (int32_t k = 0; k < 3; ++k) {
    const V d = direction[k];
    const V usable = L::Select(L::CmpLe(L::Abs(d), L::Set1(kTinyDirection)), L::Set1(kPacketZeroDirection), d);
    inverse[k] = NewtonStep<L>(L::Rcp(usable), usable);
    const V origin = L::Set1(eye[k]);
    const V t1 = L::Mul(L::Sub(L::Set1(box[k]), origin), inverse[k]);
    const V t2 = L::Mul(L::Sub(L::Set1(box[k + 3]), origin), inverse[k]);
    tmin = L::Max(tmin, L::Min(t1, t2));
    tmax = L::Min(tmax, L::Max(t1, t2));
  }
}
