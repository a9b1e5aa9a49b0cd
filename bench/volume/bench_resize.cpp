// Linear volume resize: output voxels per second for 8u, 16u and 32f, 2x up
// and 0.5x down on 128^3 and 256^3, beside three baselines measured in the
// same run on the same sizes: scipy's ndimage.zoom (order 1, grid mode) on
// the same volume, OpenCV's 2-D cv::resize on a 1024 x 1024 plane (one
// thread), and a memcpy of the output's bytes (the memory-bandwidth limit).
// A summary of ratios follows the benchmark table.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "qelcore.h"
#include "qelr.h"

namespace {

// Rates in output samples per second, by benchmark key: one per
// repetition; the summary takes their median.
std::map<std::string, std::vector<double>>& Rates() {
  static std::map<std::string, std::vector<double>> rates;
  return rates;
}

std::string Key(const char* what, const char* type, int64_t n, int64_t percent, int64_t threads = 1) {
  char text[96];
  std::snprintf(text, sizeof text, "%s %s %lld %lld %lld", what, type, (long long)n, (long long)percent,
                (long long)threads);
  return text;
}

template <typename T>
const char* TypeName() {
  return sizeof(T) == 1 ? "8u" : (sizeof(T) == 2 ? "16u" : "32f");
}

// A smooth phantom with some texture: a few spheres on a gradient.
template <typename T>
std::vector<T> Phantom(int32_t n) {
  std::vector<T> v(size_t(n) * n * n);
  const double top = sizeof(T) == 1 ? 255 : (sizeof(T) == 2 ? 65535 : 1);
  for (int32_t z = 0; z < n; ++z)
    for (int32_t y = 0; y < n; ++y)
      for (int32_t x = 0; x < n; ++x) {
        const double u = double(x) / n - 0.5, w = double(y) / n - 0.4, s = double(z) / n - 0.5;
        double value = 0.3 * double(x + y) / (2 * n);
        if (u * u + w * w + s * s < 0.09) value += 0.5;
        if ((u - 0.2) * (u - 0.2) + w * w < 0.01) value += 0.2;
        v[(size_t(z) * n + y) * n + x] = static_cast<T>(value * top);
      }
  return v;
}

qelStatus Resize(const uint8_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, uint8_t* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, double f, uint8_t* b) {
  return qelrResize_8u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f, f, f, 0, 0, 0, InterLinear, b);
}
qelStatus Resize(const uint16_t* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, uint16_t* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, double f, uint8_t* b) {
  return qelrResize_16u_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f, f, f, 0, 0, 0, InterLinear, b);
}
qelStatus Resize(const float* s, qelrVolume v, int32_t ss, int32_t sp, qelrCuboid sv, float* d,
                 int32_t ds, int32_t dp, qelrCuboid dv, double f, uint8_t* b) {
  return qelrResize_32f_C1V(s, v, ss, sp, sv, d, ds, dp, dv, f, f, f, 0, 0, 0, InterLinear, b);
}

// Args: source edge n, factor in percent, threads.
template <typename T>
void BM_QelrLinear(benchmark::State& state) {
  const int32_t n = int32_t(state.range(0));
  const double factor = state.range(1) / 100.0;
  const int32_t threads = int32_t(state.range(2));
  const int32_t m = int32_t(n * factor);
  qelSetNumThreads(threads);
  const std::vector<T> src = Phantom<T>(n);
  std::vector<T> dst(size_t(m) * m * m);
  const qelrVolume vol{n, n, n};
  const qelrCuboid srcVoi{0, 0, 0, n, n, n}, dstVoi{0, 0, 0, m, m, m};
  int32_t size = 0;
  qelrResizeGetBufSize(srcVoi, dstVoi, 1, InterLinear, &size);
  std::vector<uint8_t> buffer(static_cast<size_t>(size));
  const int32_t rowBytes = int32_t(sizeof(T)) * n, dstRowBytes = int32_t(sizeof(T)) * m;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    const qelStatus status = Resize(src.data(), vol, rowBytes, rowBytes * n, srcVoi, dst.data(), dstRowBytes,
                                    dstRowBytes * m, dstVoi, factor, buffer.data());
    if (status != StatusOk) state.SkipWithError("resize failed");
    benchmark::DoNotOptimize(dst.data());
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double voxels = double(dst.size()) * state.iterations();
  state.SetItemsProcessed(int64_t(voxels));
  Rates()[Key("qelr", TypeName<T>(), n, state.range(1), threads)].push_back(voxels / seconds);
  qelSetNumThreads(0);
}

