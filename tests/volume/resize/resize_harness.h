// Runs one resize case through the library and through the scalar models
// and compares every byte of the destination memory: samples inside the box
// bit for bit, everything else untouched.  Volumes are laid out as the case
// asks (padded or reversed rows, zero or negative plane steps, plane
// pointers) with a margin of random samples around them, so that the
// unchecked taps of tiny cubic sources read defined memory, the same for the
// library and the model.  The scratch is exactly as large as the size query
// says, with guards around it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "qelr.h"
#include "reference_cubic.h"
#include "reference_resize.h"
#include "standin_core.h"
#include "test_util.h"

namespace rt {

enum class PlaneSteps { Positive, Zero, Negative };
constexpr int32_t kMargin = 3;

struct Case {
  qelrVolume vol{1, 1, 1};
  qelrCuboid srcVoi{0, 0, 0, 1, 1, 1};
  qelrCuboid dstVoi{0, 0, 0, 1, 1, 1};
  double factor[3] = {1, 1, 1};
  double shift[3] = {0, 0, 0};
  int32_t code = InterLinear;
  bool planar = false;
  PlaneSteps srcPlanes = PlaneSteps::Positive;
  bool srcRowsReversed = false;
  bool dstReversed = false;  // negative destination plane step
  int32_t rowPad = 0;        // samples of padding per row
  int32_t stepJunk = 0;      // bytes below one sample added to the steps
  int32_t threads = 1;
  size_t bufferOffset = 0;
  int32_t valueRange = 0;  // above 0: source samples 0 .. valueRange only

  std::string Describe() const {
    std::ostringstream s;
    for (const qelrCuboid& b : {qelrCuboid{0, 0, 0, vol.width, vol.height, vol.depth}, srcVoi, dstVoi})
      s << "(" << b.x << "," << b.y << "," << b.z << " " << b.width << "x" << b.height << "x" << b.depth << ") ";
    s << "code " << code << " f " << factor[0] << "," << factor[1] << "," << factor[2] << " sh " << shift[0]
      << "," << shift[1] << "," << shift[2] << (planar ? " C1PV" : " C1V") << " planes " << int(srcPlanes)
      << " rowsrev " << srcRowsReversed << " dstrev " << dstReversed << " pad " << rowPad << " junk "
      << stepJunk << " threads " << threads;
    return s.str();
  }
};

// The six exports by sample type.
#define QELR_RESIZE_CALLS(T, tag)                                                                         \
  inline qelStatus Call(const T* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, T* d, int32_t ds, \
                        int32_t dp, qelrCuboid dv, const double* f, const double* h, int32_t code,       \
                        uint8_t* b) {                                                                    \
    return qelrResize_##tag##_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], h[0], h[1], h[2],  \
                                  code, b);                                                              \
  }                                                                                                      \
  inline qelStatus Call(const T* const* s, qelrVolume v, int32_t ss, qelrCuboid sv, T* const* d,         \
                        int32_t ds, qelrCuboid dv, const double* f, const double* h, int32_t code,       \
                        uint8_t* b) {                                                                    \
    return qelrResize_##tag##_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], h[0], h[1], h[2], code, b); \
  }
QELR_RESIZE_CALLS(uint8_t, 8u)
QELR_RESIZE_CALLS(uint16_t, 16u)
QELR_RESIZE_CALLS(float, 32f)
#undef QELR_RESIZE_CALLS

template <typename T>
T RandomSample(qt::Rng& rng) {
  if constexpr (sizeof(T) == 4) {
    return rng.Chance(0.03) ? rng.Special(-100.0f, 100.0f) : rng.Uniform(-100.0f, 100.0f);
  } else {
    // Extremes often, to reach the saturating ends.
    const int32_t top = sizeof(T) == 1 ? 255 : 65535;
    switch (rng.Int(0, 5)) {
      case 0: return 0;
      case 1: return static_cast<T>(top);
      default: return static_cast<T>(rng.Int(0, top));
    }
  }
}

// One volume in the layout of a case: plane pointers from -kMargin on, for
// both layouts (the contiguous one passes plane 0 and its steps).
template <typename T>
struct Memory {
  std::vector<T> samples;
  std::vector<T*> planes;
  int32_t rowStep = 0, planeStep = 0;  // samples
  int32_t rowStepBytes = 0, planeStepBytes = 0;
  T* const* Planes() const { return planes.data() + kMargin; }
  template <typename U>
  ref::View<U> View() const {
    ref::View<U> v;
    v.rowStep = rowStep;
    const std::vector<T*> p = planes;
    v.plane = [p](int32_t z) { return static_cast<U*>(p[z + kMargin]); };
    return v;
  }
  Memory CopyInto() const {  // the same layout over a copy of the samples
    Memory m = *this;
    for (T*& p : m.planes) p = m.samples.data() + (p - samples.data());
    return m;
  }
};

