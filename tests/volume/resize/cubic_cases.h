// Random cubic resize problems: volumes, regions, factors, shifts and steps,
// with the destination box worked out as the resize frame defines it.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "test_util.h"

namespace cubictest {

struct AxisCase {
  int32_t size;           // source volume extent
  int32_t o, n;           // source region
  int32_t p, m;           // destination region
  double factor, shift;
  // Destination box, inverse factor and offset, as the frame derives them.
  int32_t first = 0, end = 0;
  double inv = 0, off = 0;

  bool Derive() {
    const double lo = std::fmax(o * factor + shift, double(p));
    const int32_t c = size - o < n ? size - o : n;
    const double hi = std::fmin((o + c) * factor + shift, double(p + m));
    first = static_cast<int32_t>(lo + 0.4999999999);
    end = static_cast<int32_t>(hi + 0.5000000001);
    inv = 1.0 / factor;
    off = (0.0 - shift) / factor;
    return first < end;
  }
};

inline AxisCase RandomAxis(qt::Rng& rng, int32_t maxSize) {
  static const double kFactors[] = {0.3, 0.5, 0.77, 1.0, 1.0, 1.5, 2.0, 2.6, 3.3};
  AxisCase a;
  a.size = rng.Chance(0.15) ? rng.Int(1, 3) : rng.Int(4, maxSize);
  a.o = rng.Chance(0.5) ? 0 : rng.Int(0, a.size - 1);
  a.n = rng.Chance(0.3) ? a.size + rng.Int(0, 3) : rng.Int(1, a.size);  // may reach past
  a.factor = kFactors[rng.Int(0, 8)];
  a.shift = rng.Chance(0.4) ? 0.0 : rng.Uniform(-2.0f, 2.0f);
  const int32_t reach = static_cast<int32_t>(a.size * a.factor + 4);
  if (rng.Chance(0.7)) {
    a.p = 0, a.m = reach;
  } else {  // a region that cuts the box
    a.p = rng.Int(0, reach / 2);
    a.m = rng.Int(1, reach);
  }
  return a;
}

struct Case {
  int code;
  AxisCase x, y, z;
  std::string Describe() const {
    char text[256];
    std::snprintf(text, sizeof text,
                  "code %d src %dx%dx%d factors %g %g %g shifts %g %g %g box x %d..%d y %d..%d z %d..%d",
                  code, x.size, y.size, z.size, x.factor, y.factor, z.factor, x.shift, y.shift,
                  z.shift, x.first, x.end, y.first, y.end, z.first, z.end);
    return text;
  }
};

inline Case RandomCase(qt::Rng& rng, int32_t maxSize) {
  for (;;) {
    Case c;
    c.code = rng.Int(4, 7);
    c.x = RandomAxis(rng, maxSize);
    c.y = RandomAxis(rng, maxSize);
    c.z = RandomAxis(rng, maxSize);
    if (c.x.Derive() && c.y.Derive() && c.z.Derive()) return c;
  }
}

// The scratch one thread needs for a cubic resize into regions of W x H x D.
inline int32_t CubicScratchBytes(int32_t W, int32_t H, int32_t D) {
  auto a16 = [](int32_t v) { return (v + 15) & ~15; };
  auto a64 = [](int32_t v) { return (v + 63) & ~63; };
  auto f64 = [](int32_t v) { return v & ~63; };
  const int32_t I = 4 * (a16(W) + a16(H) + a16(D));
  const int32_t F = 4 * (a64(W) + a64(H) + a64(D));
  return I + F + 16 * H * a64(W) +
         4 * ((f64(128 * (W + H) + 255) + f64(4 * W + 255)) + f64(4 * W + 255) + f64(4 * H + 255) +
              f64(4 * D + 255)) +
         64;
}

}  // namespace cubictest