// The bandwidth limit: copying as many bytes as the resize writes.
template <typename T>
void BM_MemcpyOutput(benchmark::State& state) {
  const int32_t n = int32_t(state.range(0));
  const int32_t m = int32_t(n * (state.range(1) / 100.0));
  std::vector<T> a(size_t(m) * m * m, T(1)), b(a.size());
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    std::memcpy(b.data(), a.data(), a.size() * sizeof(T));
    benchmark::DoNotOptimize(b.data());
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double voxels = double(a.size()) * state.iterations();
  state.SetItemsProcessed(int64_t(voxels));
  Rates()[Key("memcpy", TypeName<T>(), n, state.range(1))].push_back(voxels / seconds);
}

template <typename T>
int OpenCvType() {
  return sizeof(T) == 1 ? CV_8UC1 : (sizeof(T) == 2 ? CV_16UC1 : CV_32FC1);
}

// OpenCV's 2-D linear resize on one thread: output pixels per second.
template <typename T>
void BM_OpenCvPlane(benchmark::State& state) {
  const double factor = state.range(1) / 100.0;
  cv::setNumThreads(1);
  const std::vector<T> volume = Phantom<T>(128);
  cv::Mat src(1024, 1024, OpenCvType<T>());
  for (int y = 0; y < 1024; ++y)
    for (int x = 0; x < 1024; ++x)
      src.at<T>(y, x) = volume[(size_t(64) * 128 + (y % 128)) * 128 + (x % 128)];
  cv::Mat dst;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    cv::resize(src, dst, cv::Size(), factor, factor, cv::INTER_LINEAR);
    benchmark::DoNotOptimize(dst.data);
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double pixels = double(dst.total()) * state.iterations();
  state.SetItemsProcessed(int64_t(pixels));
  Rates()[Key("opencv", TypeName<T>(), 1024, state.range(1))].push_back(pixels / seconds);
}

// scipy.ndimage.zoom on the same volume, timed inside Python (best of two
// runs on 128^3, one on 256^3).
template <typename T>
void BM_ScipyZoom(benchmark::State& state) {
  const int32_t n = int32_t(state.range(0));
  const double factor = state.range(1) / 100.0;
  const std::vector<T> volume = Phantom<T>(n);
  char path[] = "/tmp/qelr_bench_volumeXXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0 || write(fd, volume.data(), volume.size() * sizeof(T)) != ssize_t(volume.size() * sizeof(T))) {
    state.SkipWithError("cannot write the volume");
    return;
  }
  close(fd);
  const char* dtype = sizeof(T) == 1 ? "uint8" : (sizeof(T) == 2 ? "uint16" : "float32");
  char command[1024];
  std::snprintf(command, sizeof command,
                "/usr/bin/python3 -c \""
                "import sys, time, numpy as np\n"
                "from scipy import ndimage\n"
                "v = np.fromfile('%s', dtype='%s').reshape(%d, %d, %d)\n"
                "best = 1e30\n"
                "for _ in range(%d):\n"
                "    t = time.perf_counter(); out = ndimage.zoom(v, %g, order=1, mode='nearest', grid_mode=True)\n"
                "    best = min(best, time.perf_counter() - t)\n"
                "print(best, out.size)\n\" 2>/dev/null",
                path, dtype, n, n, n, n <= 128 ? 2 : 1, factor);
  double seconds = 0, voxels = 0;
  for (auto _ : state) {
    FILE* pipe = popen(command, "r");
    if (pipe == nullptr || std::fscanf(pipe, "%lf %lf", &seconds, &voxels) != 2) {
      if (pipe) pclose(pipe);
      state.SkipWithError("python3 with scipy did not run");
      break;
    }
    pclose(pipe);
    state.SetIterationTime(seconds);
  }
  unlink(path);
  if (seconds > 0) {
    state.SetItemsProcessed(int64_t(voxels) * state.iterations());
    Rates()[Key("scipy", TypeName<T>(), n, state.range(1))].push_back(voxels / seconds);
  }
}

