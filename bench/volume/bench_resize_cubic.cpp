// Speed of the cubic volume resize, single thread, in output voxels per
// second for every cubic code, three sample types, 2x up and 0.5x down on
// a 128^3 volume, reported as ratios against two baselines measured in the
// same run on the same data:
//   - scipy.ndimage.zoom with order=3 (prefilter=False beside the B-spline
//     code, which does not pass through the samples either), run once per
//     volume in a python3 subprocess;
//   - OpenCV's 2-D cv::resize with INTER_CUBIC on a 1024 x 1024 plane of the
//     same type and factor, one thread, per output sample.
// Rates are per second of CPU time of the measuring thread.
// Set QELR_BENCH_NO_SCIPY=1 to skip the (slow) scipy runs while iterating.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <ctime>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "qelcore.h"
#include "qelr.h"

namespace {

constexpr int32_t kEdge = 128;
constexpr double kFactors[2] = {2.0, 0.5};
const char* const kFactorNames[2] = {"up2", "down2"};
const int kCodes[4] = {InterCubic, InterCubicBSpline, InterCubicCatmullRom, InterCubicB05C03};
const char* const kCodeNames[4] = {"Cubic", "BSpline", "CatmullRom", "B05C03"};

// Rates use the CPU time of the measuring thread (python: of the process),
// so that other work on a shared machine does not skew the ratios.
double CpuNow() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

// A smooth volume with a little noise, in 0..255 (times 257 for 16u).
template <typename T>
std::vector<T> MakeVolume(int32_t w, int32_t h, int32_t d) {
  std::vector<T> v(static_cast<size_t>(w) * h * d);
  uint32_t noise = 12345;
  const double scale = sizeof(T) == 2 ? 257.0 : 1.0;
  size_t i = 0;
  for (int32_t z = 0; z < d; ++z)
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x, ++i) {
        noise = noise * 1664525u + 1013904223u;
        const double s = 127.0 + 90.0 * std::sin(x * 0.11 + y * 0.07) * std::cos(z * 0.05 - y * 0.03) +
                         double(noise >> 28);
        v[i] = static_cast<T>(std::floor(s * scale));
      }
  return v;
}

template <typename T> struct TypeInfo;
template <> struct TypeInfo<uint8_t> { static constexpr int index = 0, cv = CV_8U; static constexpr const char* numpy = "uint8"; };
template <> struct TypeInfo<uint16_t> { static constexpr int index = 1, cv = CV_16U; static constexpr const char* numpy = "uint16"; };
template <> struct TypeInfo<float> { static constexpr int index = 2, cv = CV_32F; static constexpr const char* numpy = "float32"; };
const char* const kTypeNames[3] = {"8u", "16u", "32f"};

// Baselines, in output samples per second: [type][factor][prefilter].
double g_scipy[3][2][2];
double g_opencv[3][2];
// Our rates, for the closing summary: [type][code][factor].
double g_ours[3][4][2];

// ---- scipy -----------------------------------------------------------------------

const char* kScipyScript = R"PY(
import sys, time
import numpy as np
from scipy import ndimage
edge = int(sys.argv[1])
for case in sys.argv[2:]:
    path, dtype, factor, prefilter = case.split(',')
    v = np.fromfile(path, dtype=dtype).reshape(edge, edge, edge)
    best = float('inf')
    for _ in range(2):  # the faster of two runs: one slow outlier on a shared machine does not count
        t = time.process_time()
        out = ndimage.zoom(v, float(factor), order=3, prefilter=prefilter == '1')
        best = min(best, time.process_time() - t)
    print(out.size / best, flush=True)
)PY";

template <typename T>
std::string WriteVolume(const std::string& dir) {
  const std::vector<T> v = MakeVolume<T>(kEdge, kEdge, kEdge);
  const std::string path = dir + "/volume_" + TypeInfo<T>::numpy + ".raw";
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f) {
    std::fwrite(v.data(), sizeof(T), v.size(), f);
    std::fclose(f);
  }
  return path;
}

