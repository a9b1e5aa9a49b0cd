// The cost-driven KD-tree against Embree's BVH on the same procedural
// meshes (about 10 thousand, 100 thousand and 1 million triangles), all in
// one run and on one thread:
//   build time against Embree's high-quality BVH build (processor time,
//   the two builds taking turns, so that a busy machine weighs on both);
//   primary-ray throughput of the packet path against rtcIntersect4, and of
//   the single-ray path against rtcIntersect1, on the same camera, the two
//   sides taking turns in each iteration (Embree told that the rays are
//   coherent);
//   the tree's quality: node visits and triangle tests per ray.
// A summary at the end gives each figure as a ratio to Embree's.
#include <benchmark/benchmark.h>
#include <embree3/rtcore.h>
#include <omp.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "procedural_mesh.h"
#include "qelr.h"
#include "tree_walk_stats.h"

namespace {

constexpr int32_t kWidth = 512, kHeight = 512, kBlock = 16;
constexpr float kQuality = 0.0f;
constexpr uint32_t kDepthLimit = 50;
const float kEye[3] = {0.0f, 1.5f, -4.5f};

const ProceduralMesh& Mesh(int32_t triangles) {
  static std::map<int32_t, std::unique_ptr<ProceduralMesh>> meshes;
  auto& slot = meshes[triangles];
  if (!slot) slot.reset(new ProceduralMesh(MakeProceduralMesh(triangles)));
  return *slot;
}

qelStatus BuildTree(const ProceduralMesh& m, qelrKDNode** tree, int32_t* size) {
  const qelrKDTreeBuildParams params = {KDTreeModeCost, kDepthLimit, kQuality, 2048, nullptr};
  return qelrKDTreeBuildAlloc(tree, m.vertices.data(), m.triangles.data(), m.VertexCount(),
                              m.TriangleCount(), size, &params);
}

RTCDevice Device() {
  static RTCDevice device = rtcNewDevice("threads=1");
  return device;
}

RTCScene BuildBvh(const ProceduralMesh& m) {
  RTCScene scene = rtcNewScene(Device());
  rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_HIGH);
  RTCGeometry g = rtcNewGeometry(Device(), RTC_GEOMETRY_TYPE_TRIANGLE);
  rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, m.vertices.data(), 0,
                             12, m.VertexCount());
  rtcSetSharedGeometryBuffer(g, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, m.triangles.data(), 0,
                             16, m.TriangleCount());
  rtcSetGeometryBuildQuality(g, RTC_BUILD_QUALITY_HIGH);
  rtcCommitGeometry(g);
  rtcAttachGeometry(scene, g);
  rtcReleaseGeometry(g);
  rtcCommitScene(scene);
  return scene;
}

// The camera's directions, image block by image block (16 x 16 rays each),
// in 16-byte aligned planes, and a copy of them one float past alignment.
struct Rays {
  static constexpr size_t kBlockRays = kBlock * kBlock, kStride = kBlockRays + 4;
  static constexpr int32_t kBlocks = (kWidth / kBlock) * (kHeight / kBlock);
  std::vector<float> storage[2][3];
  Rays() {
    const float origin[3] = {-0.6f, 0.45f, 1.0f};
    const float stepX[3] = {1.2f / kWidth, 0, 0}, stepY[3] = {0, -1.2f / kHeight, 0};
    for (auto& copy : storage)
      for (auto& s : copy) s.resize(kStride * kBlocks + 8);
    for (int32_t b = 0; b < kBlocks; ++b) {
      float* dirs[3] = {Plane(0, b, 0), Plane(1, b, 0), Plane(2, b, 0)};
      qelrCastEye_32f(origin, stepX, stepY, b % (kWidth / kBlock), b / (kWidth / kBlock),
                      qelrSize{kBlock, kBlock}, dirs, qelrSize{kBlock, kBlock});
      for (int k = 0; k < 3; ++k) std::copy_n(Plane(k, b, 0), kBlockRays, Plane(k, b, 1));
    }
  }
  float* Plane(int k, int32_t b, int shift) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(storage[shift][k].data());
    return reinterpret_cast<float*>((p + 15) & ~uintptr_t(15)) + kStride * b + shift;
  }
};