void VolumeArgs(benchmark::internal::Benchmark* b) {
  for (int64_t n : {128, 256})
    for (int64_t percent : {200, 50}) b->Args({n, percent, 1});
}

void ThreadedArgs(benchmark::internal::Benchmark* b) {
  for (int64_t n : {128, 256})
    for (int64_t percent : {200, 50}) b->Args({n, percent, 2});
}

void PlaneArgs(benchmark::internal::Benchmark* b) {
  for (int64_t percent : {200, 50}) b->Args({1024, percent});
}

void ScipyArgs(benchmark::internal::Benchmark* b) {
  for (int64_t n : {128, 256})
    for (int64_t percent : {200, 50}) b->Args({n, percent});
  b->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_QelrLinear<uint8_t>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_QelrLinear<uint16_t>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_QelrLinear<float>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_QelrLinear<float>)->Apply(ThreadedArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyOutput<uint8_t>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyOutput<uint16_t>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MemcpyOutput<float>)->Apply(VolumeArgs)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenCvPlane<uint8_t>)->Apply(PlaneArgs)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_OpenCvPlane<uint16_t>)->Apply(PlaneArgs)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_OpenCvPlane<float>)->Apply(PlaneArgs)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ScipyZoom<uint8_t>)->Apply(ScipyArgs);
BENCHMARK(BM_ScipyZoom<uint16_t>)->Apply(ScipyArgs);
BENCHMARK(BM_ScipyZoom<float>)->Apply(ScipyArgs);

double RateOf(const std::string& key) {
  const auto it = Rates().find(key);
  if (it == Rates().end() || it->second.empty()) return 0.0;
  std::vector<double> v = it->second;
  std::sort(v.begin(), v.end());
  const size_t m = v.size() / 2;
  return v.size() % 2 ? v[m] : 0.5 * (v[m - 1] + v[m]);
}

double Ratio(double a, double b) { return b > 0 ? a / b : 0.0; }

void PrintSummary() {
  std::printf("\nLinear resize, single thread (output voxels per second, medians of the repetitions; ratios against\n"
              "baselines of this run)\n");
  std::printf("%-4s %4s %6s %12s %10s %12s %10s\n", "type", "n", "factor", "Mvoxel/s", "x scipy", "x OpenCV 2D", "x memcpy");
  for (const char* type : {"8u", "16u", "32f"})
    for (int64_t n : {128, 256})
      for (int64_t percent : {200, 50}) {
        const double q = RateOf(Key("qelr", type, n, percent, 1));
        std::printf("%-4s %4lld %6.2f %12.1f %10.1f %12.2f %10.3f\n", type, (long long)n, percent / 100.0, q / 1e6,
                    Ratio(q, RateOf(Key("scipy", type, n, percent))),
                    Ratio(q, RateOf(Key("opencv", type, 1024, percent))),
                    Ratio(q, RateOf(Key("memcpy", type, n, percent))));
      }
  std::printf("\nqelrResize_32f_C1V on 2 threads against 1 thread\n");
  for (int64_t n : {128, 256})
    for (int64_t percent : {200, 50})
      std::printf("32f  %4lld %6.2f %8.2fx\n", (long long)n, percent / 100.0,
                  Ratio(RateOf(Key("qelr", "32f", n, percent, 2)), RateOf(Key("qelr", "32f", n, percent, 1))));
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  PrintSummary();
  return 0;
}