void MeasureScipy() {
  for (auto& a : g_scipy)
    for (auto& b : a)
      for (double& c : b) c = NAN;
  const char* skip = std::getenv("QELR_BENCH_NO_SCIPY");
  if (skip && *skip && *skip != '0') return;
  char dir[] = "/tmp/qelr_bench_XXXXXX";
  if (!mkdtemp(dir)) return;
  const std::string paths[3] = {WriteVolume<uint8_t>(dir), WriteVolume<uint16_t>(dir), WriteVolume<float>(dir)};
  const char* numpy[3] = {"uint8", "uint16", "float32"};
  const std::string script = std::string(dir) + "/zoom.py";
  if (FILE* f = std::fopen(script.c_str(), "w")) {
    std::fputs(kScipyScript, f);
    std::fclose(f);
  }
  // The distribution's python3 is the one with the scipy package.
  const char* python = access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : "python3";
  std::string command = std::string(python) + " " + script + " " + std::to_string(kEdge);
  for (int t = 0; t < 3; ++t)
    for (int f = 0; f < 2; ++f)
      for (int p = 0; p < 2; ++p)
        command += " " + paths[t] + "," + numpy[t] + "," + std::to_string(kFactors[f]) + "," + std::to_string(1 - p);
  std::fprintf(stderr, "timing scipy.ndimage.zoom(order=3) on 128^3 volumes (about four minutes)...\n");
  if (FILE* pipe = popen(command.c_str(), "r")) {
    for (int t = 0; t < 3; ++t)
      for (int f = 0; f < 2; ++f)
        for (int p = 0; p < 2; ++p) {
          double rate = NAN;
          if (std::fscanf(pipe, "%lf", &rate) == 1) g_scipy[t][f][1 - p] = rate;
        }
    pclose(pipe);
  }
  for (const std::string& p : paths) std::remove(p.c_str());
  std::remove(script.c_str());
  rmdir(dir);
}

// ---- OpenCV ----------------------------------------------------------------------

template <typename T>
void MeasureOpenCV() {
  const int32_t side = 1024;
  const std::vector<T> plane = MakeVolume<T>(side, side, 1);
  const cv::Mat src(side, side, TypeInfo<T>::cv, const_cast<T*>(plane.data()));
  for (int f = 0; f < 2; ++f) {
    cv::Mat dst;
    cv::resize(src, dst, cv::Size(), kFactors[f], kFactors[f], cv::INTER_CUBIC);  // warm up
    int64_t runs = 0;
    const double start = CpuNow();
    double now = start;
    while (runs < 3 || now - start < 0.5) {
      cv::resize(src, dst, cv::Size(), kFactors[f], kFactors[f], cv::INTER_CUBIC);
      ++runs;
      now = CpuNow();
    }
    g_opencv[TypeInfo<T>::index][f] = double(dst.total()) * runs / (now - start);
  }
}

// ---- qelr ------------------------------------------------------------------------

qelStatus ResizeC1V(const uint8_t* s, qelrVolume v, qelrCuboid sv, uint8_t* d, qelrCuboid dv, double f, int code,
                    uint8_t* b) {
  return qelrResize_8u_C1V(s, v, v.width, v.width * v.height, sv, d, dv.width, dv.width * dv.height, dv, f, f, f,
                           0, 0, 0, code, b);
}
qelStatus ResizeC1V(const uint16_t* s, qelrVolume v, qelrCuboid sv, uint16_t* d, qelrCuboid dv, double f,
                    int code, uint8_t* b) {
  return qelrResize_16u_C1V(s, v, 2 * v.width, 2 * v.width * v.height, sv, d, 2 * dv.width,
                            2 * dv.width * dv.height, dv, f, f, f, 0, 0, 0, code, b);
}
qelStatus ResizeC1V(const float* s, qelrVolume v, qelrCuboid sv, float* d, qelrCuboid dv, double f, int code,
                    uint8_t* b) {
  return qelrResize_32f_C1V(s, v, 4 * v.width, 4 * v.width * v.height, sv, d, 4 * dv.width,
                            4 * dv.width * dv.height, dv, f, f, f, 0, 0, 0, code, b);
}

