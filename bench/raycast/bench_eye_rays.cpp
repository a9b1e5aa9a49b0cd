// Eye-ray throughput of qelrIntersectEyeSO_32f on coherent primary rays of
// the procedural scene: packet path (aligned planes) against single-ray path
// (the same planes one float off alignment), in rays per second, and the
// packet path's speed as a multiple of the single-ray path's in this run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

#include "procedural_scene.h"
#include "qelr.h"

namespace {

constexpr int32_t kWidth = 256, kHeight = 192, kBlock = 16;

struct EyeRayScene {
  ProceduralScene mesh;
  qelrKDNode* tree = nullptr;
  std::vector<qelrTriangleAccel> accel;
  float box[6];
  qelrSceneContext context;
  // The directions of every block, cast once, 16-byte aligned plus a spare.
  std::vector<float> storage[3];

  explicit EyeRayScene(int32_t detail) : mesh(ProceduralScene::Make(detail)) {
    qelrKDTreeBuildParams p = {KDTreeModeSimple, 0, 0.0f, 0, nullptr};
    int32_t size = 0;
    qelrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.triangles.data(), mesh.VertexCount(),
                         mesh.TriangleCount(), &size, &p);
    accel.resize(mesh.TriangleCount());
    qelrTriangleAccelInit(accel.data(), mesh.vertices.data(), mesh.triangles.data(), mesh.TriangleCount());
    qelrSetBoundBox_32f(mesh.vertices.data(), mesh.VertexCount(), box);
    context = {box, accel.data(), tree};
    const float origin[3] = {-0.55f, 0.25f, 1.0f}, stepX[3] = {1.1f / kWidth, 0, 0}, stepY[3] = {0, -0.6f / kHeight, 0};
    for (auto& s : storage) s.resize(size_t(kWidth) * kHeight + 8);
    const int32_t blocks = (kWidth / kBlock) * (kHeight / kBlock);
    for (int32_t b = 0; b < blocks; ++b) {
      float* dirs[3];
      for (int k = 0; k < 3; ++k) dirs[k] = Aligned(k) + size_t(b) * kBlock * kBlock;
      qelrCastEye_32f(origin, stepX, stepY, b % (kWidth / kBlock), b / (kWidth / kBlock), qelrSize{kBlock, kBlock},
                      dirs, qelrSize{kBlock, kBlock});
    }
  }
  ~EyeRayScene() { qelrKDTreeFree(tree); }
  float* Aligned(int k) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(storage[k].data());
    return reinterpret_cast<float*>((p + 15) & ~uintptr_t(15));
  }
};

std::map<std::pair<int, int>, double> raysPerSecond;  // (detail, path) -> rate

// path 0: packet (aligned planes); path 1: single ray (planes off by one).
void BM_EyeRays(benchmark::State& state) {
  const int32_t detail = int32_t(state.range(0)), path = int32_t(state.range(1));
  EyeRayScene scene(detail);
  const float eye[3] = {0.0f, 1.5f, -7.0f};
  const int32_t blockRays = kBlock * kBlock, blocks = (kWidth / kBlock) * (kHeight / kBlock);
  // Whole-image planes, block after block, each block's planes aligned or
  // one element past an aligned start; blockRays is a multiple of 4, so a
  // stride of blockRays + 4 keeps every block's start aligned.
  const size_t stride = blockRays + 4, total = stride * blocks + 8;
  std::vector<float> dirs[3], dist(total), u(total), v(total);
  std::vector<int32_t> tri(total);
  auto block = [&](auto& vec, int32_t b) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(vec.data());
    return reinterpret_cast<decltype(vec.data())>((p + 15) & ~uintptr_t(15)) + stride * b + path;
  };
  for (int k = 0; k < 3; ++k) {
    dirs[k].resize(total);
    for (int32_t b = 0; b < blocks; ++b)
      std::copy_n(scene.Aligned(k) + size_t(b) * blockRays, blockRays, block(dirs[k], b));
  }
  int64_t hits = 0;
  for (auto _ : state) {
    state.PauseTiming();
    for (int32_t b = 0; b < blocks; ++b) std::fill_n(block(dist, b), blockRays, 3.4028235e38f);
    state.ResumeTiming();
    for (int32_t b = 0; b < blocks; ++b) {
      const float* d[3] = {block(dirs[0], b), block(dirs[1], b), block(dirs[2], b)};
      float* hitPlanes[2] = {block(u, b), block(v, b)};
      qelrIntersectEyeSO_32f(eye, d, block(dist, b), hitPlanes, block(tri, b), &scene.context,
                             qelrSize{kBlock, kBlock});
    }
    hits += block(tri, 0)[0];
  }
  benchmark::DoNotOptimize(hits);
  const double rays = double(state.iterations()) * kWidth * kHeight;
  state.counters["rays/s"] = benchmark::Counter(rays, benchmark::Counter::kIsRate);
  state.counters["triangles"] = scene.mesh.TriangleCount();
  state.SetLabel(path == 0 ? "packet path" : "single-ray path");
}

// Collects each run's rate for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      int detail = 0, path = 0;
      std::sscanf(r.benchmark_name().c_str(), "BM_EyeRays/%d/%d", &detail, &path);
      auto c = r.counters.find("rays/s");
      if (c != r.counters.end()) raysPerSecond[{detail, path}] = c->second.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

BENCHMARK(BM_EyeRays)->ArgsProduct({{2, 4, 8}, {0, 1}})->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (int detail : {2, 4, 8}) {
    const double packet = raysPerSecond[{detail, 0}], single = raysPerSecond[{detail, 1}];
    if (packet > 0 && single > 0)
      std::printf("eye rays, detail %d: packet %.3g rays/s, single %.3g rays/s, packet / single = %.2f\n", detail,
                  packet, single, packet / single);
  }
  benchmark::Shutdown();
  return 0;
}
