// Renders a scene of about 300 thousand triangles through a cost-driven
// KD-tree: builds the tree (and prints how long that took), prepares the
// triangle records and the scene box, casts the eye rays block by block and
// shades the nearest hits by their facing ratio, into out/big_scene.png.
#include "demo_util.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

#include "procedural_mesh.h"
#include "qelr.h"

namespace {

constexpr int32_t kWidth = 640, kHeight = 480, kBlock = 16;
constexpr int32_t kTriangles = 300000;

// 16-byte aligned planes, so that the intersection takes its packet path.
template <typename T>
struct Plane {
  std::vector<T> storage;
  T* data;
  explicit Plane(size_t n) : storage(n + 4) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(storage.data());
    data = reinterpret_cast<T*>((p + 15) & ~uintptr_t(15));
  }
};

}  // namespace

int main() {
  const ProceduralMesh mesh = MakeProceduralMesh(kTriangles);

  // The tree: cost-driven, up to 50 levels, splitting readily, within 1 GiB.
  const qelrKDTreeBuildParams params = {KDTreeModeCost, 50, 0.5f, 1024, nullptr};
  qelrKDNode* tree = nullptr;
  int32_t treeSize = 0;
  const auto wallStart = std::chrono::steady_clock::now();
  const double cpuStart = ThreadSeconds();
  const qelStatus status = qelrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(),
                                                mesh.VertexCount(), mesh.TriangleCount(), &treeSize,
                                                &params);
  const double cpu = ThreadSeconds() - cpuStart;
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
  if (status != StatusOk) {
    std::fprintf(stderr, "demo_big_scene: the build failed with status %d\n", status);
    return 1;
  }
  std::printf("demo_big_scene: cost-driven KD-tree over %d triangles built in %.3f s "
              "(%.3f s of this thread's processor time), %.1f MiB\n",
              mesh.TriangleCount(), wall, cpu, treeSize / 1048576.0);

  std::vector<qelrTriangleAccel> accel(size_t(mesh.TriangleCount()));
  qelrTriangleAccelInit(accel.data(), mesh.vertices.data(), mesh.triangles.data(), mesh.TriangleCount());
  float box[6];
  qelrSetBoundBox_32f(mesh.vertices.data(), mesh.VertexCount(), box);
  const qelrSceneContext context = {box, accel.data(), tree};

  const float eye[3] = {0.0f, 1.6f, -4.2f};
  const float origin[3] = {-0.64f, 0.28f, 1.0f};
  const float stepX[3] = {1.28f / kWidth, 0, 0}, stepY[3] = {0, -0.96f / kHeight, 0};
  const float light[3] = {-0.45f, 0.8f, -0.4f};
  const size_t n = size_t(kBlock) * kBlock;
  Plane<float> dx(n), dy(n), dz(n), dist(n), u(n), v(n);
  Plane<int32_t> hit(n);
  std::vector<uint8_t> rgb(size_t(kWidth) * kHeight * 3);
  const double renderStart = ThreadSeconds();
  for (int32_t by = 0; by < kHeight / kBlock; ++by) {
    for (int32_t bx = 0; bx < kWidth / kBlock; ++bx) {
      float* dirs[3] = {dx.data, dy.data, dz.data};
      qelrCastEye_32f(origin, stepX, stepY, bx, by, qelrSize{kBlock, kBlock}, dirs, qelrSize{kBlock, kBlock});
      for (size_t i = 0; i < n; ++i) dist.data[i] = 3.4028235e38f;
      float* hitPlanes[2] = {u.data, v.data};
      const float* d[3] = {dx.data, dy.data, dz.data};
      qelrIntersectEyeSO_32f(eye, d, dist.data, hitPlanes, hit.data, &context, qelrSize{kBlock, kBlock});
      for (int32_t i = 0; i < kBlock * kBlock; ++i) {
        const int32_t x = bx * kBlock + i % kBlock, y = by * kBlock + i / kBlock;
        uint8_t* px = &rgb[(size_t(y) * kWidth + x) * 3];
        if (hit.data[i] < 0) {
          px[0] = 40, px[1] = 50, px[2] = 70;
          continue;
        }
        const int32_t* t = &mesh.triangles[4 * size_t(hit.data[i])];
        const float* a = &mesh.vertices[3 * size_t(t[0])];
        const float* b = &mesh.vertices[3 * size_t(t[1])];
        const float* c = &mesh.vertices[3 * size_t(t[2])];
        const float e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
        const float e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
        float nrm[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                        e1[0] * e2[1] - e1[1] * e2[0]};
        const float len = std::sqrt(nrm[0] * nrm[0] + nrm[1] * nrm[1] + nrm[2] * nrm[2]);
        const float facing = d[0][i] * nrm[0] + d[1][i] * nrm[1] + d[2][i] * nrm[2];
        if (facing > 0)
          for (float& c : nrm) c = -c;  // light the side that faces the eye
        const float lambert =
            len > 0 ? std::max(0.0f, (nrm[0] * light[0] + nrm[1] * light[1] + nrm[2] * light[2]) / len) : 0.0f;
        const float shade = 0.15f + 0.85f * lambert;
        const bool ground = hit.data[i] >= mesh.groundFirstTriangle;
        px[0] = uint8_t(255 * shade * (ground ? 0.55f : 0.95f));
        px[1] = uint8_t(255 * shade * (ground ? 0.6f : 0.7f));
        px[2] = uint8_t(255 * shade * (ground ? 0.5f : 0.45f));
      }
    }
  }
  const double render = ThreadSeconds() - renderStart;
  qelrKDTreeFree(tree);
  std::printf("demo_big_scene: %dx%d eye rays traced in %.3f s of processor time\n", kWidth, kHeight, render);
  if (!WritePng("out/big_scene.png", rgb, kWidth, kHeight, 3)) {
    std::fprintf(stderr, "demo_big_scene: cannot write out/big_scene.png\n");
    return 1;
  }
  std::printf("demo_big_scene: wrote out/big_scene.png\n");
  return 0;
}
