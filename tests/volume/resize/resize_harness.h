// Runs one resize case through the library and through the reference and
// compares every byte of the destination memory: samples inside the box
// bit for bit, everything else untouched.  Volumes are laid out as the
// case asks (padded rows, zero or negative plane steps, plane pointers),
// and the scratch buffer is exactly as large as the size query says, with
// guards around it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "qelr.h"
#include "reference_resize.h"
#include "standin_core.h"
#include "test_util.h"

namespace rt {

enum class PlaneSteps { Positive, Zero, Negative };

struct Case {
  qelrVolume vol{1, 1, 1};
  qelrCuboid srcVoi{0, 0, 0, 1, 1, 1};
  qelrCuboid dstVoi{0, 0, 0, 1, 1, 1};
  double factor[3] = {1, 1, 1};
  double shift[3] = {0, 0, 0};
  int32_t code = InterLinear;
  bool planar = false;
  PlaneSteps srcPlanes = PlaneSteps::Positive;
  bool dstReversed = false;  // negative destination plane step
  int32_t rowPad = 0;        // samples of padding per row
  int32_t stepJunk = 0;      // bytes below one sample added to row steps
  int32_t threads = 1;
  size_t bufferOffset = 0;
  int32_t valueRange = 0;  // above 0: source samples 0 .. valueRange only

  std::string Describe() const {
    std::ostringstream s;
    s << "vol " << vol.width << "x" << vol.height << "x" << vol.depth << " srcVoi (" << srcVoi.x
      << "," << srcVoi.y << "," << srcVoi.z << " " << srcVoi.width << "x" << srcVoi.height << "x"
      << srcVoi.depth << ") dstVoi (" << dstVoi.x << "," << dstVoi.y << "," << dstVoi.z << " "
      << dstVoi.width << "x" << dstVoi.height << "x" << dstVoi.depth << ") factors " << factor[0]
      << "," << factor[1] << "," << factor[2] << " shifts " << shift[0] << "," << shift[1] << ","
      << shift[2] << " code " << code << (planar ? " C1PV" : " C1V") << " srcPlanes "
      << int(srcPlanes) << (dstReversed ? " dst reversed" : "") << " pad " << rowPad << " junk "
      << stepJunk << " threads " << threads;
    return s.str();
  }
};

// The six workers by sample type.
inline qelStatus CallC1V(const uint8_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv,
                         uint8_t* d, int32_t ds, int32_t dp, qelrCuboid dv, const double* f,
                         const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_8u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}
inline qelStatus CallC1V(const uint16_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv,
                         uint16_t* d, int32_t ds, int32_t dp, qelrCuboid dv, const double* f,
                         const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_16u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}
inline qelStatus CallC1V(const float* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv,
                         float* d, int32_t ds, int32_t dp, qelrCuboid dv, const double* f,
                         const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_32f_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}
inline qelStatus CallC1PV(const uint8_t* const* s, qelrVolume v, int32_t ss, qelrCuboid sv,
                          uint8_t* const* d, int32_t ds, qelrCuboid dv, const double* f,
                          const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_8u_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}
inline qelStatus CallC1PV(const uint16_t* const* s, qelrVolume v, int32_t ss, qelrCuboid sv,
                          uint16_t* const* d, int32_t ds, qelrCuboid dv, const double* f,
                          const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_16u_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}
inline qelStatus CallC1PV(const float* const* s, qelrVolume v, int32_t ss, qelrCuboid sv,
                          float* const* d, int32_t ds, qelrCuboid dv, const double* f,
                          const double* sh, int32_t code, uint8_t* buf) {
  return qelrResize_32f_C1PV(s, v, ss, sv, d, ds, dv, f[0], f[1], f[2], sh[0], sh[1], sh[2], code, buf);
}

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

// Memory of one volume in the layout of a case, and a view of it.
template <typename T>
struct Memory {
  std::vector<T> samples;
  std::vector<T*> planes;  // C1PV: one pointer per plane
  T* base = nullptr;       // C1V: plane 0
  int32_t rowStepBytes = 0, planeStepBytes = 0;
  int32_t rowStep = 0, planeStep = 0;  // samples