Rays& CameraRays() {
  static Rays rays;
  return rays;
}

// Our tree with its triangle records and box, as the ray functions see it.
struct QelrScene {
  qelrKDNode* tree = nullptr;
  int32_t size = 0;
  std::vector<qelrTriangleAccel> accel;
  float box[6];
  qelrSceneContext context;
  explicit QelrScene(const ProceduralMesh& m) {
    if (BuildTree(m, &tree, &size) != StatusOk) std::abort();
    accel.resize(size_t(m.TriangleCount()));
    qelrTriangleAccelInit(accel.data(), m.vertices.data(), m.triangles.data(), m.TriangleCount());
    qelrSetBoundBox_32f(m.vertices.data(), m.VertexCount(), box);
    context = {box, accel.data(), tree};
  }
  ~QelrScene() { qelrKDTreeFree(tree); }
};

// Scenes are built once per size and kept for all the ray benchmarks.
QelrScene& KDScene(int32_t triangles) {
  static std::map<int32_t, std::unique_ptr<QelrScene>> scenes;
  auto& slot = scenes[triangles];
  if (!slot) slot.reset(new QelrScene(Mesh(triangles)));
  return *slot;
}

RTCScene BvhScene(int32_t triangles) {
  static std::map<int32_t, RTCScene> scenes;
  auto& slot = scenes[triangles];
  if (!slot) slot = BuildBvh(Mesh(triangles));
  return slot;
}

std::map<std::string, double> results;  // "what/triangles" -> seconds or rays/s

double ProcessSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Our build and Embree's, one after the other in every iteration, so that
// both see the same machine; their processor times and the ratio.
void BM_Build(benchmark::State& state) {
  const ProceduralMesh& m = Mesh(int32_t(state.range(0)));
  double ours = 0, theirs = 0;
  int64_t bytes = 0;
  for (auto _ : state) {
    double t0 = ProcessSeconds();
    qelrKDNode* tree = nullptr;
    int32_t size = 0;
    if (BuildTree(m, &tree, &size) != StatusOk) state.SkipWithError("build failed");
    bytes = size;
    qelrKDTreeFree(tree);
    const double t1 = ProcessSeconds();
    rtcReleaseScene(BuildBvh(m));
    const double t2 = ProcessSeconds();
    ours += t1 - t0;
    theirs += t2 - t1;
  }
  const double n = double(state.iterations());
  state.counters["triangles"] = m.TriangleCount();
  state.counters["treeMiB"] = double(bytes) / (1 << 20);
  state.counters["kdtree_s"] = ours / n;
  state.counters["embreeHQ_s"] = theirs / n;
  state.counters["ratio"] = ours / theirs;
}

double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

// The whole image through our tree, block by block: shift 0 gives aligned
// planes (packet path), shift 1 planes one float off (single-ray path).
// Returns the thread's processor time.
double TraceKDTree(QelrScene& scene, int shift) {
  Rays& rays = CameraRays();
  static std::vector<float> dist(Rays::kStride + 8), u(dist.size()), v(dist.size());
  static std::vector<int32_t> tri(dist.size());
  auto plane = [&](auto& vec) {
    const uintptr_t p = reinterpret_cast<uintptr_t>(vec.data());
    return reinterpret_cast<decltype(vec.data())>((p + 15) & ~uintptr_t(15)) + shift;
  };
  int64_t hits = 0;
  const double start = ThreadSeconds();
  for (int32_t b = 0; b < Rays::kBlocks; ++b) {
    const float* d[3] = {rays.Plane(0, b, shift), rays.Plane(1, b, shift), rays.Plane(2, b, shift)};
    std::fill_n(plane(dist), Rays::kBlockRays, 3.4028235e38f);
    float* hitPlanes[2] = {plane(u), plane(v)};
    qelrIntersectEyeSO_32f(kEye, d, plane(dist), hitPlanes, plane(tri), &scene.context, qelrSize{kBlock, kBlock});
    hits += plane(tri)[0] >= 0;
  }
  benchmark::DoNotOptimize(hits);
  return ThreadSeconds() - start;
}

