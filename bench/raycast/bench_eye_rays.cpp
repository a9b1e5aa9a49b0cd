// Eye-ray throughput of qelrIntersectEyeSO_32f on coherent primary rays of
// the procedural scene, through a simple tree (every ray tests every
// triangle) and through a cost-driven tree: the packet path (aligned planes) and the single-ray
// path (the same planes one float off alignment), in rays per second, and
// the packet path's speed as a multiple of the single-ray path's.  Each
// iteration renders the image on both paths back to back and times them in
// thread processor time; the medians over the iterations are reported, so
// the ratio holds up on a loaded machine.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <vector>

#include "procedural_scene.h"
#include "qelr.h"

namespace {

constexpr int32_t kWidth = 256, kHeight = 192, kBlock = 16;
constexpr int32_t kBlockRays = kBlock * kBlock, kBlocks = (kWidth / kBlock) * (kHeight / kBlock);
// Each block's planes start 16-byte aligned (stride a multiple of 4 floats).
constexpr size_t kStride = kBlockRays + 4, kTotal = kStride * kBlocks + 8;

double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// Whole-image planes, block after block; `shift` 0 keeps every block's
// planes aligned (packet path), 1 moves them one float off (single rays).
struct BlockPlanes {
  std::vector<float> storage[6];  // x, y, z, dist, hit u, hit v
  std::vector<int32_t> triangleStorage;
  int32_t shift;
  explicit BlockPlanes(int32_t s) : triangleStorage(kTotal), shift(s) {
    for (auto& p : storage) p.resize(kTotal);
  }
  template <typename T>
  T* At(std::vector<T>& v, int32_t block) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(v.data());
    return reinterpret_cast<T*>((p + 15) & ~uintptr_t(15)) + kStride * block + shift;
  }
  float* Plane(int i, int32_t block) { return At(storage[i], block); }
  int32_t* Triangles(int32_t block) { return At(triangleStorage, block); }
};

struct EyeRayScene {
  ProceduralScene mesh;
  qelrKDNode* tree = nullptr;
  std::vector<qelrTriangleAccel> accel;
  float box[6];
  qelrSceneContext context;

  EyeRayScene(int32_t detail, uint32_t mode) : mesh(ProceduralScene::Make(detail)) {
    qelrKDTreeBuildParams p = {mode, 24, 0.5f, 256, nullptr};
    int32_t size = 0;
    qelrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(), mesh.VertexCount(),
                         mesh.TriangleCount(), &size, &p);
    accel.resize(mesh.TriangleCount());
    qelrTriangleAccelInit(accel.data(), mesh.vertices.data(), mesh.triangles.data(), mesh.TriangleCount());
    qelrSetBoundBox_32f(mesh.vertices.data(), mesh.VertexCount(), box);
    context = {box, accel.data(), tree};
  }
  ~EyeRayScene() { qelrKDTreeFree(tree); }

  void CastEyeRays(BlockPlanes& planes) const {
    const float origin[3] = {-0.55f, 0.25f, 1.0f}, stepX[3] = {1.1f / kWidth, 0, 0},
                stepY[3] = {0, -0.6f / kHeight, 0};
    for (int32_t b = 0; b < kBlocks; ++b) {
      float* dirs[3] = {planes.Plane(0, b), planes.Plane(1, b), planes.Plane(2, b)};
      qelrCastEye_32f(origin, stepX, stepY, b % (kWidth / kBlock), b / (kWidth / kBlock), qelrSize{kBlock, kBlock},
                      dirs, qelrSize{kBlock, kBlock});
    }
  }

  // Seconds of processor time to trace the whole image.
  double Trace(BlockPlanes& planes) const {
    const float eye[3] = {0.0f, 1.5f, -7.0f};
    for (int32_t b = 0; b < kBlocks; ++b) std::fill_n(planes.Plane(3, b), kBlockRays, 3.4028235e38f);
    const double start = ThreadSeconds();
    for (int32_t b = 0; b < kBlocks; ++b) {
      const float* dirs[3] = {planes.Plane(0, b), planes.Plane(1, b), planes.Plane(2, b)};
      float* hits[2] = {planes.Plane(4, b), planes.Plane(5, b)};
      qelrIntersectEyeSO_32f(eye, dirs, planes.Plane(3, b), hits, planes.Triangles(b), &context,
                             qelrSize{kBlock, kBlock});
    }
    return ThreadSeconds() - start;
  }
};

struct Summary {
  const char* tree;
  int32_t triangles;
  double packet, single, ratio;
};
// The last run of each case: the benchmark library may call a function
// several times while it settles the iteration count.
std::map<std::pair<int64_t, int64_t>, Summary> summaries;

void BM_EyeRays(benchmark::State& state) {
  const int32_t detail = int32_t(state.range(0));
  const bool costTree = state.range(1) != 0;
  const EyeRayScene scene(detail, costTree ? uint32_t(KDTreeModeCost) : uint32_t(KDTreeModeSimple));
  BlockPlanes packet(0), single(1);
  scene.CastEyeRays(packet);
  scene.CastEyeRays(single);
  std::vector<double> packetTimes, singleTimes, ratios;
  for (auto _ : state) {
    const double p = scene.Trace(packet), s = scene.Trace(single);
    packetTimes.push_back(p);
    singleTimes.push_back(s);
    ratios.push_back(s / p);
  }
  const double rays = double(kWidth) * kHeight;
  const Summary sum{costTree ? "cost-driven" : "simple", scene.mesh.TriangleCount(), rays / Median(packetTimes), rays / Median(singleTimes),
                    Median(ratios)};
  state.counters["triangles"] = sum.triangles;
  state.counters["packet rays/s"] = sum.packet;
  state.counters["single rays/s"] = sum.single;
  state.counters["packet/single"] = sum.ratio;
  state.SetLabel(sum.tree);
  summaries[{state.range(1), detail}] = sum;
}

}  // namespace

// Detail of the scene (triangles grow with it), and the tree: 0 simple, 1
// cost-driven.
BENCHMARK(BM_EyeRays)
    ->ArgsProduct({{2, 4, 8}, {0}})
    ->ArgsProduct({{8, 16, 48}, {1}})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1.0);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  for (const auto& [key, s] : summaries)
    std::printf("eye rays, %d triangles, %s tree: packet %.3g rays/s, single %.3g rays/s, packet / single = %.2f\n",
                s.triangles, s.tree, s.packet, s.single, s.ratio);
  benchmark::Shutdown();
  return 0;
}
