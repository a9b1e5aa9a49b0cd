// Descriptors shared by the volume families (resize, filter, remap, warp):
// the interpolation codes, the size checks of volumes and regions, and how
// a plane of a volume is found in either layout.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qelr.h"

// True for the six codes the volume functions know; 3 is not one of them.
inline bool IsInterpolationCode(int32_t code) {
  switch (code) {
    case InterNearest:
    case InterLinear:
    case InterCubic:
    case InterCubicBSpline:
    case InterCubicCatmullRom:
    case InterCubicB05C03:
      return true;
    default:
      return false;
  }
}

inline bool IsCubicCode(int32_t code) {
  return code == InterCubic || code == InterCubicBSpline || code == InterCubicCatmullRom ||
         code == InterCubicB05C03;
}

// A volume with an extent below 1 on any axis.
inline bool VolumeHasBadSize(const qelrVolume& v) {
  return v.width < 1 || v.height < 1 || v.depth < 1;
}

// A region with a negative origin or an extent below 1 on any axis.
inline bool CuboidHasBadSize(const qelrCuboid& c) {
  return c.x < 0 || c.width < 1 || c.y < 0 || c.height < 1 || c.z < 0 || c.depth < 1;
}

// Where the planes of a source volume are.  A contiguous volume (C1V) has a
// base and a plane step; a volume by plane pointers (C1PV) has an array.
// Steps are in samples.  `Plane` takes the plane offset that the z tables
// hold: plane index times plane step for C1V, the plane index for C1PV.
template <typename T>
struct SourceVolume {
  const T* base = nullptr;
  const T* const* planes = nullptr;
  qelrVolume size{};
  int32_t rowStep = 0;
  int32_t planeStep = 1;  // always 1 for C1PV, so an offset is an index

  const T* Plane(int32_t zOffset) const { return planes ? planes[zOffset] : base + zOffset; }
};

// The destination counterpart; here planes are addressed by their index.
template <typename T>
struct DestVolume {
  T* base = nullptr;
  T* const* planes = nullptr;
  int32_t rowStep = 0;
  int32_t planeStep = 0;

  T* Plane(int32_t z) const {
    return planes ? planes[z] : base + static_cast<ptrdiff_t>(z) * planeStep;
  }
  T* Sample(int32_t x, int32_t y, int32_t z) const {
    return Plane(z) + static_cast<ptrdiff_t>(y) * rowStep + x;
  }
};

template <typename T>
inline SourceVolume<T> ContiguousSource(const T* p, qelrVolume size, int32_t rowStep,
                                        int32_t planeStep) {
  SourceVolume<T> s;
  s.base = p;
  s.size = size;
  s.rowStep = rowStep;
  s.planeStep = planeStep;
  return s;
}

template <typename T>
inline SourceVolume<T> PlanarSource(const T* const* p, qelrVolume size, int32_t rowStep) {
  SourceVolume<T> s;
  s.planes = p;
  s.size = size;
  s.rowStep = rowStep;
  s.planeStep = 1;
  return s;
}

template <typename T>
inline DestVolume<T> ContiguousDest(T* p, int32_t rowStep, int32_t planeStep) {
  DestVolume<T> d;
  d.base = p;
  d.rowStep = rowStep;
  d.planeStep = planeStep;
  return d;
}

template <typename T>
inline DestVolume<T> PlanarDest(T* const* p, int32_t rowStep) {
  DestVolume<T> d;
  d.planes = p;
  d.rowStep = rowStep;
  return d;
}

// Byte steps become sample steps by an arithmetic shift, so a step that is
// not a whole number of samples loses its low bits.
template <typename T>
inline int32_t StepInSamples(int32_t bytes) {
  if constexpr (sizeof(T) == 1) return bytes;
  if constexpr (sizeof(T) == 2) return bytes >> 1;
  return bytes >> 2;
}

// Hands out consecutive pieces of a scratch buffer.
class ScratchCursor {
 public:
  explicit ScratchCursor(uint8_t* start) : at_(reinterpret_cast<uintptr_t>(start)) {}

  // `bytes` bytes starting at the next multiple of `alignment`.
  template <typename U>
  U* Take(int64_t bytes, uintptr_t alignment) {
    at_ = (at_ + alignment - 1) & ~(alignment - 1);
    U* piece = reinterpret_cast<U*>(at_);
    at_ += static_cast<uintptr_t>(bytes > 0 ? bytes : 0);
    return piece;
  }

 private:
  uintptr_t at_;
};