// The same image through Embree: width 4 is rtcIntersect4 on 2 x 2 pixel
// quads, width 1 is rtcIntersect1, rays in the same block order as ours.
// Primary rays are coherent, and the context says so, as an application
// would.  Returns the thread's processor time.
double TraceEmbree(RTCScene scene, int width) {
  Rays& rays = CameraRays();
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
  int64_t hits = 0;
  const double start = ThreadSeconds();
  for (int32_t b = 0; b < Rays::kBlocks; ++b) {
    const float* d[3] = {rays.Plane(0, b, 0), rays.Plane(1, b, 0), rays.Plane(2, b, 0)};
    if (width == 4) {
      for (int32_t row = 0; row < kBlock; row += 2) {
        for (int32_t col = 0; col < kBlock; col += 2) {
          alignas(16) RTCRayHit4 rh;
          alignas(16) int valid[4] = {-1, -1, -1, -1};
          for (int k = 0; k < 4; ++k) {
            const int32_t i = (row + k / 2) * kBlock + col + k % 2;
            rh.ray.org_x[k] = kEye[0];
            rh.ray.org_y[k] = kEye[1];
            rh.ray.org_z[k] = kEye[2];
            rh.ray.dir_x[k] = d[0][i];
            rh.ray.dir_y[k] = d[1][i];
            rh.ray.dir_z[k] = d[2][i];
            rh.ray.tnear[k] = 0.0f;
            rh.ray.tfar[k] = 3.4028235e38f;
            rh.ray.mask[k] = ~0u;
            rh.ray.flags[k] = 0;
            rh.ray.time[k] = 0.0f;
            rh.hit.geomID[k] = RTC_INVALID_GEOMETRY_ID;
          }
          rtcIntersect4(valid, scene, &context, &rh);
          hits += rh.hit.geomID[0] != RTC_INVALID_GEOMETRY_ID;
        }
      }
    } else {
      for (size_t i = 0; i < Rays::kBlockRays; ++i) {
        RTCRayHit rh;
        rh.ray.org_x = kEye[0];
        rh.ray.org_y = kEye[1];
        rh.ray.org_z = kEye[2];
        rh.ray.dir_x = d[0][i];
        rh.ray.dir_y = d[1][i];
        rh.ray.dir_z = d[2][i];
        rh.ray.tnear = 0.0f;
        rh.ray.tfar = 3.4028235e38f;
        rh.ray.mask = ~0u;
        rh.ray.flags = 0;
        rh.ray.time = 0.0f;
        rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        rtcIntersect1(scene, &context, &rh);
        hits += rh.hit.geomID != RTC_INVALID_GEOMETRY_ID;
      }
    }
  }
  benchmark::DoNotOptimize(hits);
  return ThreadSeconds() - start;
}

// Primary-ray throughput against Embree's on the same camera and mesh.
// path 0: our packet path against rtcIntersect4; 1: our single-ray path
// against rtcIntersect1.  Every iteration traces the image on both sides
// back to back in thread processor time, so that a busy machine weighs on
// both; rays/s are the medians over the iterations, and the ratio is the
// median of the iterations' ratios.
void BM_EyeRaysVsEmbree(benchmark::State& state) {
  const int path = int(state.range(1));
  QelrScene& ours = KDScene(int32_t(state.range(0)));
  RTCScene theirs = BvhScene(int32_t(state.range(0)));
  const int width = path == 0 ? 4 : 1;
  TraceKDTree(ours, path);  // first touch of both scenes outside the timing
  TraceEmbree(theirs, width);
  std::vector<double> oursTimes, theirTimes, ratios;
  for (auto _ : state) {
    const double a = TraceKDTree(ours, path), b = TraceEmbree(theirs, width);
    oursTimes.push_back(a);
    theirTimes.push_back(b);
    ratios.push_back(b / a);
  }
  const double rays = double(kWidth) * kHeight;
  state.counters["rays/s"] = rays / Median(oursTimes);
  state.counters["embree rays/s"] = rays / Median(theirTimes);
  state.counters["ratio"] = Median(ratios);
  state.SetLabel(path == 0 ? "packet path / rtcIntersect4" : "single-ray path / rtcIntersect1");
}

