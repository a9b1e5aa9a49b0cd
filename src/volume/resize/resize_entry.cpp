// The six resize workers: three sample types by two layouts.  Each runs the
// common checks, turns byte steps into sample steps and hands the box to
// ResizeSlab; qelrResize_32f_C1V may split it among a team of threads.
#include "frame/qelr_internal.h"
#include "volume/resize/resize_geometry.h"
#include "volume/resize/resize_team.h"

namespace {

// Nothing is written unless every check passes.
qelStatus CheckResize(const void* pSrc, const void* pDst, const void* pBuffer,
                      qelrVolume srcVolume, qelrCuboid srcVoi, qelrCuboid dstVoi, double xFactor,
                      double yFactor, double zFactor, double xShift, double yShift, double zShift,
                      int32_t interpolation, ResizeGeometry* geometry) {
  if (pSrc == nullptr || pDst == nullptr || pBuffer == nullptr)
    return StatusNullPointer;
  return ResizeCheckAndMap(srcVolume, srcVoi, dstVoi, {xFactor, yFactor, zFactor},
                           {xShift, yShift, zShift}, interpolation, geometry);
}

template <typename T, Variant V>
qelStatus ResizeContiguous(const T* pSrc, qelrVolume srcVolume, int32_t srcStep,
                           int32_t srcPlaneStep, qelrCuboid srcVoi, T* pDst, int32_t dstStep,
                           int32_t dstPlaneStep, qelrCuboid dstVoi, double xFactor, double yFactor,
                           double zFactor, double xShift, double yShift, double zShift,
                           int32_t interpolation, uint8_t* pBuffer) {
  ResizeGeometry g;
  const qelStatus status = CheckResize(pSrc, pDst, pBuffer, srcVolume, srcVoi, dstVoi, xFactor,
                                       yFactor, zFactor, xShift, yShift, zShift, interpolation, &g);
  if (status != StatusOk)
    return status;
  const SourceVolume<T> src = ContiguousSource(pSrc, srcVolume, StepInSamples<T>(srcStep),
                                               StepInSamples<T>(srcPlaneStep));
  const DestVolume<T> dst =
      ContiguousDest(pDst, StepInSamples<T>(dstStep), StepInSamples<T>(dstPlaneStep));
  if constexpr (sizeof(T) == 4)
    return ResizeOnTeam<V>(src, dst, g, srcVoi, dstVoi, interpolation, pBuffer);
  else
    return ResizeSlab<T, V>(src, dst, BoxOf(g), MappingOf(g), interpolation, pBuffer);
}

template <typename T, Variant V>
qelStatus ResizePlanar(const T* const pSrc[], qelrVolume srcVolume, int32_t srcStep,
                       qelrCuboid srcVoi, T* const pDst[], int32_t dstStep, qelrCuboid dstVoi,
                       double xFactor, double yFactor, double zFactor, double xShift, double yShift,
                       double zShift, int32_t interpolation, uint8_t* pBuffer) {
  ResizeGeometry g;
  // Only the arrays are tested, not the plane pointers in them.
  const qelStatus status = CheckResize(pSrc, pDst, pBuffer, srcVolume, srcVoi, dstVoi, xFactor,
                                       yFactor, zFactor, xShift, yShift, zShift, interpolation, &g);
  if (status != StatusOk)
    return status;
  const SourceVolume<T> src = PlanarSource(pSrc, srcVolume, StepInSamples<T>(srcStep));
  const DestVolume<T> dst = PlanarDest(pDst, StepInSamples<T>(dstStep));
  return ResizeSlab<T, V>(src, dst, BoxOf(g), MappingOf(g), interpolation, pBuffer);
}

}  // namespace

#define QELR_RESIZE_C1V(NAME, T, V)                                                            \
  extern "C" qelStatus NAME(const T* pSrc, qelrVolume srcVolume, int32_t srcStep,              \
                            int32_t srcPlaneStep, qelrCuboid srcVoi, T* pDst, int32_t dstStep, \
                            int32_t dstPlaneStep, qelrCuboid dstVoi, double xFactor,           \
                            double yFactor, double zFactor, double xShift, double yShift,      \
                            double zShift, int32_t interpolation, uint8_t* pBuffer) {          \
    return ResizeContiguous<T, V>(pSrc, srcVolume, srcStep, srcPlaneStep, srcVoi, pDst,        \
                                  dstStep, dstPlaneStep, dstVoi, xFactor, yFactor, zFactor,    \
                                  xShift, yShift, zShift, interpolation, pBuffer);             \
  }

#define QELR_RESIZE_C1PV(NAME, T, V)                                                           \
  extern "C" qelStatus NAME(const T* const pSrc[], qelrVolume srcVolume, int32_t srcStep,      \
                            qelrCuboid srcVoi, T* const pDst[], int32_t dstStep,               \
                            qelrCuboid dstVoi, double xFactor, double yFactor, double zFactor, \
                            double xShift, double yShift, double zShift,                       \
                            int32_t interpolation, uint8_t* pBuffer) {                         \
    return ResizePlanar<T, V>(pSrc, srcVolume, srcStep, srcVoi, pDst, dstStep, dstVoi,         \
                              xFactor, yFactor, zFactor, xShift, yShift, zShift,               \
                              interpolation, pBuffer);                                         \
  }

// 8u and 16u have one body for both builds; 32f has one per build.
QELR_RESIZE_C1V(qelrResize_8u_C1V_impl, uint8_t, Variant::V8)
QELR_RESIZE_C1V(qelrResize_16u_C1V_impl, uint16_t, Variant::V8)
QELR_RESIZE_C1V(qelrResize_32f_C1V_v8, float, Variant::V8)
QELR_RESIZE_C1V(qelrResize_32f_C1V_s8, float, Variant::S8)
QELR_RESIZE_C1PV(qelrResize_8u_C1PV_impl, uint8_t, Variant::V8)
QELR_RESIZE_C1PV(qelrResize_16u_C1PV_impl, uint16_t, Variant::V8)
QELR_RESIZE_C1PV(qelrResize_32f_C1PV_v8, float, Variant::V8)
QELR_RESIZE_C1PV(qelrResize_32f_C1PV_s8, float, Variant::S8)
#undef QELR_RESIZE_C1V
#undef QELR_RESIZE_C1PV
