// Directions per second of the SH exports, each beside the plain baseline
// (baseline_sh.h) measured in the same run.  After the table, one line per
// export and order gives the ratio of its rate to the baseline's.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "baseline_sh.h"
#include "qelr.h"

namespace {

constexpr int kDirections = 1024;

struct Directions {
  std::vector<float> x, y, z, values;
  Directions() {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    while (int(x.size()) < kDirections) {
      const float a = u(rng), b = u(rng), c = u(rng);
      const float r = std::sqrt(a * a + b * b + c * c);
      if (r < 0.1f || r > 1.0f)
        continue;
      x.push_back(a / r);
      y.push_back(b / r);
      z.push_back(c / r);
      values.push_back(u(rng));
      values.push_back(u(rng));
      values.push_back(u(rng));
    }
  }
};

const Directions& Dirs() {
  static const Directions d;
  return d;
}

class State {
 public:
  State(uint32_t order, int32_t mode) {
    int32_t size = 0;
    qelrSHGetSize_32f(order, mode, &size);
    storage_.resize(size / 16 + 2);
    state_ = reinterpret_cast<qelrSHState*>(storage_.data());
    qelrSHInit_32f(state_, order, mode);
  }
  const qelrSHState* get() const { return state_; }

 private:
  struct alignas(16) Chunk {
    float f[4];
  };
  std::vector<Chunk> storage_;
  qelrSHState* state_;
};

int Coefficients(int order) {
  return (order + 1) * (order + 1);
}

void Finish(benchmark::State& st) {
  st.SetItemsProcessed(st.iterations() * kDirections);
}

// ---------------------------------------------------------------------------
// Basis

void BM_Baseline(benchmark::State& st) {
  const int order = int(st.range(0));
  const Directions& d = Dirs();
  BaselineSH baseline(order);
  std::vector<float> dst(size_t(kDirections) * Coefficients(order));
  for (auto _ : st) {
    baseline.Evaluate(d.x.data(), d.y.data(), d.z.data(), kDirections, dst.data());
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

void BM_SH(benchmark::State& st, int32_t mode) {
  const int order = int(st.range(0));
  const Directions& d = Dirs();
  State state(order, mode);
  std::vector<float> dst(size_t(kDirections) * Coefficients(order));
  for (auto _ : st) {
    qelrSH_32f(d.x.data(), d.y.data(), d.z.data(), kDirections, dst.data(), order, state.get());
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}
void BM_SH_Recurrence(benchmark::State& st) {
  BM_SH(st, SHModeRecurrence);
}
void BM_SH_ClosedForm(benchmark::State& st) {
  BM_SH(st, SHModeClosedForm);
}

void BM_SHBand(benchmark::State& st) {
  const int band = int(st.range(0));
  const Directions& d = Dirs();
  std::vector<float> dst(size_t(kDirections) * (2 * band + 1));
  for (auto _ : st) {
    qelrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), kDirections, dst.data(), band);
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

// ---------------------------------------------------------------------------
// Transforms (recurrence state), and the baseline doing the same job

void BM_Fwd_Baseline(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  BaselineSH baseline(order);
  std::vector<float> basis(n), coeffs(n, 0.0f);
  for (auto _ : st) {
    for (int i = 0; i < kDirections; ++i) {
      baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
      for (int k = 0; k < n; ++k)
        coeffs[k] += basis[k] * d.values[i];
    }
    benchmark::DoNotOptimize(coeffs.data());
  }
  Finish(st);
}

void BM_FwdC1I(benchmark::State& st) {
  const int order = int(st.range(0));
  const Directions& d = Dirs();
  State state(order, SHModeRecurrence);
  std::vector<float> coeffs(Coefficients(order), 0.0f);
  for (auto _ : st) {
    qelrSHTFwd_32f_C1I(d.x.data(), d.y.data(), d.z.data(), d.values.data(), kDirections, coeffs.data(), order,
                       state.get());
    benchmark::DoNotOptimize(coeffs.data());
  }
  Finish(st);
}

void BM_Inv_Baseline(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  BaselineSH baseline(order);
  std::vector<float> basis(n), coeffs(n, 0.25f), dst(kDirections);
  for (auto _ : st) {
    for (int i = 0; i < kDirections; ++i) {
      baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
      float sum = 0;
      for (int k = 0; k < n; ++k)
        sum += basis[k] * coeffs[k];
      dst[i] = sum;
    }
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

void BM_InvC1(benchmark::State& st) {
  const int order = int(st.range(0));
  const Directions& d = Dirs();
  State state(order, SHModeRecurrence);
  std::vector<float> coeffs(Coefficients(order), 0.25f), dst(kDirections);
  for (auto _ : st) {
    qelrSHTInv_32f_C1(coeffs.data(), order, d.x.data(), d.y.data(), d.z.data(), dst.data(), kDirections, state.get());
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

void BM_Fwd3_Baseline(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  BaselineSH baseline(order);
  std::vector<float> basis(n), coeffs[3] = {std::vector<float>(n), std::vector<float>(n), std::vector<float>(n)};
  for (auto _ : st) {
    for (int i = 0; i < kDirections; ++i) {
      baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
      for (int c = 0; c < 3; ++c)
        for (int k = 0; k < n; ++k)
          coeffs[c][k] += basis[k] * d.values[3 * i + c];
    }
    benchmark::DoNotOptimize(coeffs[0].data());
  }
  Finish(st);
}

void BM_FwdC3P3I(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  State state(order, SHModeRecurrence);
  std::vector<float> coeffs[3] = {std::vector<float>(n), std::vector<float>(n), std::vector<float>(n)};
  float* planes[3] = {coeffs[0].data(), coeffs[1].data(), coeffs[2].data()};
  for (auto _ : st) {
    qelrSHTFwd_32f_C3P3I(d.x.data(), d.y.data(), d.z.data(), d.values.data(), kDirections, planes, order, state.get());
    benchmark::DoNotOptimize(planes[0]);
  }
  Finish(st);
}

void BM_Inv3_Baseline(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  BaselineSH baseline(order);
  std::vector<float> basis(n), coeffs(3 * n, 0.25f), dst(3 * kDirections);
  for (auto _ : st) {
    for (int i = 0; i < kDirections; ++i) {
      baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
      for (int c = 0; c < 3; ++c) {
        float sum = 0;
        for (int k = 0; k < n; ++k)
          sum += basis[k] * coeffs[c * n + k];
        dst[3 * i + c] = sum;
      }
    }
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

void BM_InvP3C3(benchmark::State& st) {
  const int order = int(st.range(0)), n = Coefficients(order);
  const Directions& d = Dirs();
  State state(order, SHModeRecurrence);
  std::vector<float> coeffs(3 * n, 0.25f), dst(3 * kDirections);
  const float* planes[3] = {&coeffs[0], &coeffs[n], &coeffs[2 * n]};
  for (auto _ : st) {
    qelrSHTInv_32f_P3C3(planes, order, d.x.data(), d.y.data(), d.z.data(), dst.data(), kDirections, state.get());
    benchmark::DoNotOptimize(dst.data());
  }
  Finish(st);
}

#define ORDERS Arg(3)->Arg(8)->Arg(15)
BENCHMARK(BM_Baseline)->ORDERS;
BENCHMARK(BM_SH_Recurrence)->ORDERS;
BENCHMARK(BM_SH_ClosedForm)->ORDERS;
BENCHMARK(BM_SHBand)->ORDERS;
BENCHMARK(BM_Fwd_Baseline)->ORDERS;
BENCHMARK(BM_FwdC1I)->ORDERS;
BENCHMARK(BM_Fwd3_Baseline)->ORDERS;
BENCHMARK(BM_FwdC3P3I)->ORDERS;
BENCHMARK(BM_Inv_Baseline)->ORDERS;
BENCHMARK(BM_InvC1)->ORDERS;
BENCHMARK(BM_Inv3_Baseline)->ORDERS;
BENCHMARK(BM_InvP3C3)->ORDERS;

// Passes every run to the console and keeps the rates for the summary.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  // Keeps the median of each benchmark's repetitions (or its one run).
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (!run.counters.count("items_per_second"))
        continue;
      const double rate = run.counters.at("items_per_second");
      if (run.run_type == Run::RT_Iteration)
        singles_[run.run_name.str()] = rate;
      else if (run.aggregate_name == "median")
        medians_[run.run_name.str()] = rate;
    }
    ConsoleReporter::ReportRuns(runs);
  }

  double Rate(const std::string& name) const {
    if (medians_.count(name))
      return medians_.at(name);
    return singles_.count(name) ? singles_.at(name) : 0.0;
  }

  void PrintSummary() const {
    struct Pair {
      const char* subject;
      const char* baseline;
    };
    const Pair pairs[] = {
        {"BM_SH_Recurrence", "BM_Baseline"}, {"BM_SH_ClosedForm", "BM_Baseline"}, {"BM_SHBand", "BM_Baseline"},
        {"BM_FwdC1I", "BM_Fwd_Baseline"},    {"BM_FwdC3P3I", "BM_Fwd3_Baseline"}, {"BM_InvC1", "BM_Inv_Baseline"},
        {"BM_InvP3C3", "BM_Inv3_Baseline"},
    };
    std::printf("\nDirections per second relative to the baseline (same run):\n");
    for (const Pair& p : pairs)
      for (int order : {3, 8, 15}) {
        const std::string suffix = "/" + std::to_string(order);
        const double s = Rate(p.subject + suffix), b = Rate(p.baseline + suffix);
        if (s == 0 || b == 0)
          continue;
        std::printf("  %-18s order %2d: %6.2fx  (%.3g dir/s vs %.3g dir/s)\n", p.subject + 3, order, s / b, s, b);
      }
  }

 private:
  std::map<std::string, double> singles_, medians_;
};

// The baseline must compute the same functions as the library.
void CheckBaseline() {
  const Directions& d = Dirs();
  const int n = Coefficients(15), count = 64;
  std::vector<float> mine(size_t(count) * n), theirs(size_t(count) * n);
  BaselineSH(15).Evaluate(d.x.data(), d.y.data(), d.z.data(), count, mine.data());
  State state(15, SHModeRecurrence);
  qelrSH_32f(d.x.data(), d.y.data(), d.z.data(), count, theirs.data(), 15, state.get());
  double worst = 0;
  for (size_t k = 0; k < mine.size(); ++k)
    worst = std::fmax(worst, std::fabs(double(mine[k]) - theirs[k]));
  std::printf("baseline vs library, order 15: largest difference %.3g%s\n", worst,
              worst < 1e-4 ? "" : "  (BASELINE DISAGREES)");
}

}  // namespace

int main(int argc, char** argv) {
  // The machine may be shared: repeat each benchmark in random interleaving
  // and compare medians, unless the command line says otherwise.
  std::vector<char*> args(argv, argv + argc);
  char repetitions[] = "--benchmark_repetitions=5";
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  char minTime[] = "--benchmark_min_time=0.05";
  args.insert(args.begin() + 1, {repetitions, interleave, aggregates, minTime});
  int count = int(args.size());
  benchmark::Initialize(&count, args.data());
  CheckBaseline();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSummary();
  benchmark::Shutdown();
  return 0;
}
