// Throughput of the six shading exports, on aligned data (every array on a
// 16-byte boundary) and unaligned data (every array 4 bytes past one), at
// 1 Ki elements (in cache) and 1 Mi elements (from memory).
//
// Bytes are the memory traffic of one call: every array read plus every
// array written, an in-place array counting twice.  Two baselines are
// measured in the same run for the same traffic:
//   x_memcpy  the export's rate over memcpy's (a copy of half the bytes
//             reads and writes them all);
//   x_scalar  the export's rate over a plain scalar loop of the same
//             arithmetic compiled without automatic vectorisation.
// A summary at the end checks the targets: the aligned paths at 1 Mi reach
// 0.7 of memcpy, and at 1 Ki three times the scalar loop.
#include <benchmark/benchmark.h>

#include <ctime>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "qelr.h"
#include "scalar_loops.h"

namespace {

// Nine float planes and a mask of n elements, each in its own block and
// `offset` bytes past a 64-byte boundary.  Values keep in-place updates
// finite and away from denormals however often a call repeats: divisors
// and multipliers are 1, and three elements in four are active.
class Arrays {
 public:
  static constexpr int kPlanes = 9;

  Arrays(int32_t n, size_t offset) : n_(n) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int p = 0; p < kPlanes + 1; ++p) {
      blocks_[p] = static_cast<char*>(std::aligned_alloc(64, n * 4 + 64));
      void* start = blocks_[p] + offset;
      if (p < kPlanes) {
        float* f = static_cast<float*>(start);
        planes_[p] = f;
        for (int32_t i = 0; i < n; ++i) f[i] = p == 0 ? 1.0f : value(rng);
      } else {
        mask_ = static_cast<int32_t*>(start);
        for (int32_t i = 0; i < n; ++i) mask_[i] = rng() % 4 == 0 ? -1 : i;
      }
    }
  }
  ~Arrays() {
    for (char* b : blocks_) std::free(b);
  }
  Arrays(const Arrays&) = delete;
  Arrays& operator=(const Arrays&) = delete;

  int32_t n() const { return n_; }
  float* p(int k) const { return planes_[k]; }  // plane 0 holds ones
  const int32_t* mask() const { return mask_; }

 private:
  int32_t n_;
  char* blocks_[kPlanes + 1];
  float* planes_[kPlanes];
  int32_t* mask_;
};

struct Kernel {
  const char* name;
  bool hasFastPath;        // an aligned path, or a blocked body that covers aligned data
  int wordsPerElement;     // 32-bit words read plus written per element
  void (*library)(const Arrays& a);
  void (*scalar)(const Arrays& a);
};

const float kCoef[3] = {1e-3f, 2e-3f, 3e-3f};

const Kernel kKernels[] = {
    {"qelrAddMulMul_32f_AC1P3IM", true, 11,
     [](const Arrays& a) {
       const float* const s2[3] = {a.p(2), a.p(3), a.p(4)};
       float* const d[3] = {a.p(5), a.p(6), a.p(7)};
       qelrAddMulMul_32f_AC1P3IM(kCoef, a.p(1), s2, a.mask(), d, a.n());
     },
     [](const Arrays& a) {
       const float* const s2[3] = {a.p(2), a.p(3), a.p(4)};
       float* const d[3] = {a.p(5), a.p(6), a.p(7)};
       ScalarAddMulMul(kCoef, a.p(1), s2, a.mask(), d, a.n());
     }},
    {"qelrDiv_32f_C1IM", false, 4,
     [](const Arrays& a) { qelrDiv_32f_C1IM(a.p(0), a.mask(), a.p(1), a.n()); },
     [](const Arrays& a) { ScalarDiv(a.p(0), a.mask(), a.p(1), a.n()); }},
    {"qelrDotChangeNorm_32f_IM", true, 11,
     [](const Arrays& a) {
       const float* const s[3] = {a.p(1), a.p(2), a.p(3)};
       float* const nrm[3] = {a.p(4), a.p(5), a.p(6)};
       qelrDotChangeNorm_32f_IM(s, a.mask(), nrm, a.p(7), a.n());
     },
     [](const Arrays& a) {
       const float* const s[3] = {a.p(1), a.p(2), a.p(3)};
       float* const nrm[3] = {a.p(4), a.p(5), a.p(6)};
       ScalarDotChangeNorm(s, a.mask(), nrm, a.p(7), a.n());
     }},
    {"qelrDot_32f_P3C1M", true, 8,
     [](const Arrays& a) {
       const float* const x[3] = {a.p(1), a.p(2), a.p(3)};
       const float* const y[3] = {a.p(4), a.p(5), a.p(6)};
       qelrDot_32f_P3C1M(x, y, a.mask(), a.p(7), a.n());
     },
     [](const Arrays& a) {
       const float* const x[3] = {a.p(1), a.p(2), a.p(3)};
       const float* const y[3] = {a.p(4), a.p(5), a.p(6)};
       ScalarDot(x, y, a.mask(), a.p(7), a.n());
     }},
    {"qelrMul_32f_C1IM", true, 4,
     [](const Arrays& a) { qelrMul_32f_C1IM(a.p(0), a.mask(), a.p(1), a.n()); },
     [](const Arrays& a) { ScalarMulC1(a.p(0), a.mask(), a.p(1), a.n()); }},
    {"qelrMul_32f_C1P3IM", true, 8,
     [](const Arrays& a) {
       float* const d[3] = {a.p(1), a.p(2), a.p(3)};
       qelrMul_32f_C1P3IM(a.p(0), a.mask(), d, a.n());
     },
     [](const Arrays& a) {
       float* const d[3] = {a.p(1), a.p(2), a.p(3)};
       ScalarMulC1P3(a.p(0), a.mask(), d, a.n());
     }},
};