// Quality of the built tree: what a plain front-to-back walk spends per
// camera ray, and how often its nearest triangle is the packet path's.
void BM_TreeQuality(benchmark::State& state) {
  const ProceduralMesh& m = Mesh(int32_t(state.range(0)));
  QelrScene& scene = KDScene(int32_t(state.range(0)));
  Rays& rays = CameraRays();
  WalkCounts counts;
  int64_t agree = 0, total = 0;
  std::vector<float> dist(Rays::kStride + 8), u(dist.size()), v(dist.size());
  std::vector<int32_t> tri(dist.size());
  for (auto _ : state) {
    counts = WalkCounts();
    agree = total = 0;
    for (int32_t b = 0; b < Rays::kBlocks; b += 7) {
      const float* d[3] = {rays.Plane(0, b, 0), rays.Plane(1, b, 0), rays.Plane(2, b, 0)};
      std::fill(dist.begin(), dist.end(), 3.4028235e38f);
      float* hitPlanes[2] = {u.data(), v.data()};
      qelrIntersectEyeSO_32f(kEye, d, dist.data(), hitPlanes, tri.data(), &scene.context,
                             qelrSize{kBlock, kBlock});
      for (size_t i = 0; i < Rays::kBlockRays; ++i) {
        const float dir[3] = {d[0][i], d[1][i], d[2][i]};
        const int32_t walked =
            WalkRay(scene.tree, scene.box, m.vertices.data(), m.triangles.data(), kEye, dir, &counts);
        agree += walked == tri[i];
        ++total;
      }
    }
  }
  state.counters["nodes/ray"] = counts.nodes / double(counts.rays);
  state.counters["tests/ray"] = counts.triangles / double(counts.rays);
  state.counters["sameHit"] = double(agree) / double(total);
}

class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs) {
      // With repetitions, the median stands for the case.
      if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "median") continue;
      const std::string name = r.run_name.str();
      for (const char* key : {"rays/s", "embree rays/s", "ratio", "kdtree_s", "embreeHQ_s"}) {
        auto c = r.counters.find(key);
        if (c != r.counters.end()) results[name + "#" + key] = c->second.value;
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

const int64_t kSizes[] = {10000, 100000, 1000000};

}  // namespace

BENCHMARK(BM_Build)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Build)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_EyeRaysVsEmbree)->ArgsProduct({{10000, 100000, 1000000}, {0, 1}})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TreeQuality)->Arg(10000)->Arg(100000)->Arg(1000000)->Iterations(1);

int main(int argc, char** argv) {
  // One thread: the split search's per-axis teams get a single thread too.
  omp_set_max_active_levels(0);
  benchmark::Initialize(&argc, argv);
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (int64_t n : kSizes) {
    const std::string s = "/" + std::to_string(n);
    auto get = [&](const std::string& key) {
      auto it = results.find(key);
      return it == results.end() ? 0.0 : it->second;
    };
    const std::string build = "BM_Build" + s + (n >= 1000000 ? "/iterations:2" : "/iterations:5");
    // The build ratio is that of each repetition's paired builds (the
    // median of them when repeated), not a ratio of two separate medians.
    const double ours = get(build + "#kdtree_s"), bvh = get(build + "#embreeHQ_s");
    const double buildRatio = get(build + "#ratio");
    const std::string rays = "BM_EyeRaysVsEmbree" + s;
    const double packet = get(rays + "/0#rays/s"), four = get(rays + "/0#embree rays/s");
    const double single = get(rays + "/1#rays/s"), one = get(rays + "/1#embree rays/s");
    const double packetRatio = get(rays + "/0#ratio"), singleRatio = get(rays + "/1#ratio");
    std::printf("%7lld triangles: build %.3f s / Embree HQ %.3f s = %.2f (target <= 2) | packet %.3g / "
                "rtcIntersect4 %.3g rays/s = %.2f (target >= 1) | single %.3g / rtcIntersect1 %.3g "
                "rays/s = %.2f (target >= 0.8)\n",
                static_cast<long long>(n), ours, bvh, buildRatio, packet, four, packetRatio,
                single, one, singleRatio);
  }
  benchmark::Shutdown();
  return 0;
}
