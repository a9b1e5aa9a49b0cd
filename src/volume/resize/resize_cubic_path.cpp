// The cubic path over a slab: tables, then the destination planes in the
// order low bands, high bands, planes between.
#include "volume/resize/resize_cubic_path.h"

#include "volume/resize/resize_cubic_plane.h"
#include "volume/resize/resize_cubic_tables.h"
#include "volume/resize/resize_cubic_weights.h"
#include "volume/resize/resize_cubic_window.h"

namespace {

// A resampled source plane: its edge frame and its interior.
struct CubicSlot {
  float* frame;
  float* interior;
};

inline int32_t RoundUp64(int32_t n) { return (n + 63) & ~63; }

template <typename T>
class CubicPlanes {
 public:
  CubicPlanes(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
              const CubicPlaneTables& tables, const int32_t* zOffset, const float* zWeight4,
              const CubicSlot slots[4])
      : src_(src), dst_(dst), box_(box), t_(tables), zOffset_(zOffset), zWeight4_(zWeight4) {
    for (int k = 0; k < 4; ++k) slots_[k] = slots[k];
  }

  // The destination planes in their fixed order.  The bands rebuild their
  // source planes for every destination plane; only the planes between
  // reuse earlier work.
  void Run(const CubicBands& z) {
    const int32_t d = box_.d;
    const int32_t last = src_.size.depth - 1;
    CubicSlot& a = slots_[0];
    CubicSlot& b = slots_[1];
    CubicSlot& c = slots_[2];
    for (int32_t k = 0; k < z.outLow; ++k) {
      Resample(BandPlane(0), a);
      Resample(BandPlane(1), b);
      Blend(k, a, a, a, b);
    }
    for (int32_t k = z.outLow; k < z.Low(); ++k) {
      Resample(BandPlane(0), a);
      Resample(BandPlane(1), b);
      Resample(BandPlane(2), c);
      Blend(k, a, a, b, c);
    }
    for (int32_t k = d - z.High(); k < d - z.outHigh; ++k) {
      Resample(BandPlane(last - 2), a);
      Resample(BandPlane(last - 1), b);
      Resample(BandPlane(last), c);
      Blend(k, a, b, c, c);
    }
    for (int32_t k = d - z.outHigh; k < d; ++k) {
      Resample(BandPlane(last - 1), a);
      Resample(BandPlane(last), b);
      Blend(k, a, b, b, b);
    }
    PlanesBetween(z.Low(), d - z.High());
  }

 private:
  // Source plane number n of the band steps, as a line of the source.
  int32_t BandPlane(int32_t n) const { return n * src_.planeStep; }

  void Resample(int32_t line, const CubicSlot& slot) {
    const T* plane = src_.Plane(line);
    // The interior first: its rows stream through the plane in order and
    // leave it in cache for the frame's scattered taps.
    if (t_.HasInterior()) CubicInterior(plane, t_, slot.interior, slot.frame);
    CubicFrame(plane, t_, slot.frame);
  }

  void Blend(int32_t k, const CubicSlot& a, const CubicSlot& b, const CubicSlot& c,
             const CubicSlot& e) {
    const float* zw = zWeight4_ + 4 * k;
    T* dst = dst_.Sample(box_.x, box_.y, box_.z + k);
    // The interior first: its rows stream through the destination plane and
    // bring in the lines that the frame's columns then write into.  The two
    // never overlap when there is an interior.
    if (t_.HasInterior()) {
      const float* const interiors[4] = {a.interior, b.interior, c.interior, e.interior};
      T* inner = dst + static_cast<int64_t>(t_.y.Low()) * dst_.rowStep + t_.x.Low();
      t_.kernels->Of<T>().blendInterior(inner, dst_.rowStep, t_.wi, t_.hi, zw, interiors, t_.planeStride);
    }
    const float* const frames[4] = {a.frame, b.frame, c.frame, e.frame};
    CubicBlendFrame(frames, zw, t_, dst, dst_.rowStep);
  }

  // Destination planes first .. end - 1 lie between source planes: a window
  // of four slots slides along z, reloading only the planes that go stale.
  void PlanesBetween(int32_t first, int32_t end) {
    if (first >= end) return;
    const int32_t pstep = src_.planeStep;
    const int32_t idx = zOffset_[first];
    Resample(idx - pstep, slots_[1]);
    Resample(idx, slots_[2]);
    Resample(idx + pstep, slots_[3]);
    int32_t prev = CubicWindowStart(idx, pstep);
    auto load = [&](CubicSlot& slot, int32_t line) { Resample(line, slot); };
    for (int32_t k = first; k < end; ++k) {
      AdvanceCubicWindow(slots_, zOffset_[k], prev, pstep, load);
      Blend(k, slots_[0], slots_[1], slots_[2], slots_[3]);
    }
  }

  const SourceVolume<T>& src_;
  const DestVolume<T>& dst_;
  const ResizeBox& box_;
  const CubicPlaneTables& t_;
  const int32_t* zOffset_;
  const float* zWeight4_;
  CubicSlot slots_[4];
};

}  // namespace