// Seconds of processor time this thread has used: unlike the wall clock it
// does not run on while other work on a busy machine has the processor.
double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec + 1e-9 * t.tv_nsec;
}

// Calls per second of `run` over one stretch of at least 10 ms.
template <typename Run>
double CallRate(Run run) {
  const double start = ThreadSeconds();
  int64_t calls = 0;
  double seconds = 0;
  do {
    run();
    ++calls;
    seconds = ThreadSeconds() - start;
  } while (seconds < 0.01);
  return calls / seconds;
}

// The benchmark loop gives bytes per second.  The two ratios come from the
// export and its baselines timed in alternating short stretches, keeping the
// best stretch of each, so that other work on the machine does not favour
// one of them.
void BenchKernel(benchmark::State& state, const Kernel* k, size_t offset, int32_t n) {
  Arrays a(n, offset);
  const double bytes = 4.0 * k->wordsPerElement * n;
  std::vector<char> from(static_cast<size_t>(bytes / 2)), to(from.size(), 1);
  double memcpyRate = 0, scalarRate = 0, libraryRate = 0;
  for (int round = 0; round < 12; ++round) {
    memcpyRate = std::max(memcpyRate, CallRate([&] {
                            std::memcpy(to.data(), from.data(), from.size());
                            benchmark::DoNotOptimize(to.data());
                          }));
    scalarRate = std::max(scalarRate, CallRate([&] { k->scalar(a); }));
    libraryRate = std::max(libraryRate, CallRate([&] { k->library(a); }));
  }

  for (auto _ : state) {
    k->library(a);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes) * state.iterations());
  state.counters["x_memcpy"] = libraryRate / memcpyRate;
  state.counters["x_scalar"] = libraryRate / scalarRate;
}

// Keeps the ratios of every run for the summary.
class SummaryReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      ratios_[run.run_name.function_name] = {run.counters.at("x_memcpy").value,
                                       run.counters.at("x_scalar").value};
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, std::pair<double, double>> ratios_;
};

std::string NameOf(const Kernel& k, bool aligned, int32_t n) {
  return std::string(k.name) + (aligned ? "/aligned/" : "/unaligned/") + std::to_string(n);
}

}  // namespace

int main(int argc, char** argv) {
  const int32_t kSmall = 1 << 10, kLarge = 1 << 20;
  for (const Kernel& k : kKernels)
    for (bool aligned : {true, false})
      for (int32_t n : {kSmall, kLarge})
        benchmark::RegisterBenchmark(NameOf(k, aligned, n).c_str(), BenchKernel, &k,
                                     aligned ? 0 : 4, n)
            ->UseRealTime()
            ->MinTime(0.2);
  benchmark::Initialize(&argc, argv);
  SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  std::printf("\nshading targets (aligned data): 1 Mi >= 0.7 x memcpy, 1 Ki >= 3 x scalar\n");
  for (const Kernel& k : kKernels) {
    const auto large = reporter.ratios_.find(NameOf(k, true, kLarge));
    const auto small = reporter.ratios_.find(NameOf(k, true, kSmall));
    if (large == reporter.ratios_.end() || small == reporter.ratios_.end()) continue;
    const double vsMemcpy = large->second.first, vsScalar = small->second.second;
    if (!k.hasFastPath) {
      std::printf("  %-26s 1 Mi %.2f x memcpy, 1 Ki %.2f x scalar (scalar only, no target)\n",
                  k.name, vsMemcpy, vsScalar);
      continue;
    }
    std::printf("  %-26s 1 Mi %.2f x memcpy %s, 1 Ki %.2f x scalar %s\n", k.name, vsMemcpy,
                vsMemcpy >= 0.7 ? "ok" : "BELOW", vsScalar, vsScalar >= 3.0 ? "ok" : "BELOW");
  }
  benchmark::Shutdown();
  return 0;
}
