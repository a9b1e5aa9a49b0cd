// Renders a procedural scene with eye rays: tree, triangle records and box
// once, then for each 16 x 16 block the eye directions and the nearest hits,
// then smooth (or, with --flat, flat) normals, shadows cast from the light,
// and diffuse light through the masked arithmetic, into out/render.png.  Also times the nearest-hit
// search on its packet path (aligned planes) and its single-ray path (the
// same planes one float off alignment).
#include "demo_util.h"

#include <algorithm>
#include <ctime>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "procedural_scene.h"
#include "qelr.h"

namespace {

constexpr int32_t kWidth = 320, kHeight = 240, kBlock = 16;

// 16-byte aligned float or int planes with one spare element, so that the
// same data can also be handed over one element off alignment.
template <typename T>
struct Plane {
  std::vector<T> storage;
  T* data;
  explicit Plane(size_t n) : storage(n + 8) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(storage.data());
    data = reinterpret_cast<T*>((p + 15) & ~uintptr_t(15));
  }
};

struct Vec3 {
  float x, y, z;
};
Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec3 operator+(Vec3 a, Vec3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vec3 operator*(Vec3 a, float s) { return {a.x * s, a.y * s, a.z * s}; }
float Dot(Vec3 a, Vec3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vec3 Cross(Vec3 a, Vec3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
Vec3 Normalise(Vec3 a) { return a * (1.0f / std::sqrt(Dot(a, a))); }

// The cost-driven tree when the library offers it, else the simple one.
qelrKDNode* BuildTree(const ProceduralScene& s, const char** kind) {
  qelrKDNode* tree = nullptr;
  int32_t size = 0;
  qelrKDTreeBuildParams p = {KDTreeModeCost, 24, 0.5f, 256, nullptr};
  *kind = "cost-driven";
  if (qelrKDTreeBuildAlloc(&tree, s.vertices.data(), s.triangles.data(), s.VertexCount(), s.TriangleCount(), &size,
                           &p) == StatusOk)
    return tree;
  p.mode = KDTreeModeSimple;
  *kind = "simple (one leaf)";
  if (qelrKDTreeBuildAlloc(&tree, s.vertices.data(), s.triangles.data(), s.VertexCount(), s.TriangleCount(), &size,
                           &p) == StatusOk)
    return tree;
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  const bool flat = argc > 1 && std::strcmp(argv[1], "--flat") == 0;
  const ProceduralScene scene = ProceduralScene::Make(16);
  const int32_t triangleCount = scene.TriangleCount();

  // Once per scene: tree, records, box.
  const char* treeKind = "";
  qelrKDNode* tree = BuildTree(scene, &treeKind);
  if (!tree) {
    std::fprintf(stderr, "tree build failed\n");
    return 1;
  }
  std::vector<qelrTriangleAccel> accel(triangleCount);
  qelrTriangleAccelInit(accel.data(), scene.vertices.data(), scene.triangles.data(), triangleCount);
  float box[6];
  qelrSetBoundBox_32f(scene.vertices.data(), scene.VertexCount(), box);
  const qelrSceneContext context = {box, accel.data(), tree};

  // Camera: image plane one unit ahead of the eye.
  const Vec3 eye = {0.0f, 3.0f, -7.5f}, target = {0.0f, 0.8f, 0.0f};
  const Vec3 forward = Normalise(target - eye);
  const Vec3 right = Normalise(Cross(Vec3{0, 1, 0}, forward));
  const Vec3 up = Cross(forward, right);
  const float halfWidth = 0.55f, pixel = 2 * halfWidth / kWidth;
  const Vec3 corner = forward - right * halfWidth + up * (pixel * kHeight / 2) + (right - up) * (pixel / 2);
  const float origin[3] = {corner.x, corner.y, corner.z};
  const float stepX[3] = {right.x * pixel, right.y * pixel, right.z * pixel};
  const float stepY[3] = {-up.x * pixel, -up.y * pixel, -up.z * pixel};
  const float eyeP[3] = {eye.x, eye.y, eye.z};

  // Whole-image planes, filled block by block.
  const size_t n = size_t(kWidth) * kHeight;
  Plane<float> dirX(n), dirY(n), dirZ(n), dist(n), hitU(n), hitV(n);
  Plane<int32_t> hitTriangle(n);
  const qelrSize blockSize = {kBlock, kBlock};
  const int32_t blockRays = kBlock * kBlock;
  Plane<float> bx(blockRays), by(blockRays), bz(blockRays), bd(blockRays), bu(blockRays), bv(blockRays);
  Plane<int32_t> bt(blockRays);
  double seconds[2] = {0, 0};
  for (int path = 0; path < 2; ++path) {
    // Path 0: aligned planes (packet path); path 1: one element off.
    const int off = path;
    float* dirs[3] = {bx.data + off, by.data + off, bz.data + off};
    float* hits[2] = {bu.data + off, bv.data + off};
    for (int32_t row = 0; row < kHeight / kBlock; ++row)
      for (int32_t col = 0; col < kWidth / kBlock; ++col) {
        qelrCastEye_32f(origin, stepX, stepY, col, row, blockSize, dirs, blockSize);
        std::fill(bd.data + off, bd.data + off + blockRays, 3.4028235e38f);
        const double start = ThreadSeconds();
        qelrIntersectEyeSO_32f(eyeP, dirs, bd.data + off, hits, bt.data + off, &context, blockSize);
        seconds[path] += ThreadSeconds() - start;
        if (path != 0) continue;
        for (int32_t y = 0; y < kBlock; ++y) {
          const size_t at = size_t(row * kBlock + y) * kWidth + col * kBlock, from = size_t(y) * kBlock;
          std::copy_n(dirs[0] + from, kBlock, dirX.data + at);
          std::copy_n(dirs[1] + from, kBlock, dirY.data + at);
          std::copy_n(dirs[2] + from, kBlock, dirZ.data + at);
          std::copy_n(bd.data + from, kBlock, dist.data + at);
          std::copy_n(bu.data + from, kBlock, hitU.data + at);
          std::copy_n(bv.data + from, kBlock, hitV.data + at);
          std::copy_n(bt.data + from, kBlock, hitTriangle.data + at);
        }
      }
  }

  // Surface normals of the hits, flat or interpolated.
  Plane<float> nx(n), ny(n), nz(n);
  float* normals[3] = {nx.data, ny.data, nz.data};
  if (flat) {
    std::vector<float> triangleNormals(3 * triangleCount);
    qelrTriangleNormal_32f(scene.vertices.data(), scene.triangles.data(), triangleNormals.data(), triangleCount);
    qelrSurfFlatNormal_32f(triangleNormals.data(), hitTriangle.data, normals, int32_t(n));
  } else {
    const float* weights[2] = {hitU.data, hitV.data};
    qelrSurfSmoothNormal_32f(scene.vertexNormals.data(), scene.triangles.data(), hitTriangle.data, weights, normals,
                             int32_t(n), 4);
  }

  // Shadow rays: from the light to each hit point, a hit before the point
  // (t below 1) means the light is blocked.  The light is the single origin.
  const Vec3 light = {4.0f, 7.0f, -4.0f};
  const float lightP[3] = {light.x, light.y, light.z};
  Plane<float> sx(n), sy(n), sz(n), sd(n), su(n), sv(n);
  Plane<int32_t> st(n);
  for (size_t i = 0; i < n; ++i) {
    const float t = hitTriangle.data[i] >= 0 ? dist.data[i] : 0.0f;
    sx.data[i] = eye.x + dirX.data[i] * t - light.x;
    sy.data[i] = eye.y + dirY.data[i] * t - light.y;
    sz.data[i] = eye.z + dirZ.data[i] * t - light.z;
    sd.data[i] = hitTriangle.data[i] >= 0 ? 0.999f : 0.0f;  // stop short of the point itself
  }
  const float* shadowDirs[3] = {sx.data, sy.data, sz.data};
  float* shadowHits[2] = {su.data, sv.data};
  qelrIntersectEyeSO_32f(lightP, shadowDirs, sd.data, shadowHits, st.data, &context, qelrSize{kWidth, kHeight});

  // Diffuse shading with the masked arithmetic; pTriangle masks out the
  // missed rays.  Colour = albedo * (ambient + diffuse * cosine), where the
  // cosine is between the normal (turned toward the viewer) and the way to
  // the light, and the diffuse term counts only for lit points.
  const int32_t len = int32_t(n);
  const int32_t* hitMask = hitTriangle.data;
  const float* eyeDirs[3] = {dirX.data, dirY.data, dirZ.data};
  Plane<float> cosEye(n), cosLight(n), toLightLength(n);
  qelrDotChangeNorm_32f_IM(eyeDirs, hitMask, normals, cosEye.data, len);
  // The shadow rays run from the light to the points: n . s is the negated
  // cosine times |s|, so dividing by -|s| leaves the cosine.
  qelrDot_32f_P3C1M(normals, shadowDirs, hitMask, cosLight.data, len);
  qelrDot_32f_P3C1M(shadowDirs, shadowDirs, hitMask, toLightLength.data, len);
  Plane<int32_t> litMask(n);
  for (size_t i = 0; i < n; ++i) {
    toLightLength.data[i] = -std::sqrt(toLightLength.data[i]);
    litMask.data[i] = (hitMask[i] >= 0 && st.data[i] < 0) ? 0 : -1;  // hit and not in shadow
  }
  qelrDiv_32f_C1IM(toLightLength.data, litMask.data, cosLight.data, len);
  for (size_t i = 0; i < n; ++i)
    if (!(cosLight.data[i] > 0.0f)) litMask.data[i] = -1;  // facing away from the light

  Plane<float> albedoR(n), albedoG(n), albedoB(n), red(n), green(n), blue(n);
  float* albedo[3] = {albedoR.data, albedoG.data, albedoB.data};
  float* colour[3] = {red.data, green.data, blue.data};
  const float ambient = 0.18f;
  for (size_t i = 0; i < n; ++i)
    for (int k = 0; k < 3; ++k) {
      albedo[k][i] = hitMask[i] >= 0 ? scene.albedo[3 * hitMask[i] + k] : 0.0f;
      colour[k][i] = albedo[k][i] * ambient;
    }
  const float diffuse[3] = {0.82f, 0.82f, 0.82f};
  qelrAddMulMul_32f_AC1P3IM(diffuse, cosLight.data, albedo, litMask.data, colour, len);

  // Sky behind the missed rays, then gamma 2 into 8 bits.
  std::vector<uint8_t> rgb(n * 3);
  for (size_t i = 0; i < n; ++i) {
    const float above = 1 - float(i / kWidth) / kHeight;
    const float sky[3] = {0.55f + 0.3f * above, 0.7f + 0.2f * above, 0.95f};
    for (int k = 0; k < 3; ++k) {
      const float c = hitMask[i] >= 0 ? colour[k][i] : sky[k];
      rgb[3 * i + k] = uint8_t(std::lround(255 * std::min(1.0f, std::sqrt(c))));
    }
  }
  qelrKDTreeFree(tree);

  const bool written = WritePng("out/render.png", rgb, kWidth, kHeight, 3);
  std::printf("render: %dx%d pixels, %d triangles, %s tree, %s normals\n", kWidth, kHeight, triangleCount, treeKind,
              flat ? "flat" : "smooth");
  std::printf("  packet path:     %8.2f Mrays/s\n", n / seconds[0] * 1e-6);
  std::printf("  single-ray path: %8.2f Mrays/s\n", n / seconds[1] * 1e-6);
  std::printf("  packet / single: %8.2f\n", seconds[1] / seconds[0]);
  std::printf("%s\n", written ? "wrote out/render.png" : "could not write out/render.png");
  return written ? 0 : 1;
}