template <typename T, Variant V>
qelStatus ResizeCubic(const SourceVolume<T>& src, const DestVolume<T>& dst, const ResizeBox& box,
                      const ResizeMapping& map, int32_t interpolation, uint8_t* scratch) {
  const int32_t w = box.w, h = box.h, d = box.d;
  ScratchCursor cursor(scratch);

  // Axis tables: indexes (x in samples, y and z times their steps) and
  // fractions, with the band counts of each axis.
  int32_t* xIndex = cursor.Take<int32_t>(4 * int64_t(w), 16);
  int32_t* yOffset = cursor.Take<int32_t>(4 * int64_t(h), 16);
  int32_t* zOffset = cursor.Take<int32_t>(4 * int64_t(d), 16);
  float* xFraction = cursor.Take<float>(4 * int64_t(w), 64);
  float* yFraction = cursor.Take<float>(4 * int64_t(h), 64);
  float* zFraction = cursor.Take<float>(4 * int64_t(d), 64);
  const qelrVolume& size = src.size;
  const CubicBands xBands =
      BuildCubicAxis<V>({box.x, w, map.xInv, map.xOff}, size.width, 1, xIndex, xFraction);
  const CubicBands yBands =
      BuildCubicAxis<V>({box.y, h, map.yInv, map.yOff}, size.height, src.rowStep, yOffset, yFraction);
  const CubicBands zBands =
      BuildCubicAxis<V>({box.z, d, map.zInv, map.zOff}, size.depth, src.planeStep, zOffset, zFraction);

  CubicPlaneTables t;
  t.w = w;
  t.h = h;
  t.x = xBands;
  t.y = yBands;
  t.wi = w - xBands.Low() - xBands.High();
  t.hi = h - yBands.Low() - yBands.High();
  t.srcW = size.width;
  t.srcH = size.height;
  t.srcStep = src.rowStep;
  t.xIndex = xIndex;
  t.yOffset = yOffset;
  t.planeStride = RoundUp64(t.wi > 0 ? t.wi : 0);

  // Intermediates: four row buffers, four interior planes, the weight
  // tables, four edge frames.  Nothing checks that a frame's bands fit its
  // 32 (w + h) samples; in a large upscale one frame runs into the next.
  for (int k = 0; k < 4; ++k) t.rows[k] = cursor.Take<float>(4 * int64_t(t.wi), 64);
  float* interiors[4];
  for (int k = 0; k < 4; ++k)
    interiors[k] = cursor.Take<float>(4 * int64_t(t.hi > 0 ? t.hi : 0) * t.planeStride, 64);
  // The x table starts up to 48 bytes into its piece, so that the
  // interior's grouped weights lie on a 64-byte boundary (xLow columns of 16
  // bytes come before them); the queried size leaves room for that.
  const int32_t xShift = 4 * ((4 - xBands.Low() % 4) % 4);
  float* xWeight4 = cursor.Take<float>(16 * int64_t(w) + 48, 64) + xShift;
  float* yWeight4 = cursor.Take<float>(16 * int64_t(h), 64);
  float* zWeight4 = cursor.Take<float>(16 * int64_t(d), 64);
  float* frames[4];
  for (int k = 0; k < 4; ++k) frames[k] = cursor.Take<float>(128 * (int64_t(w) + h), 64);

  const CubicWeightsFn weights = CubicWeightsForCode(interpolation);
  weights(xFraction, w, xWeight4);
  weights(yFraction, h, yWeight4);
  weights(zFraction, d, zWeight4);
  t.xWeight4 = xWeight4;
  t.yWeight4 = yWeight4;

  // The interior columns' weights are regrouped for the row kernels; the
  // band columns keep theirs as they are.
  alignas(64) float lastGroup[4 * kCubicGroup];
  const int32_t xLow = xBands.Low();
  if (t.wi > 0) GroupCubicXWeights(xWeight4 + 4 * xLow, t.wi, lastGroup);
  t.xInterior = {t.wi, xIndex + xLow, xWeight4 + 4 * xLow, lastGroup, CubicIndexStepsByTwo(xIndex + xLow, t.wi)};
  t.kernels = CubicKernelsForCpu();

  const CubicSlot slots[4] = {{frames[0], interiors[0]},
                              {frames[1], interiors[1]},
                              {frames[2], interiors[2]},
                              {frames[3], interiors[3]}};
  CubicPlanes<T>(src, dst, box, t, zOffset, zWeight4, slots).Run(zBands);
  return StatusOk;
}

#define QELR_CUBIC(T, V)                                                                     \
  template qelStatus ResizeCubic<T, V>(const SourceVolume<T>&, const DestVolume<T>&,         \
                                       const ResizeBox&, const ResizeMapping&, int32_t, uint8_t*);
QELR_CUBIC(uint8_t, Variant::V8)
QELR_CUBIC(uint16_t, Variant::V8)
QELR_CUBIC(float, Variant::V8)
QELR_CUBIC(float, Variant::S8)
#undef QELR_CUBIC
