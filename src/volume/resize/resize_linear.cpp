// Linear resize: separable, plane by plane.  Along x and y each source
// plane is resampled once (interior by the row kernels, frame by scalar
// code) into one of a rotating pair of planes; along z two such planes are
// blended into a destination plane.  Destination planes before the first
// source plane or past the last read that plane alone and are computed in
// two dimensions straight into the destination, each on its own.
#include "volume/resize/resize_linear.h"

#include <type_traits>

#include "volume/resize/resize_linear_frame.h"
#include "volume/resize/resize_linear_interior.h"
#include "volume/resize/resize_pair_walk.h"
#include "volume/resize/resize_tables.h"

namespace {

// 8u weights are 14-bit: w1 = trunc(f * 16384 + 1e-7), w0 = 16384 - w1.
// The 1e-7 keeps a fraction just below a representable step from losing it.
int32_t FixedWeight(double fraction) { return TruncateToInt(fraction * 16384.0 + 1e-7); }

void StoreWeight(Weight8uPair* table, int32_t j, double fraction) {
  const int32_t w1 = FixedWeight(fraction);
  table[j].w0 = static_cast<int16_t>(16384 - w1);
  table[j].w1 = static_cast<int16_t>(w1);
}
void StoreWeight(uint16_t* table, int32_t j, double fraction) {
  table[j] = static_cast<uint16_t>(FixedWeight(fraction));
}
void StoreWeight(float* table, int32_t j, double fraction) {
  table[j] = static_cast<float>(fraction);
}

template <typename T>
struct LinearSlabLayout {
  using Types = LinearTypes<T>;
  LinearPlaneTables<T> plane;  // x and y
  const int32_t* zOffset;
  const typename Types::Weight* zWeight;
  LinearBands z;
  typename Types::Inner* rowA;
  typename Types::Inner* rowB;
  ResampledPlane<T> pairA, pairB;
  int32_t stride;
};

// Builds the tables at the start of the scratch, then places the buffers
// whose sizes depend on the bands.  Order: three index arrays (16-byte
// aligned), three weight arrays, two rows, two interior planes, two edge
// frames (each from the next multiple of 64 bytes).
template <typename T, Variant V>
LinearSlabLayout<T> BuildLinearSlab(const SourceVolume<T>& src, const ResizeBox& box,
                                    const ResizeMapping& map, uint8_t* scratch) {
  using Types = LinearTypes<T>;
  ScratchCursor cursor(scratch);
  int32_t* xIndex = cursor.Take<int32_t>(4 * int64_t(box.w), 16);
  int32_t* yOffset = cursor.Take<int32_t>(4 * int64_t(box.h), 16);
  int32_t* zOffset = cursor.Take<int32_t>(4 * int64_t(box.d), 16);
  auto* xWeight = cursor.Take<typename Types::XWeight>(int64_t(sizeof(typename Types::XWeight)) * box.w, 64);
  auto* yWeight = cursor.Take<typename Types::Weight>(int64_t(sizeof(typename Types::Weight)) * box.h, 64);
  auto* zWeight = cursor.Take<typename Types::Weight>(int64_t(sizeof(typename Types::Weight)) * box.d, 64);

  const qelrVolume& size = src.size;
  const LinearBands x = BuildLinearAxis<V>({box.x, box.w, map.xInv, map.xOff}, size.width, 1, xIndex,
                                           [&](int32_t j, double f) { StoreWeight(xWeight, j, f); });
  const LinearBands y = BuildLinearAxis<V>({box.y, box.h, map.yInv, map.yOff}, size.height, src.rowStep,
                                           yOffset, [&](int32_t j, double f) { StoreWeight(yWeight, j, f); });
  const LinearBands z = BuildLinearAxis<V>({box.z, box.d, map.zInv, map.zOff}, size.depth, src.planeStep,
                                           zOffset, [&](int32_t j, double f) { StoreWeight(zWeight, j, f); });

  LinearSlabLayout<T> s;
  LinearPlaneTables<T>& t = s.plane;
  t.w = box.w;
  t.h = box.h;
  t.xIndex = xIndex;
  t.xWeight = xWeight;
  t.yOffset = yOffset;
  t.yWeight = yWeight;
  t.xLow = x.low;
  t.xHigh = x.high;
  t.yLow = y.low;
  t.yHigh = y.high;
  t.wi = box.w - x.low - x.high;
  t.hi = box.h - y.low - y.high;
  t.xStep2 = ColumnsStepBy2(xIndex + x.low, t.wi);
  t.xyStep2 = t.xStep2 && EveryLineReadsFreshPair(yOffset, y.low, box.h - y.high, src.rowStep);
  t.kernels = &KernelsOfType(*LinearRowKernelsHere(), static_cast<const T*>(nullptr));
  t.srcWidth = size.width;
  t.srcHeight = size.height;
  t.srcRowStep = src.rowStep;
  s.zOffset = zOffset;
  s.zWeight = zWeight;
  s.z = z;
  s.stride = InteriorStride(t.wi);

  using Inner = typename Types::Inner;
  using Cell = typename Types::Cell;
  const int64_t rowBytes = int64_t(sizeof(Inner)) * t.wi;
  const int64_t innerBytes = int64_t(sizeof(Inner)) * t.hi * s.stride;
  const int64_t frameBytes = int64_t(sizeof(Cell)) * EdgeFrameCapacity(t.w, t.h);
  s.rowA = cursor.Take<Inner>(rowBytes, 64);
  s.rowB = cursor.Take<Inner>(rowBytes, 64);
  s.pairA.inner = cursor.Take<Inner>(innerBytes, 64);
  s.pairB.inner = cursor.Take<Inner>(innerBytes, 64);
  s.pairA.frame = cursor.Take<Cell>(frameBytes, 64);
  s.pairB.frame = cursor.Take<Cell>(frameBytes, 64);
  return s;
}

// Destinations this large are written past the cache: they would only
// push the source and the resampled planes out of it, and nothing reads
// them again within the call.  The whole call's destination decides, not
// the slab: a team's slabs are written at the same time and share the cache.
bool WriteDestinationPastCache(const ResizeBox& box, size_t sampleBytes) {
  const double kBytes = 64.0 * 1024 * 1024;
  return double(box.w) * box.h * box.wholeD * double(sampleBytes) >= kBytes;
}

// How the interiors of the planes between are made.
enum class InteriorRoute {
  // Each source plane resampled into an interior plane of the pair, two
  // such planes blended along z.
  kThroughPair,
  // An exact halving of 8u or 16u: every interior weight one half along all
  // three axes, the columns' taps in straight runs.  Each sample is the mean
  // of its eight taps, read straight from the two source planes.
  kHalving,
  // A float downscale whose columns' taps run straight and whose
  // destination rows and planes share no source line: x, y and z straight
  // from the two source planes.
  kDirect,
};

bool IsHalf(Weight8uPair w) { return w.w1 == 8192; }  // w0 is 16384 - w1
bool IsHalf(uint16_t w1) { return w1 == 8192; }
bool IsHalf(float f) { return f == 0.5f; }

template <typename Weight>
bool AllHalf(const Weight* weights, int32_t first, int32_t end) {
  for (int32_t j = first; j < end; ++j)
    if (!IsHalf(weights[j])) return false;
  return true;
}

// zFirst .. zEnd - 1 are the planes between.
template <typename T>
InteriorRoute ChooseInteriorRoute(const LinearSlabLayout<T>& s, int32_t zFirst, int32_t zEnd, int32_t planeStep) {
  const LinearPlaneTables<T>& t = s.plane;
  if (t.wi == 0 || t.hi == 0) return InteriorRoute::kThroughPair;
  if constexpr (std::is_same_v<T, float>) {
    if (t.xyStep2 && EveryLineReadsFreshPair(s.zOffset, zFirst, zEnd, planeStep)) return InteriorRoute::kDirect;
  } else {
    if (t.xStep2 && AllHalf(t.xWeight, t.xLow, t.w - t.xHigh) && AllHalf(t.yWeight, t.yLow, t.h - t.yHigh) &&
        AllHalf(s.zWeight, zFirst, zEnd))
      return InteriorRoute::kHalving;
  }
  return InteriorRoute::kThroughPair;
}

}  // namespace