template <typename T>
Memory<T> LayOut(int32_t width, int32_t height, int32_t depth, const Case& c, PlaneSteps steps,
                 bool rowsReversed, int32_t valueRange, qt::Rng& rng) {
  Memory<T> m;
  // Junk bytes below one sample are shifted out, for either sign of step.
  const int32_t junk = c.stepJunk % int32_t(sizeof(T));
  const int32_t row = width + c.rowPad;
  m.rowStep = rowsReversed ? -row : row;
  const int32_t plane = row * height + rng.Int(0, 3);
  m.planeStep = steps == PlaneSteps::Zero ? 0 : (steps == PlaneSteps::Negative ? -plane : plane);
  m.rowStepBytes = m.rowStep * int32_t(sizeof(T)) + junk;
  m.planeStepBytes = m.planeStep * int32_t(sizeof(T)) + (m.planeStep != 0 ? junk : 0);
  int64_t lo = 0, hi = 0;
  for (int32_t z : {-kMargin, depth + kMargin})
    for (int32_t y : {-kMargin, height + kMargin})
      for (int32_t x : {-kMargin, row + kMargin}) {
        const int64_t at = int64_t(z) * m.planeStep + int64_t(y) * m.rowStep + x;
        lo = std::min(lo, at), hi = std::max(hi, at);
      }
  m.samples.resize(size_t(hi - lo + 1));
  for (auto& s : m.samples) s = valueRange > 0 ? static_cast<T>(rng.Int(0, valueRange)) : RandomSample<T>(rng);
  for (int32_t z = -kMargin; z < depth + kMargin; ++z)
    m.planes.push_back(m.samples.data() - lo + int64_t(z) * m.planeStep);
  return m;
}

// Which NaN an operation returns when both operands are NaN depends on the
// order the compiler gives the operands of an addition; any NaN matches.
template <typename T>
bool BothNaN(T a, T b) {
  if constexpr (sizeof(T) == 4) return a != a && b != b;
  return false;
}

template <typename T>
void Reference(const Case& c, const ref::Geometry& g, const Memory<T>& src, const Memory<T>& out) {
  const ref::View<const T> s = src.template View<const T>();
  const ref::View<T> d = out.template View<T>();
  if (c.code == InterNearest) return ref::Nearest<T>(s, d, g);
  if (c.code == InterLinear) return ref::Linear<T>(s, c.vol, d, g);
  refcubic::Source<T> model;
  const std::vector<const T*> planes(src.planes.begin(), src.planes.end());
  model.planes = planes.data() + kMargin;
  model.step = src.rowStep;
  const refcubic::Problem p = {c.code, c.vol.width, c.vol.height, c.vol.depth, g.first[0], g.first[1],
                               g.first[2], g.end[0] - g.first[0], g.end[1] - g.first[1],
                               g.end[2] - g.first[2], g.inv[0], g.inv[1], g.inv[2], g.off[0], g.off[1], g.off[2]};
  refcubic::Resize<T>(model, p, [&](int32_t z, int32_t y, int32_t x) { return &d.At(x, y, z); });
}

// Runs the case; an assertion failure names the first differing sample.
template <typename T>
::testing::AssertionResult RunCase(const Case& c, uint64_t seed) {
  qt::Rng rng(seed);
  const Memory<T> src = LayOut<T>(c.vol.width, c.vol.height, c.vol.depth, c, c.srcPlanes,
                                  c.srcRowsReversed, c.valueRange, rng);
  const qelrCuboid& dv = c.dstVoi;
  Memory<T> dst = LayOut<T>(dv.x + dv.width + 1, dv.y + dv.height + 1, dv.z + dv.depth + 1, c,
                            c.dstReversed ? PlaneSteps::Negative : PlaneSteps::Positive, false, 0, rng);
  const Memory<T> expected = dst.CopyInto();

  standinSetNumThreads(c.threads);
  int32_t bufSize = 0;
  const qelStatus sizeStatus = qelrResizeGetBufSize(c.srcVoi, c.dstVoi, 1, c.code, &bufSize);
  if (sizeStatus != StatusOk) return ::testing::AssertionFailure() << "size query " << sizeStatus;
  qt::GuardedBuffer<uint8_t> buffer(size_t(bufSize), c.bufferOffset);

  qelStatus status;
  if (c.planar) {
    const std::vector<const T*> sp(src.planes.begin(), src.planes.end());
    status = Call(sp.data() + kMargin, c.vol, src.rowStepBytes, c.srcVoi, dst.Planes(), dst.rowStepBytes, c.dstVoi,
                  c.factor, c.shift, c.code, buffer.data());
  } else {
    status = Call(static_cast<const T*>(src.Planes()[0]), c.vol, src.rowStepBytes, src.planeStepBytes,
                  c.srcVoi, dst.Planes()[0], dst.rowStepBytes, dst.planeStepBytes, c.dstVoi, c.factor,
                  c.shift, c.code, buffer.data());
  }

  const ref::Geometry g = ref::Map(c.vol, c.srcVoi, c.dstVoi, c.factor, c.shift, c.code);
  if (g.status == StatusOk) Reference(c, g, src, expected);
  if (status != g.status)
    return ::testing::AssertionFailure() << "status " << status << ", expected " << g.status << "; " << c.Describe();
  if (!buffer.GuardsIntact()) return ::testing::AssertionFailure() << "scratch guard overwritten; " << c.Describe();
  for (size_t s = 0; s < dst.samples.size(); ++s) {
    const T want = expected.samples[s], got = dst.samples[s];
    if (std::memcmp(&want, &got, sizeof(T)) == 0 || BothNaN(want, got)) continue;
    std::ostringstream what;
    if constexpr (sizeof(T) == 4) what << qt::Show(want) << " vs " << qt::Show(got);
    else what << +want << " vs " << +got;
    return ::testing::AssertionFailure() << "destination sample " << s << " (expected vs got) " << what.str()
                                         << "; volume, source, destination " << c.Describe();
  }
  return ::testing::AssertionSuccess();
}

