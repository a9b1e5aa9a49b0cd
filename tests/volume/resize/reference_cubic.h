// Plain scalar model of the cubic volume resize, sample by sample: every
// destination sample is computed on its own from the source, with no reuse of
// rows or planes, so that the library's sliding windows are checked rather
// than copied.  It does not reproduce frames whose bands outgrow their room
// in the scratch (upscales by more than about 10), which tests avoid.
#pragma once

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace refcubic {

inline double KernelNear(int code, double x) {
  switch (code) {
    case 4: return (x * 0.5 * x - x - 0.5) * x + 1.0;
    case 5: return (x * 0.5 * x - x) * x + 0.6666666666666666;
    case 6: return (x * 1.5 - 2.5) * x * x + 1.0;
    default: return (x * 0.95 - 1.7) * x * x + 0.8333333333333334;
  }
}

inline double KernelFar(int code, double x) {
  switch (code) {
    case 4: return (-0.16666666666666666 * x * x + x - 1.8333333333333333) * x + 1.0;
    case 5: return (-0.16666666666666666 * x * x + x) * x + (1.3333333333333333 - x - x);
    case 6: return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
    default: return ((-0.38333333333333336 * x + 2.0) * x - 3.4) * x + 1.8666666666666667;
  }
}

inline float Weight(int code, float distance) {
  const double x = std::fabs(static_cast<double>(distance));
  if (x >= 2.0) return 0.0f;
  if (1.0 > x) return static_cast<float>(KernelNear(code, x));
  if (x >= 1.0) return static_cast<float>(KernelFar(code, x));
  return 1.0f;  // NaN
}

struct Weights4 {
  float w[4];
};

inline Weights4 Weights(int code, float t) {
  const float u = -1.0f - t;
  return {{Weight(code, u), Weight(code, 1.0f + u), Weight(code, u + 2.0f), Weight(code, u + 3.0f)}};
}

struct Axis {
  std::vector<int32_t> index;
  std::vector<float> fraction;
  std::vector<Weights4> weights;
  int32_t outLow = 0, inLow = 0, inHigh = 0, outHigh = 0;
  int32_t Low() const { return outLow + inLow; }
  int32_t High() const { return inHigh + outHigh; }
};

inline Axis MapAxis(int code, int32_t first, int32_t n, double inv, double off, int32_t size) {
  Axis a;
  for (int32_t j = 0; j < n; ++j) {
    const double pos = (static_cast<double>(first + j) + 0.5) * inv + (off - 0.5);
    const double index = std::floor(pos);
    a.index.push_back(static_cast<int32_t>(index));
    a.fraction.push_back(static_cast<float>(pos - index));
    a.weights.push_back(Weights(code, a.fraction.back()));
    a.outLow += pos < 0.0;
    a.inLow += (0.0 <= pos && pos < 1.0);
    a.inHigh += (size - 2.0 <= pos && pos < size - 1.0);
    a.outHigh += pos >= size - 1.0;
  }
  return a;
}

// The two orders of a four-term sum of products: pairs in the interior's
// passes, left to right in the frame.
inline float PairSum(const float s[4], const float w[4]) { return (s[0] * w[0] + s[1] * w[1]) + (s[2] * w[2] + s[3] * w[3]); }
inline float InOrderSum(const float s[4], const float w[4]) {
  float sum = s[0] * w[0];
  sum = sum + s[1] * w[1];
  sum = sum + s[2] * w[2];
  return sum + s[3] * w[3];
}

// Truncation as the processor does it: INT32_MIN for NaN and overflow.  The
// empty asm keeps the compiler from folding a constant NaN its own way.
inline int32_t Trunc(float v) {
  __asm__("" : "+x"(v));
  return _mm_cvttss_si32(_mm_set_ss(v));
}
inline int32_t Trunc(double v) {
  __asm__("" : "+x"(v));
  return _mm_cvttsd_si32(_mm_set_sd(v));
}
inline int32_t Clamp(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

// Interior: single-precision 0.5000001, truncation, saturation by packing.
inline void StoreInterior(uint8_t* d, float s) {
  *d = static_cast<uint8_t>(Clamp(Clamp(Trunc(s + 0.5000001f), -32768, 32767), 0, 255));
}
inline void StoreInterior(uint16_t* d, float s) {
  const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(Trunc(s + 0.5000001f)) - 32768u);
  *d = static_cast<uint16_t>(Clamp(t, -32768, 32767) + 32768);
}
inline void StoreInterior(float* d, float s) { *d = s; }

// Frame: the float sum widened, double-precision 0.5000001, clamp.
inline void StoreFrame(uint8_t* d, float s) {
  *d = static_cast<uint8_t>(Clamp(Trunc(static_cast<double>(s) + 0.5000001), 0, 255));
}
inline void StoreFrame(uint16_t* d, float s) {
  *d = static_cast<uint16_t>(Clamp(Trunc(static_cast<double>(s) + 0.5000001), 0, 65535));
}
inline void StoreFrame(float* d, float s) { *d = s; }

// Source sample (plane z, row y, column x), addressed exactly as the library
// addresses it, so that taps outside a tiny source read the same memory.
template <typename T>
struct Source {
  const T* const* planes = nullptr;  // indexable below 0 and past the depth
  int64_t step = 0;                  // samples
  float At(int32_t z, int32_t y, int32_t x) const { return static_cast<float>(planes[z][y * step + x]); }
};

struct Problem {
  int code;
  int32_t srcW, srcH, srcD;
  int32_t x0, y0, z0, w, h, d;  // destination box
  double xInv, yInv, zInv, xOff, yOff, zOff;
};

enum class Region { Top, Bottom, Left, Right, Interior };

// Which part of a resampled plane serves destination sample (r, c): the part
// written last in the library's order (top, bottom, left, right, interior).
inline Region RegionOf(const Axis& X, const Axis& Y, int32_t w, int32_t h, int32_t r, int32_t c) {
  const int32_t wi = w - X.Low() - X.High(), hi = h - Y.Low() - Y.High();
  const bool middleRow = hi > 0 && r >= Y.Low() && r < h - Y.High();
  if (middleRow && wi > 0 && c >= X.Low() && c < w - X.High()) return Region::Interior;
  if (middleRow && c >= w - X.High()) return Region::Right;
  if (middleRow && c < X.Low()) return Region::Left;
  if (r >= h - Y.High()) return Region::Bottom;
  return Region::Top;
}

// x along one source row at destination column c, frame rows: the clamping
// tap table, each tap with its own weight, summed in order.
template <typename T>
float FrameRowAt(const Source<T>& s, const Problem& p, const Axis& X, int32_t z, int32_t y, int32_t c) {
  const int32_t i = X.index[c], W = p.srcW;
  int32_t t[4];
  if (i < 0) {
    t[0] = 0, t[1] = 0, t[2] = 0, t[3] = 1;
  } else if (i == 0) {
    t[0] = 0, t[1] = 0, t[2] = 1, t[3] = 2;
  } else if (i > W - 2) {
    t[0] = W - 2, t[1] = W - 1, t[2] = W - 1, t[3] = W - 1;
  } else if (i == W - 2) {
    t[0] = W - 3, t[1] = W - 2, t[2] = W - 1, t[3] = W - 1;
  } else {
    t[0] = i - 1, t[1] = i, t[2] = i + 1, t[3] = i + 2;
  }
  const float* wx = X.weights[c].w;
  float sum = s.At(z, y, t[0]) * wx[0];
  sum = sum + s.At(z, y, t[1]) * wx[1];
  sum = sum + s.At(z, y, t[2]) * wx[2];
  return sum + s.At(z, y, t[3]) * wx[3];
}

// x along one source row at a left or right frame column, merged weights.
template <typename T>
float SideRowAt(const Source<T>& s, const Problem& p, const Axis& X, Region region, int32_t z,
                int32_t y, int32_t c) {
  const float* wx = X.weights[c].w;
  const int32_t W = p.srcW;
  if (region == Region::Left) {
    if (c < X.outLow) return (wx[0] + wx[1] + wx[2]) * s.At(z, y, 0) + wx[3] * s.At(z, y, 1);
    return (wx[0] + wx[1]) * s.At(z, y, 0) + wx[2] * s.At(z, y, 1) + wx[3] * s.At(z, y, 2);
  }
  const int32_t w = static_cast<int32_t>(X.index.size());
  if (c - (w - X.High()) < X.inHigh)
    return wx[0] * s.At(z, y, W - 3) + wx[1] * s.At(z, y, W - 2) + (wx[2] + wx[3]) * s.At(z, y, W - 1);
  return wx[0] * s.At(z, y, W - 2) + (wx[1] + wx[2] + wx[3]) * s.At(z, y, W - 1);
}

// Source plane z resampled at destination sample (r, c) of the given region.
template <typename T>
float InPlane(const Source<T>& s, const Problem& p, const Axis& X, const Axis& Y, Region region,
              int32_t z, int32_t r, int32_t c) {
  const float* wy = Y.weights[r].w;
  const int32_t H = p.srcH;
  switch (region) {
    case Region::Top: {
      const float r0 = FrameRowAt(s, p, X, z, 0, c), r1 = FrameRowAt(s, p, X, z, 1, c);
      if (r < Y.outLow) return (wy[0] + wy[1] + wy[2]) * r0 + wy[3] * r1;
      const float r2 = FrameRowAt(s, p, X, z, 2, c);
      return (wy[0] + wy[1]) * r0 + wy[2] * r1 + wy[3] * r2;
    }
    case Region::Bottom: {
      const int32_t first = Y.index[r] > H - 2 ? H - 2 : H - 3;
      const int32_t rows[4] = {first, first + 1, H - 1, H - 1};
      float sum = FrameRowAt(s, p, X, z, rows[0], c) * wy[0];
      for (int k = 1; k < 4; ++k) sum = sum + FrameRowAt(s, p, X, z, rows[k], c) * wy[k];
      return sum;
    }
    case Region::Left:
    case Region::Right: {
      float sum = 0.0f;
      for (int k = 0; k < 4; ++k) {
        const float v = SideRowAt(s, p, X, region, z, Y.index[r] - 1 + k, c) * wy[k];
        sum = k == 0 ? v : sum + v;
      }
      return sum;
    }
    case Region::Interior:
    default: {
      float rowValue[4];
      const int32_t i = X.index[c];
      const float* wx = X.weights[c].w;
      for (int k = 0; k < 4; ++k) {
        const int32_t y = Y.index[r] - 1 + k;
        rowValue[k] = (s.At(z, y, i - 1) * wx[0] + s.At(z, y, i) * wx[1]) +
                      (s.At(z, y, i + 1) * wx[2] + s.At(z, y, i + 2) * wx[3]);
      }
      return (rowValue[0] * wy[0] + rowValue[1] * wy[1]) + (rowValue[2] * wy[2] + rowValue[3] * wy[3]);
    }
  }
}

// The four source planes weighed for destination plane k: the band written
// last wins where bands overlap (low bands, then high bands, then between).
inline void PlaneTaps(const Problem& p, const Axis& Z, int32_t k, int32_t taps[4]) {
  const int32_t D = p.srcD, d = p.d;
  int32_t t0, t1, t2, t3;
  if (k >= d - Z.outHigh) {
    t0 = D - 2, t1 = D - 1, t2 = D - 1, t3 = D - 1;
  } else if (k >= d - Z.High()) {
    t0 = D - 3, t1 = D - 2, t2 = D - 1, t3 = D - 1;
  } else if (k >= Z.outLow && k < Z.Low()) {
    t0 = 0, t1 = 0, t2 = 1, t3 = 2;
  } else if (k < Z.outLow) {
    t0 = 0, t1 = 0, t2 = 0, t3 = 1;
  } else {
    const int32_t i = Z.index[k];
    t0 = i - 1, t1 = i, t2 = i + 1, t3 = i + 2;
  }
  taps[0] = t0, taps[1] = t1, taps[2] = t2, taps[3] = t3;
}

// Writes every sample of the box through dstAt(z, y, x), absolute
// destination coordinates.
template <typename T>
void Resize(const Source<T>& s, const Problem& p, const std::function<T*(int32_t, int32_t, int32_t)>& dstAt) {
  const Axis X = MapAxis(p.code, p.x0, p.w, p.xInv, p.xOff, p.srcW);
  const Axis Y = MapAxis(p.code, p.y0, p.h, p.yInv, p.yOff, p.srcH);
  const Axis Z = MapAxis(p.code, p.z0, p.d, p.zInv, p.zOff, p.srcD);
  for (int32_t k = 0; k < p.d; ++k) {
    int32_t taps[4];
    PlaneTaps(p, Z, k, taps);
    const float* wz = Z.weights[k].w;
    for (int32_t r = 0; r < p.h; ++r) {
      for (int32_t c = 0; c < p.w; ++c) {
        const Region region = RegionOf(X, Y, p.w, p.h, r, c);
        float v[4];
        for (int n = 0; n < 4; ++n) v[n] = InPlane(s, p, X, Y, region, taps[n], r, c);
        T* out = dstAt(p.z0 + k, p.y0 + r, p.x0 + c);
        if (region == Region::Interior)
          StoreInterior(out, (v[0] * wz[0] + v[1] * wz[1]) + (v[2] * wz[2] + v[3] * wz[3]));
        else
          StoreFrame(out, v[0] * wz[0] + v[1] * wz[1] + v[2] * wz[2] + v[3] * wz[3]);
      }
    }
  }
}

}  // namespace refcubic