template <typename T, Variant V>
qelStatus ResizeLinear(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                       const ResizeMapping& map, uint8_t* scratch) {
  const LinearSlabLayout<T> s = BuildLinearSlab<T, V>(src, box, map, scratch);
  const LinearPlaneTables<T>& t = s.plane;
  const bool hasInterior = t.wi != 0 && t.hi != 0;
  const bool pastCache = WriteDestinationPastCache(box, sizeof(T));
  const auto& kernels = *t.kernels;
  const auto blendInterior = pastCache ? kernels.blendInteriorStreaming : kernels.blendInterior;
  const auto halvingInterior = pastCache ? kernels.halvingInteriorStreaming : kernels.halvingInterior;
  const auto directInterior = pastCache ? kernels.directInteriorStreaming : kernels.directInterior;
  auto destination = [&](int32_t k) { return dst.Sample(box.x, box.y, box.z + k); };

  // A plane where z is clamped: x and y only, straight to the destination.
  auto resizePlane2D = [&](const T* plane, int32_t k) {
    LinearFrame2D(plane, t, destination(k), dst.rowStep);
    if (hasInterior) LinearInterior2D(plane, t, s.rowA, s.rowB, destination(k), dst.rowStep);
  };

  const int32_t zLow = s.z.low;
  const int32_t zEnd = box.d - s.z.high;
  for (int32_t k = 0; k < zLow; ++k) resizePlane2D(src.Plane(0), k);

  // The planes between: blend the rotating pair of resampled source planes.
  // On the routes straight from the source the pair carries the frames alone.
  using Inner = typename LinearTypes<T>::Inner;
  const InteriorRoute route = ChooseInteriorRoute(s, zLow, zEnd, src.planeStep);
  const ptrdiff_t interiorOffset = static_cast<ptrdiff_t>(t.yLow) * dst.rowStep + t.xLow;
  auto interiorFromSource = [&](int32_t k, T* out) {
    const int32_t idx = s.zOffset[k];
    const int32_t x0 = t.xIndex[t.xLow];
    const T* a = src.Plane(idx) + x0;
    const T* b = src.Plane(idx + src.planeStep) + x0;
    const int32_t* rowOffsets = t.yOffset + t.yLow;
    if (route == InteriorRoute::kHalving)
      halvingInterior(out, dst.rowStep, t.wi, t.hi, a, b, rowOffsets, t.srcRowStep);
    else
      directInterior(out, dst.rowStep, t.wi, t.hi, a, b, rowOffsets, t.srcRowStep, t.xWeight + t.xLow,
                     t.yWeight + t.yLow, s.zWeight[k]);
  };
  WalkRotatingPair<ResampledPlane<T>>(
      s.zOffset, zLow, zEnd, src.planeStep, s.pairA, s.pairB,
      [&](int32_t offset, const ResampledPlane<T>& into) {
        const T* plane = src.Plane(offset);
        LinearFrame(plane, t, into.frame);
        if (route == InteriorRoute::kThroughPair && hasInterior)
          LinearInterior(plane, t, s.rowA, s.rowB, into.inner, s.stride);
      },
      [&](int32_t k, const ResampledPlane<T>& a, const ResampledPlane<T>& b) {
        T* out = destination(k);
        LinearBlendFrame<T>(a.frame, b.frame, s.zWeight[k], t, out, dst.rowStep);
        if (route != InteriorRoute::kThroughPair)
          interiorFromSource(k, out + interiorOffset);
        else if (hasInterior)
          blendInterior(out + interiorOffset, dst.rowStep, t.wi, t.hi, s.zWeight[k],
                        static_cast<const Inner*>(a.inner), static_cast<const Inner*>(b.inner), s.stride);
      });

  const T* lastPlane = src.Plane(WrapMul(src.size.depth - 1, src.planeStep));
  for (int32_t k = zEnd; k < box.d; ++k) resizePlane2D(lastPlane, k);
  return StatusOk;
}

#define QELR_LINEAR(T, V)                                                                     \
  template qelStatus ResizeLinear<T, V>(const SourceVolume<T>&, const DestVolume<T>&,         \
                                        const ResizeBox&, const ResizeMapping&, uint8_t*);
QELR_LINEAR(uint8_t, Variant::V8)
QELR_LINEAR(uint16_t, Variant::V8)
QELR_LINEAR(float, Variant::V8)
QELR_LINEAR(float, Variant::S8)
#undef QELR_LINEAR
