// Resizes a synthetic volume (a few spheres on a gradient) with the linear
// and the nearest code and writes three slices of each to
// out/volume_slices.png: the source on top, the 2x linear resize in the
// middle, the 2x nearest resize at the bottom.
#include "demo_util.h"

#include <cmath>
#include <cstdio>
#include <vector>

#include "qelr.h"

namespace {

constexpr int32_t kSource = 40;
constexpr double kFactor = 2.0;
constexpr int32_t kTile = 160;  // pixels per slice in the picture

struct Sphere {
  double x, y, z, r, value;
};

std::vector<float> Phantom(int32_t n) {
  const Sphere spheres[] = {{0.5, 0.5, 0.5, 0.35, 0.4}, {0.35, 0.4, 0.45, 0.12, 0.4}, {0.68, 0.62, 0.55, 0.08, -0.3}};
  std::vector<float> v(size_t(n) * n * n);
  for (int32_t z = 0; z < n; ++z)
    for (int32_t y = 0; y < n; ++y)
      for (int32_t x = 0; x < n; ++x) {
        const double px = (x + 0.5) / n, py = (y + 0.5) / n, pz = (z + 0.5) / n;
        double value = 0.2 * px;
        for (const Sphere& s : spheres) {
          const double dx = px - s.x, dy = py - s.y, dz = pz - s.z;
          if (dx * dx + dy * dy + dz * dz < s.r * s.r) value += s.value;
        }
        v[(size_t(z) * n + y) * n + x] = float(value);
      }
  return v;
}

bool Resize(const std::vector<float>& src, int32_t n, std::vector<float>& dst, int32_t m, int32_t code) {
  const qelrCuboid srcVoi{0, 0, 0, n, n, n}, dstVoi{0, 0, 0, m, m, m};
  int32_t size = 0;
  if (qelrResizeGetBufSize(srcVoi, dstVoi, 1, code, &size) != StatusOk) return false;
  std::vector<uint8_t> buffer(static_cast<size_t>(size));
  dst.assign(size_t(m) * m * m, 0.0f);
  const int32_t row = n * 4, dstRow = m * 4;
  const qelStatus status = qelrResize_32f_C1V(src.data(), {n, n, n}, row, row * n, srcVoi, dst.data(), dstRow,
                                              dstRow * m, dstVoi, kFactor, kFactor, kFactor, 0, 0, 0, code,
                                              buffer.data());
  return status == StatusOk;
}

// Draws slice z of an n^3 volume into a tile of the picture, scaled up by
// repetition.
void DrawSlice(const std::vector<float>& v, int32_t n, int32_t z, std::vector<uint8_t>& picture, int32_t width,
               int32_t tileX, int32_t tileY) {
  for (int32_t y = 0; y < kTile; ++y)
    for (int32_t x = 0; x < kTile; ++x) {
      const float value = v[(size_t(z) * n + y * n / kTile) * n + x * n / kTile];
      const float shade = std::fmin(std::fmax(value * 255.0f, 0.0f), 255.0f);
      picture[size_t(tileY * kTile + y) * width + tileX * kTile + x] = uint8_t(shade);
    }
}

}  // namespace

int main() {
  const int32_t m = int32_t(kSource * kFactor);
  const std::vector<float> source = Phantom(kSource);
  std::vector<float> linear, nearest;
  if (!Resize(source, kSource, linear, m, InterLinear) || !Resize(source, kSource, nearest, m, InterNearest)) {
    std::fprintf(stderr, "demo_volume: resize failed\n");
    return 1;
  }
  const int32_t width = 3 * kTile, height = 3 * kTile;
  std::vector<uint8_t> picture(size_t(width) * height);
  const double depths[] = {0.3, 0.5, 0.7};
  for (int32_t column = 0; column < 3; ++column) {
    DrawSlice(source, kSource, int32_t(depths[column] * kSource), picture, width, column, 0);
    DrawSlice(linear, m, int32_t(depths[column] * m), picture, width, column, 1);
    DrawSlice(nearest, m, int32_t(depths[column] * m), picture, width, column, 2);
  }
  if (!WritePng("out/volume_slices.png", picture, width, height, 1)) {
    std::fprintf(stderr, "demo_volume: cannot write out/volume_slices.png\n");
    return 1;
  }
  std::printf("volume resize: %d^3 -> %d^3 (linear and nearest), slices in out/volume_slices.png\n", kSource, m);
  return 0;
}