  ref::View<T> View() {
    ref::View<T> v;
    v.rowStep = rowStep;
    if (!planes.empty()) {
      auto p = planes;
      v.plane = [p](int32_t z) { return p[z]; };
    } else {
      T* b = base;
      const int32_t step = planeStep;
      v.plane = [b, step](int32_t z) { return b + ptrdiff_t(z) * step; };
    }
    return v;
  }
};

template <typename T>
ref::View<const T> AsConst(const ref::View<T>& v) {
  ref::View<const T> c;
  c.rowStep = v.rowStep;
  auto p = v.plane;
  c.plane = [p](int32_t z) { return static_cast<const T*>(p(z)); };
  return c;
}

// Lays out a width x height x depth volume.  `planes` of Zero makes every
// plane the same memory; Negative puts plane 0 last in memory.
template <typename T>
void LayOut(Memory<T>& m, int32_t width, int32_t height, int32_t depth, const Case& c,
            PlaneSteps steps, bool planar, qt::Rng& rng) {
  // Junk bytes below one sample are shifted out, for either sign of step.
  const int32_t junk = c.stepJunk % int32_t(sizeof(T));
  m.rowStepBytes = int32_t((width + c.rowPad) * sizeof(T)) + junk;
  m.rowStep = m.rowStepBytes / int32_t(sizeof(T));
  const int32_t planeSamples = m.rowStep * height + rng.Int(0, 3);
  if (planar) {
    m.samples.resize(size_t(planeSamples) * depth);
    for (int32_t z = 0; z < depth; ++z) m.planes.push_back(m.samples.data() + size_t(z) * planeSamples);
    m.planeStep = 1;
  } else {
    const int32_t stored = steps == PlaneSteps::Zero ? 1 : depth;
    m.samples.resize(size_t(planeSamples) * stored);
    m.planeStep = steps == PlaneSteps::Zero ? 0 : (steps == PlaneSteps::Negative ? -planeSamples : planeSamples);
    m.planeStepBytes = m.planeStep * int32_t(sizeof(T)) + (m.planeStep != 0 ? junk : 0);
    m.base = m.samples.data() + (steps == PlaneSteps::Negative ? size_t(planeSamples) * (depth - 1) : 0);
  }
  for (auto& s : m.samples)
    s = c.valueRange > 0 ? static_cast<T>(rng.Int(0, c.valueRange)) : RandomSample<T>(rng);
}

// Which NaN an operation returns when both operands are NaN (or when one is
// and the other goes invalid) depends on the order the compiler gives the
// operands of an addition, which C++ leaves free; any NaN matches any NaN.
template <typename T>
bool BothNaN(T a, T b) {
  if constexpr (sizeof(T) == 4) return a != a && b != b;
  return false;
}

// Runs the case; returns false (with a gtest failure) on any difference.
template <typename T>
::testing::AssertionResult RunCase(const Case& c, uint64_t seed) {
  qt::Rng rng(seed);
  Memory<T> src;
  LayOut(src, c.vol.width, c.vol.height, c.vol.depth, c, c.srcPlanes, c.planar, rng);
  if (c.planar && c.vol.depth > 1 && rng.Chance(0.3)) src.planes[1] = src.planes[0];  // aliased planes

  Memory<T> dst;
  const qelrCuboid& dv = c.dstVoi;
  Case dstCase = c;
  dstCase.valueRange = 0;  // the destination's old contents are noise
  LayOut(dst, dv.x + dv.width + 1, dv.y + dv.height + 1, dv.z + dv.depth + 1, dstCase,
         c.dstReversed ? PlaneSteps::Negative : PlaneSteps::Positive, c.planar, rng);
  Memory<T> expected = dst;
  if (!expected.planes.empty())
    for (size_t z = 0; z < expected.planes.size(); ++z)
      expected.planes[z] = expected.samples.data() + (dst.planes[z] - dst.samples.data());
  else
    expected.base = expected.samples.data() + (dst.base - dst.samples.data());

  standinSetNumThreads(c.threads);
  int32_t bufSize = 0;
  qelStatus sizeStatus = qelrResizeGetBufSize(c.srcVoi, c.dstVoi, 1, c.code, &bufSize);
  if (sizeStatus != StatusOk) return ::testing::AssertionFailure() << "size query " << sizeStatus;
  qt::GuardedBuffer<uint8_t> buffer(size_t(bufSize), c.bufferOffset);

  qelStatus status;
  if (c.planar) {
    std::vector<const T*> sp(src.planes.begin(), src.planes.end());
    status = CallC1PV(sp.data(), c.vol, src.rowStepBytes, c.srcVoi, dst.planes.data(),
                      dst.rowStepBytes, c.dstVoi, c.factor, c.shift, c.code, buffer.data());
  } else {
    status = CallC1V(static_cast<const T*>(src.base), c.vol, src.rowStepBytes, src.planeStepBytes,
                     c.srcVoi, dst.base, dst.rowStepBytes, dst.planeStepBytes, c.dstVoi, c.factor,
                     c.shift, c.code, buffer.data());
  }

  const ref::Geometry g = ref::Map(c.vol, c.srcVoi, c.dstVoi, c.factor, c.shift, c.code);
  if (g.status == StatusOk) {
    if (c.code == InterNearest) ref::Nearest<T>(AsConst(src.View()), expected.View(), g);
    else ref::Linear<T>(AsConst(src.View()), c.vol, expected.View(), g);
  }
  if (status != g.status)
    return ::testing::AssertionFailure() << "status " << status << ", expected " << g.status << "; " << c.Describe();
  if (!buffer.GuardsIntact())
    return ::testing::AssertionFailure() << "scratch guard overwritten; " << c.Describe();
  const uint8_t* got = reinterpret_cast<const uint8_t*>(dst.samples.data());
  const uint8_t* want = reinterpret_cast<const uint8_t*>(expected.samples.data());
  const size_t bytes = dst.samples.size() * sizeof(T);
  for (size_t b = 0; b < bytes; ++b)
    if (got[b] != want[b]) {
      const size_t s = b / sizeof(T);
      if (BothNaN(expected.samples[s], dst.samples[s])) {
        b = (s + 1) * sizeof(T) - 1;
        continue;
      }
      std::ostringstream what;
      if constexpr (sizeof(T) == 4) what << qt::Show(expected.samples[s]) << " vs " << qt::Show(dst.samples[s]);
      else what << +expected.samples[s] << " vs " << +dst.samples[s];
      return ::testing::AssertionFailure() << "destination sample " << s << " (expected vs got) " << what.str()
                                           << "; box x " << g.first[0] << ".." << g.end[0] << " y " << g.first[1]
                                           << ".." << g.end[1] << " z " << g.first[2] << ".." << g.end[2] << "; "
                                           << c.Describe();
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

inline int32_t Truncate(double v) { return ref::Trunc(v); }

// A random case.  Source extents of 1 to 3 appear often; source regions may
// reach past the volume; destination regions may cut the box.  Linear
// cases whose edge frames would overrun their room are drawn again.
inline Case RandomCase(qt::Rng& rng, int32_t code, bool planar) {
  for (;;) {
    Case c;
    c.code = code;
    c.planar = planar;
    int32_t* dims[3] = {&c.vol.width, &c.vol.height, &c.vol.depth};
    for (auto* d : dims) *d = rng.Chance(0.3) ? rng.Int(1, 3) : rng.Int(4, 9);
    c.srcVoi.x = rng.Chance(0.5) ? 0 : rng.Int(0, c.vol.width - 1);
    c.srcVoi.y = rng.Chance(0.5) ? 0 : rng.Int(0, c.vol.height - 1);
    c.srcVoi.z = rng.Chance(0.5) ? 0 : rng.Int(0, c.vol.depth - 1);
    c.srcVoi.width = rng.Int(1, c.vol.width - c.srcVoi.x + 2);
    c.srcVoi.height = rng.Int(1, c.vol.height - c.srcVoi.y + 2);
    c.srcVoi.depth = rng.Int(1, c.vol.depth - c.srcVoi.z + 2);
    const int32_t o[3] = {c.srcVoi.x, c.srcVoi.y, c.srcVoi.z};
    const int32_t n[3] = {c.srcVoi.width, c.srcVoi.height, c.srcVoi.depth};
    int32_t p[3], m[3];
    for (int a = 0; a < 3; ++a) {
      c.factor[a] = RandomFactor(rng);
      c.shift[a] = rng.Chance(0.5) ? 0.0 : double(rng.Uniform(-2.0f, 2.0f));
      const int32_t first = std::max(Truncate(o[a] * c.factor[a] + c.shift[a] + 0.4999999999), 0);
      const int32_t end = std::max(Truncate((o[a] + n[a]) * c.factor[a] + c.shift[a] + 0.5000000001), 1);
      p[a] = std::max(0, first + (rng.Chance(0.6) ? 0 : rng.Int(-2, 2)));
      m[a] = std::max(1, end - p[a] + (rng.Chance(0.6) ? 0 : rng.Int(-2, 2)));
    }
    c.dstVoi = {p[0], p[1], p[2], m[0], m[1], m[2]};
    c.srcPlanes = static_cast<PlaneSteps>(rng.Int(0, 2));
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