template <typename T>
void BM_ResizeCubic(benchmark::State& state) {
  const int codeIndex = static_cast<int>(state.range(0));
  const int factorIndex = static_cast<int>(state.range(1));
  const int typeIndex = TypeInfo<T>::index;
  const double factor = kFactors[factorIndex];
  const int32_t out = static_cast<int32_t>(kEdge * factor);
  static const std::vector<T> src = MakeVolume<T>(kEdge, kEdge, kEdge);
  std::vector<T> dst(static_cast<size_t>(out) * out * out);
  const qelrVolume volume = {kEdge, kEdge, kEdge};
  const qelrCuboid srcVoi = {0, 0, 0, kEdge, kEdge, kEdge}, dstVoi = {0, 0, 0, out, out, out};
  int32_t size = 0;
  qelrResizeGetBufSize(srcVoi, dstVoi, 1, kCodes[codeIndex], &size);
  std::vector<uint8_t> scratch(size);

  double elapsed = 0.0;
  for (auto _ : state) {
    const double start = CpuNow();
    const qelStatus status = ResizeC1V(src.data(), volume, srcVoi, dst.data(), dstVoi, factor, kCodes[codeIndex],
                                       scratch.data());
    elapsed += CpuNow() - start;
    if (status != StatusOk) {
      state.SkipWithError("resize failed");
      return;
    }
    benchmark::DoNotOptimize(dst.data());
  }
  const double rate = double(dst.size()) * state.iterations() / elapsed;
  const double scipy = g_scipy[typeIndex][factorIndex][kCodes[codeIndex] == InterCubicBSpline ? 0 : 1];
  g_ours[typeIndex][codeIndex][factorIndex] = rate;
  state.counters["Mvox/s"] = rate / 1e6;
  state.counters["x_scipy"] = rate / scipy;
  state.counters["x_opencv2d"] = rate / g_opencv[typeIndex][factorIndex];
}

void Register() {
  for (int c = 0; c < 4; ++c)
    for (int f = 0; f < 2; ++f) {
      const std::string suffix = std::string("/") + kCodeNames[c] + "/" + kFactorNames[f];
      benchmark::RegisterBenchmark(("ResizeCubic_8u" + suffix).c_str(), BM_ResizeCubic<uint8_t>)->Args({c, f})->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("ResizeCubic_16u" + suffix).c_str(), BM_ResizeCubic<uint16_t>)->Args({c, f})->Unit(benchmark::kMillisecond);
      benchmark::RegisterBenchmark(("ResizeCubic_32f" + suffix).c_str(), BM_ResizeCubic<float>)->Args({c, f})->Unit(benchmark::kMillisecond);
    }
}

void PrintSummary() {
  std::printf("\nCubic resize, one thread, 128^3: output voxels/s as ratios to the same-run baselines\n");
  std::printf("%-5s %-11s %-6s %10s %12s %10s %12s %10s\n", "type", "code", "factor", "Mvox/s", "scipy Mvox/s",
              "x scipy", "cv2d Ms/s", "x cv2d");
  for (int t = 0; t < 3; ++t)
    for (int c = 0; c < 4; ++c)
      for (int f = 0; f < 2; ++f) {
        const double ours = g_ours[t][c][f];
        if (!(ours > 0)) continue;
        const double scipy = g_scipy[t][f][kCodes[c] == InterCubicBSpline ? 0 : 1];
        std::printf("%-5s %-11s %-6s %10.1f %12.3f %10.1f %12.1f %10.2f\n", kTypeNames[t], kCodeNames[c],
                    kFactorNames[f], ours / 1e6, scipy / 1e6, ours / scipy, g_opencv[t][f] / 1e6,
                    ours / g_opencv[t][f]);
      }
  std::printf("targets: x scipy >= 100 (scipy with prefilter=False beside BSpline), x cv2d >= 0.4\n");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  qelSetNumThreads(1);
  cv::setNumThreads(1);
  MeasureOpenCV<uint8_t>();
  MeasureOpenCV<uint16_t>();
  MeasureOpenCV<float>();
  MeasureScipy();
  Register();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  PrintSummary();
  return 0;
}
