// Scalar models of the volume resize, written from the documented arithmetic
// sample by sample: every destination sample is computed from its own taps,
// with no tables shared between samples, no rotating buffers and no row
// kernels.  The library must agree with them bit for bit.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "qelr.h"

namespace ref {

// Truncation toward zero, 32-bit, as the processor does it for values in range.
inline int32_t Trunc(double v) { return static_cast<int32_t>(std::trunc(v)); }

struct Geometry {
  qelStatus status = StatusOk;
  int32_t first[3] = {0, 0, 0};  // x, y, z: first destination sample
  int32_t end[3] = {0, 0, 0};    // exclusive
  double inv[3] = {0, 0, 0};
  double off[3] = {0, 0, 0};
};

inline bool BadCuboid(const qelrCuboid& c) {
  return c.x < 0 || c.y < 0 || c.z < 0 || c.width < 1 || c.height < 1 || c.depth < 1;
}

inline bool KnownCode(int32_t code) {
  return code == 1 || code == 2 || (code >= 4 && code <= 7);
}

// The checks after the null-pointer test, and the destination box.
inline Geometry Map(qelrVolume vol, qelrCuboid src, qelrCuboid dst, const double factor[3],
                    const double shift[3], int32_t code) {
  Geometry g;
  auto fail = [&g](qelStatus status) {
    g.status = status;
    return g;
  };
  if (vol.width < 1 || vol.height < 1 || vol.depth < 1 || BadCuboid(src) || BadCuboid(dst))
    return fail(StatusBadSize);
  for (int a = 0; a < 3; ++a)
    if (!(factor[a] > 0.0) && !std::isnan(factor[a])) return fail(StatusBadFactor);
  if (!KnownCode(code)) return fail(StatusBadInterpolation);
  const int32_t o[3] = {src.x, src.y, src.z}, n[3] = {src.width, src.height, src.depth};
  const int32_t S[3] = {vol.width, vol.height, vol.depth};
  const int32_t p[3] = {dst.x, dst.y, dst.z}, m[3] = {dst.width, dst.height, dst.depth};
  for (int a = 0; a < 3; ++a)
    if (o[a] >= S[a]) return fail(StatusVoiOutside);
  for (int a = 0; a < 3; ++a) {
    double lo = o[a] * factor[a] + shift[a];
    if (lo < p[a]) lo = p[a];
    const int32_t c = S[a] - o[a] < n[a] ? S[a] - o[a] : n[a];
    double hi = (o[a] + c) * factor[a] + shift[a];
    if (hi > double(p[a]) + m[a]) hi = double(p[a]) + m[a];
    g.first[a] = Trunc(lo + 0.4999999999);
    g.end[a] = Trunc(hi + 0.5000000001);
  }
  for (int a = 0; a < 3; ++a)
    if (g.first[a] >= g.end[a]) return fail(StatusNoOverlap);
  for (int a = 0; a < 3; ++a) {
    g.inv[a] = 1.0 / factor[a];
    g.off[a] = (0.0 - shift[a]) / factor[a];
  }
  return g;
}

inline int32_t NearestIndex(int32_t i, double inv, double off) {
  return Trunc((i + 0.5) * inv + (off - 1e-10));
}

struct LinearTap {
  double pos;
  int32_t index;    // floor(pos)
  double fraction;  // pos - floor(pos)
};

inline LinearTap LinearPosition(int32_t i, double inv, double off) {
  const double pos = (i + 0.5) * inv + (off - 0.5);
  const double fl = std::floor(pos);
  return {pos, static_cast<int32_t>(fl), pos - fl};
}

enum class Band { Low, Interior, High };

inline Band BandOf(double pos, int32_t size) {
  if (pos < 0) return Band::Low;
  if (pos >= size - 1) return Band::High;
  return Band::Interior;
}

// A volume seen through the same addressing as the library's: samples are
// found by plane, row step and column, so aliased or reversed planes read
// exactly what the library reads.
template <typename T>
struct View {
  std::function<T*(int32_t z)> plane;
  int32_t rowStep = 0;  // samples
  T& At(int32_t x, int32_t y, int32_t z) const { return plane(z)[ptrdiff_t(y) * rowStep + x]; }
};

template <typename T>
void Nearest(const View<const T>& src, const View<T>& dst, const Geometry& g) {
  for (int32_t k = g.first[2]; k < g.end[2]; ++k)
    for (int32_t j = g.first[1]; j < g.end[1]; ++j)
      for (int32_t i = g.first[0]; i < g.end[0]; ++i)
        dst.At(i, j, k) = src.At(NearestIndex(i, g.inv[0], g.off[0]),
                                 NearestIndex(j, g.inv[1], g.off[1]),
                                 NearestIndex(k, g.inv[2], g.off[2]));
}

// The per-type arithmetic of the linear path.  "Plane" values are what a
// source plane gives after x and y; Frame* for samples in the edge bands,
// Inner* for the interior.
template <typename T>
struct LinearMath;

template <>
struct LinearMath<uint8_t> {
  using Weight = int32_t;  // w1, 14 bits
  static Weight MakeWeight(double f) { return Trunc(f * 16384 + 1e-7); }
  static int32_t Sat255(int32_t v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }
  static int32_t Fix(int32_t a, int32_t b, Weight w1, int32_t round, int shift) {
    return ((16384 - w1) * a + w1 * b + round) >> shift;
  }
  // Frame: plain 8-bit values, one rounding per pass.
  static uint8_t Frame2D(uint8_t a, uint8_t b, Weight w) { return uint8_t(Fix(a, b, w, 8192, 14)); }
  static int32_t Frame3D(uint8_t a, uint8_t b, Weight w) { return Fix(a, b, w, 8192, 14); }
  static uint8_t FrameZ(int32_t a, int32_t b, Weight w) { return uint8_t(Fix(a, b, w, 8192, 14)); }
  // Interior: value times 64 after x, one final rounding.
  static int32_t InnerX(uint8_t a, uint8_t b, Weight w) { return Fix(a, b, w, 128, 8); }
  static uint8_t InnerY2D(int32_t a, int32_t b, Weight w) { return uint8_t(Sat255(Fix(a, b, w, 524288, 20))); }
  static int32_t InnerY3D(int32_t a, int32_t b, Weight w) { return Fix(a, b, w, 8192, 14); }
  static uint8_t InnerZ(int32_t a, int32_t b, Weight w) { return uint8_t(Sat255(Fix(a, b, w, 524288, 20))); }
};

// 16u: float arithmetic; the frame rounds in double, the interior in float.
template <>
struct LinearMath<uint16_t> {
  using Weight = float;
  static Weight MakeWeight(double f) { return static_cast<float>(f); }
  static uint16_t Clamp(double v) {
    const int32_t t = Trunc(v);
    return uint16_t(t < 0 ? 0 : (t > 65535 ? 65535 : t));
  }
  // Clamp(double(float sum) + double constant) or Clamp(float sum + float constant).
  static uint16_t Frame2D(uint16_t a, uint16_t b, Weight f) {
    return Clamp(double(float(a) + (float(b) - float(a)) * f) + 0.5000001);
  }
  static float Frame3D(uint16_t a, uint16_t b, Weight f) { return (1.0f - f) * float(a) + f * float(b); }
  static uint16_t FrameZ(float a, float b, Weight f) { return Clamp(double(a * (1.0f - f) + b * f) + 0.5000001); }
  static float InnerX(uint16_t a, uint16_t b, Weight f) { return float(a) + (float(b) - float(a)) * f; }
  static uint16_t InnerY2D(float a, float b, Weight f) { return Clamp(a + (b - a) * f + 0.5000001f); }
  static float InnerY3D(float a, float b, Weight f) { return a + (b - a) * f; }
  static uint16_t InnerZ(float a, float b, Weight f) { return Clamp(a * (1.0f - f) + b * f + 0.5000001f); }
};

template <>
struct LinearMath<float> {
  using Weight = float;
  static Weight MakeWeight(double f) { return static_cast<float>(f); }
  static float Frame2D(float a, float b, Weight f) { return a + (b - a) * f; }
  static float Frame3D(float a, float b, Weight f) { return (1.0f - f) * a + f * b; }
  static float FrameZ(float a, float b, Weight f) { return a * (1.0f - f) + b * f; }
  static float InnerX(float a, float b, Weight f) { return a + (b - a) * f; }
  static float InnerY2D(float a, float b, Weight f) { return a + (b - a) * f; }
  static float InnerY3D(float a, float b, Weight f) { return a + (b - a) * f; }
  static float InnerZ(float a, float b, Weight f) { return a * (1.0f - f) + b * f; }
};

// One destination sample of the linear path.
template <typename T>
T LinearSample(const View<const T>& src, qelrVolume vol, const Geometry& g, int32_t i, int32_t j,
               int32_t k) {
  using M = LinearMath<T>;
  const LinearTap tx = LinearPosition(i, g.inv[0], g.off[0]);
  const LinearTap ty = LinearPosition(j, g.inv[1], g.off[1]);
  const LinearTap tz = LinearPosition(k, g.inv[2], g.off[2]);
  const Band bx = BandOf(tx.pos, vol.width), by = BandOf(ty.pos, vol.height);
  const Band bz = BandOf(tz.pos, vol.depth);
  const auto wx = M::MakeWeight(tx.fraction), wy = M::MakeWeight(ty.fraction);
  const auto wz = M::MakeWeight(tz.fraction);
  const bool frame = bx != Band::Interior || by != Band::Interior;

  // Frame taps of plane z: a row of the y band interpolated along x, or a
  // column of the x band interpolated along y.
  auto frameTaps = [&](int32_t z, T* a, T* b) {
    if (by != Band::Interior) {
      const int32_t row = by == Band::Low ? 0 : vol.height - 1;
      int32_t left = tx.index, right = tx.index + 1;
      if (tx.index < 0) left = right = 0;
      else if (tx.index > vol.width - 2) left = right = vol.width - 1;
      *a = src.At(left, row, z);
      *b = src.At(right, row, z);
    } else {
      const int32_t column = bx == Band::Low ? 0 : vol.width - 1;
      *a = src.At(column, ty.index, z);
      *b = src.At(column, ty.index + 1, z);
    }
  };
  auto frameWeight = [&] { return by != Band::Interior ? wx : wy; };
  auto innerRow = [&](int32_t y, int32_t z) {
    return M::InnerX(src.At(tx.index, y, z), src.At(tx.index + 1, y, z), wx);
  };

  if (bz != Band::Interior) {
    const int32_t z = bz == Band::Low ? 0 : vol.depth - 1;
    if (frame) {
      T a, b;
      frameTaps(z, &a, &b);
      return M::Frame2D(a, b, frameWeight());
    }
    return M::InnerY2D(innerRow(ty.index, z), innerRow(ty.index + 1, z), wy);
  }
  if (frame) {
    T a0, b0, a1, b1;
    frameTaps(tz.index, &a0, &b0);
    frameTaps(tz.index + 1, &a1, &b1);
    return M::FrameZ(M::Frame3D(a0, b0, frameWeight()), M::Frame3D(a1, b1, frameWeight()), wz);
  }
  const auto p0 = M::InnerY3D(innerRow(ty.index, tz.index), innerRow(ty.index + 1, tz.index), wy);
  const auto p1 =
      M::InnerY3D(innerRow(ty.index, tz.index + 1), innerRow(ty.index + 1, tz.index + 1), wy);
  return M::InnerZ(p0, p1, wz);
}

template <typename T>
void Linear(const View<const T>& src, qelrVolume vol, const View<T>& dst, const Geometry& g) {
  for (int32_t k = g.first[2]; k < g.end[2]; ++k)
    for (int32_t j = g.first[1]; j < g.end[1]; ++j)
      for (int32_t i = g.first[0]; i < g.end[0]; ++i)
        dst.At(i, j, k) = LinearSample(src, vol, g, i, j, k);
}

// Samples of one edge frame (the frame of a plane that is blended along z)
// and its room, 4 * (w + h); a larger frame overruns into the next.
inline bool FrameFits(qelrVolume vol, const Geometry& g) {
  int32_t band[2][2] = {{0, 0}, {0, 0}};
  const int32_t size[2] = {vol.width, vol.height};
  for (int a = 0; a < 2; ++a)
    for (int32_t i = g.first[a]; i < g.end[a]; ++i) {
      const Band b = BandOf(LinearPosition(i, g.inv[a], g.off[a]).pos, size[a]);
      if (b == Band::Low) ++band[a][0];
      if (b == Band::High) ++band[a][1];
    }
  const int64_t w = g.end[0] - g.first[0], h = g.end[1] - g.first[1];
  const int64_t hi = h - band[1][0] - band[1][1];
  const int64_t samples = (band[1][0] + band[1][1]) * w + (band[0][0] + band[0][1]) * hi;
  return samples <= 4 * (w + h);
}

}  // namespace ref