// A factor typical of resizing: exact ratios now and then, else any value
// between a strong downscale and a 3.5 times upscale.
inline double RandomFactor(qt::Rng& rng) {
  static const double exact[] = {1.0, 2.0, 0.5, 3.0, 1.0 / 3.0, 0.25, 1.5, 0.75};
  if (rng.Chance(0.5)) return exact[rng.Int(0, 7)];
  return rng.Uniform(0.3f, 3.5f);
}

// A random case.  Source extents of 1 to 3 appear often; source regions may
// reach past the volume; destination regions may cut the box.  Linear
// cases whose edge frames would overrun their room are drawn again.
inline Case RandomCase(qt::Rng& rng, int32_t code, bool planar) {
  for (;;) {
    Case c;
    c.code = code;
    c.planar = planar;
    int32_t* dims[3] = {&c.vol.width, &c.vol.height, &c.vol.depth};
    int32_t* origin[3] = {&c.srcVoi.x, &c.srcVoi.y, &c.srcVoi.z};
    int32_t* extent[3] = {&c.srcVoi.width, &c.srcVoi.height, &c.srcVoi.depth};
    int32_t p[3], m[3];
    for (int a = 0; a < 3; ++a) {
      *dims[a] = rng.Chance(0.3) ? rng.Int(1, 3) : rng.Int(4, 9);
      const int32_t o = *origin[a] = rng.Chance(0.5) ? 0 : rng.Int(0, *dims[a] - 1);
      const int32_t n = *extent[a] = rng.Int(1, *dims[a] - o + 2);
      c.factor[a] = RandomFactor(rng);
      c.shift[a] = rng.Chance(0.5) ? 0.0 : double(rng.Uniform(-2.0f, 2.0f));
      const int32_t first = std::max(ref::Trunc(o * c.factor[a] + c.shift[a] + 0.4999999999), 0);
      const int32_t end = std::max(ref::Trunc((o + n) * c.factor[a] + c.shift[a] + 0.5000000001), 1);
      p[a] = std::max(0, first + (rng.Chance(0.6) ? 0 : rng.Int(-2, 2)));
      m[a] = std::max(1, end - p[a] + (rng.Chance(0.6) ? 0 : rng.Int(-2, 2)));
    }
    c.dstVoi = {p[0], p[1], p[2], m[0], m[1], m[2]};
    c.srcPlanes = static_cast<PlaneSteps>(rng.Int(0, 2));
    c.srcRowsReversed = rng.Chance(0.3);
    c.dstReversed = rng.Chance(0.3);
    c.rowPad = rng.Int(0, 3);
    c.stepJunk = rng.Chance(0.2) ? rng.Int(0, 3) : 0;
    c.threads = rng.Int(1, 3);
    c.bufferOffset = size_t(rng.Int(0, 15));
    const ref::Geometry g = ref::Map(c.vol, c.srcVoi, c.dstVoi, c.factor, c.shift, code);
    // Empty boxes are common with strong downscales of tiny volumes; keep a few.
    if (g.status == StatusNoOverlap && !rng.Chance(0.15)) continue;
    if (code == InterLinear && g.status == StatusOk && !ref::FrameFits(c.vol, g)) continue;
    return c;
  }
}

}  // namespace rt
