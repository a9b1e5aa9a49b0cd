#include "volume/resize/resize_team.h"

#include "volume/slabs.h"

extern "C" qelStatus qelrResizeGetBufSize_impl(qelrCuboid srcVoi, qelrCuboid dstVoi,
                                               int32_t nChannel, int32_t interpolation,
                                               int32_t* pSize);

namespace {

// The size query as the master of the team runs it: the s8 build calls
// the export's body, the v8 build its own copy of the same arithmetic.
template <Variant V>
int32_t TeamBufferSize(qelrCuboid srcVoi, qelrCuboid dstVoi, int32_t interpolation) {
  int32_t size = 0;
  if constexpr (V == Variant::S8) {
    qelrResizeGetBufSize_impl(srcVoi, dstVoi, 1, interpolation, &size);
  } else {
    const uint32_t perThread = static_cast<uint32_t>(ResizeScratchBytesPerThread(dstVoi, 1, interpolation));
    size = static_cast<int32_t>(perThread * static_cast<uint32_t>(ownGetNumThreads()));
  }
  return size;
}

}  // namespace

template <Variant V>
qelStatus ResizeOnTeam(const SourceVolume<float>& src, const DestVolume<float>& dst,
                       const ResizeGeometry& g, qelrCuboid srcVoi, qelrCuboid dstVoi,
                       int32_t interpolation, uint8_t* pBuffer) {
  const ResizeMapping map = MappingOf(g);
  const int32_t requested = ownGetNumThreads();
  // Small volumes stay off the threading runtime.
  if (g.w < 16 || g.h < 16 || g.d < 16 || requested < 2)
    return ResizeSlab<float, V>(src, dst, BoxOf(g), map, interpolation, pBuffer);

  int32_t bufSize = 0;
  qelStatus result = StatusOk;
  RunPlaneSlabs(
      g.d, requested,
      [&] { bufSize = TeamBufferSize<V>(srcVoi, dstVoi, interpolation); },
      [&](int32_t thread, int32_t team, SlabRange slab) {
        // Each share is one thread's need when the team has the size asked
        // for.  The product is 32-bit and unguarded.
        const int32_t product = static_cast<int32_t>(static_cast<uint32_t>(thread) * static_cast<uint32_t>(bufSize));
        uint8_t* share = pBuffer + product / team;
        const ResizeBox box{g.x0, g.y0, g.z0 + slab.first, g.w, g.h, slab.count, g.d};
        const qelStatus status = ResizeSlab<float, V>(src, dst, box, map, interpolation, share);
        // Every slab reports StatusOk, so the last store is right.
#pragma omp atomic write
        result = status;
      });
  return result;
}

template qelStatus ResizeOnTeam<Variant::V8>(const SourceVolume<float>&, const DestVolume<float>&,
                                             const ResizeGeometry&, qelrCuboid, qelrCuboid, int32_t,
                                             uint8_t*);
template qelStatus ResizeOnTeam<Variant::S8>(const SourceVolume<float>&, const DestVolume<float>&,
                                             const ResizeGeometry&, qelrCuboid, qelrCuboid, int32_t,
                                             uint8_t*);
