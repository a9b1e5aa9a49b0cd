// Directions per second of the SH exports, each beside the plain baseline of
// baseline_sh.h doing the same job.  Every iteration times one call of the
// export and one of the baseline back to back, so that both see the same
// machine load; the counter "x_baseline" is the baseline's time over the
// export's.  After the table, one line per export and order gives the
// median of that ratio over the repetitions.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "baseline_sh.h"
#include "qelr.h"

namespace {

// A batch that fits the caches at order 15 (1 MB of results), so that the
// figures compare arithmetic rather than memory bandwidth.
constexpr int kDirections = 1024;

struct Directions {
  std::vector<float> x, y, z, values;  // values: three channels interleaved
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
      for (int channel = 0; channel < 3; ++channel)
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

// Times `subject` and `baseline` alternately; the benchmark's own time is
// the subject's.
void RunPaired(benchmark::State& st, const std::function<void()>& subject, const std::function<void()>& baseline) {
  using Clock = std::chrono::steady_clock;
  double subjectSeconds = 0, baselineSeconds = 0;
  for (auto _ : st) {
    const auto t0 = Clock::now();
    subject();
    const auto t1 = Clock::now();
    baseline();
    const auto t2 = Clock::now();
    const double s = std::chrono::duration<double>(t1 - t0).count();
    subjectSeconds += s;
    baselineSeconds += std::chrono::duration<double>(t2 - t1).count();
    st.SetIterationTime(s);
  }
  const double directions = double(st.iterations()) * kDirections;
  st.counters["dir_per_s"] = directions / subjectSeconds;
  st.counters["baseline_dir_per_s"] = directions / baselineSeconds;
  st.counters["x_baseline"] = baselineSeconds / subjectSeconds;
}

// ---------------------------------------------------------------------------
// Basis, against the baseline evaluating all bands up to the same order

void BM_SH(benchmark::State& st, int32_t mode) {
  const int order = int(st.range(0));
  const Directions& d = Dirs();
  const State state(order, mode);
  const BaselineSH baseline(order);
  std::vector<float> dst(size_t(kDirections) * Coefficients(order)), ref(dst.size());
  RunPaired(
      st, [&] { qelrSH_32f(d.x.data(), d.y.data(), d.z.data(), kDirections, dst.data(), order, state.get()); },
      [&] { baseline.Evaluate(d.x.data(), d.y.data(), d.z.data(), kDirections, ref.data()); });
  benchmark::DoNotOptimize(dst.data());
  benchmark::DoNotOptimize(ref.data());
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
  const BaselineSH baseline(band);
  std::vector<float> dst(size_t(kDirections) * (2 * band + 1)), ref(size_t(kDirections) * Coefficients(band));
  RunPaired(
      st, [&] { qelrSHBand_32f(d.x.data(), d.y.data(), d.z.data(), kDirections, dst.data(), band); },
      [&] { baseline.Evaluate(d.x.data(), d.y.data(), d.z.data(), kDirections, ref.data()); });
  benchmark::DoNotOptimize(dst.data());
  benchmark::DoNotOptimize(ref.data());
}

// ---------------------------------------------------------------------------
// Transforms (recurrence state), against the baseline doing the same work
// per direction: its basis of one direction, then a plain loop adding the
// scaled basis into each channel's coefficients or taking the dot products.

enum class Layout { C1, P3, C3 };  // values of one channel, three planes, interleaved

int ChannelsOf(Layout layout) {
  return layout == Layout::C1 ? 1 : 3;
}

void BM_Forward(benchmark::State& st, Layout layout) {
  const int order = int(st.range(0)), n = Coefficients(order), channels = ChannelsOf(layout);
  const Directions& d = Dirs();
  const State state(order, SHModeRecurrence);
  const BaselineSH baseline(order);
  std::vector<float> coeffs(3 * n, 0.0f), refCoeffs(3 * n, 0.0f), basis(n), planes(3 * kDirections);
  for (int i = 0; i < kDirections; ++i)
    for (int c = 0; c < 3; ++c)
      planes[c * kDirections + i] = d.values[3 * i + c];
  const float* valuePlanes[3] = {&planes[0], &planes[kDirections], &planes[2 * kDirections]};
  float* coeffPlanes[3] = {&coeffs[0], &coeffs[n], &coeffs[2 * n]};
  // Channel c of direction i, as the layout has it.
  const float* values = layout == Layout::C3 ? d.values.data() : planes.data();
  const int channelStep = layout == Layout::C3 ? 1 : kDirections, directionStep = layout == Layout::C3 ? 3 : 1;
  RunPaired(
      st,
      [&] {
        const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
        if (layout == Layout::C1)
          qelrSHTFwd_32f_C1I(x, y, z, valuePlanes[0], kDirections, coeffPlanes[0], order, state.get());
        else if (layout == Layout::P3)
          qelrSHTFwd_32f_P3I(x, y, z, valuePlanes, kDirections, coeffPlanes, order, state.get());
        else
          qelrSHTFwd_32f_C3P3I(x, y, z, d.values.data(), kDirections, coeffPlanes, order, state.get());
      },
      [&] {
        for (int i = 0; i < kDirections; ++i) {
          baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
          for (int c = 0; c < channels; ++c) {
            const float value = values[c * channelStep + i * directionStep];
            for (int k = 0; k < n; ++k)
              refCoeffs[c * n + k] += basis[k] * value;
          }
        }
      });
  benchmark::DoNotOptimize(coeffs.data());
  benchmark::DoNotOptimize(refCoeffs.data());
}

void BM_Inverse(benchmark::State& st, Layout layout) {
  const int order = int(st.range(0)), n = Coefficients(order), channels = ChannelsOf(layout);
  const Directions& d = Dirs();
  const State state(order, SHModeRecurrence);
  const BaselineSH baseline(order);
  std::vector<float> coeffs(3 * n, 0.25f), basis(n), dst(3 * kDirections), ref(3 * kDirections);
  const float* coeffPlanes[3] = {&coeffs[0], &coeffs[n], &coeffs[2 * n]};
  float* dstPlanes[3] = {&dst[0], &dst[kDirections], &dst[2 * kDirections]};
  // Channel c of direction i, as the layout has it.
  const int channelStep = layout == Layout::C3 ? 1 : kDirections, directionStep = layout == Layout::C3 ? 3 : 1;
  RunPaired(
      st,
      [&] {
        const float *x = d.x.data(), *y = d.y.data(), *z = d.z.data();
        if (layout == Layout::C1)
          qelrSHTInv_32f_C1(coeffPlanes[0], order, x, y, z, dstPlanes[0], kDirections, state.get());
        else if (layout == Layout::P3)
          qelrSHTInv_32f_P3(coeffPlanes, order, x, y, z, dstPlanes, kDirections, state.get());
        else
          qelrSHTInv_32f_P3C3(coeffPlanes, order, x, y, z, dst.data(), kDirections, state.get());
      },
      [&] {
        for (int i = 0; i < kDirections; ++i) {
          baseline.Evaluate(&d.x[i], &d.y[i], &d.z[i], 1, basis.data());
          for (int c = 0; c < channels; ++c) {
            float sum = 0;
            for (int k = 0; k < n; ++k)
              sum += basis[k] * coeffs[c * n + k];
            ref[c * channelStep + i * directionStep] = sum;
          }
        }
      });
  benchmark::DoNotOptimize(dst.data());
  benchmark::DoNotOptimize(ref.data());
}

void BM_FwdC1I(benchmark::State& st) {
  BM_Forward(st, Layout::C1);
}
void BM_FwdP3I(benchmark::State& st) {
  BM_Forward(st, Layout::P3);
}
void BM_FwdC3P3I(benchmark::State& st) {
  BM_Forward(st, Layout::C3);
}
void BM_InvC1(benchmark::State& st) {
  BM_Inverse(st, Layout::C1);
}
void BM_InvP3(benchmark::State& st) {
  BM_Inverse(st, Layout::P3);
}
void BM_InvP3C3(benchmark::State& st) {
  BM_Inverse(st, Layout::C3);
}

#define ORDERS Arg(3)->Arg(8)->Arg(15)->UseManualTime()
BENCHMARK(BM_SH_Recurrence)->ORDERS;
BENCHMARK(BM_SH_ClosedForm)->ORDERS;
BENCHMARK(BM_SHBand)->ORDERS;
BENCHMARK(BM_FwdC1I)->ORDERS;
BENCHMARK(BM_FwdP3I)->ORDERS;
BENCHMARK(BM_FwdC3P3I)->ORDERS;
BENCHMARK(BM_InvC1)->ORDERS;
BENCHMARK(BM_InvP3)->ORDERS;
BENCHMARK(BM_InvP3C3)->ORDERS;

// Passes every run to the console and keeps the median ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (!run.counters.count("x_baseline"))
        continue;
      std::string name = run.run_name.str();
      const std::string suffix = "/manual_time";
      if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        name.resize(name.size() - suffix.size());
      if (!summaries_.count(name))
        order_.push_back(name);
      Summary& s = summaries_[name];
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
        s.ratio = run.counters.at("x_baseline");
        s.rate = run.counters.at("dir_per_s");
        s.baselineRate = run.counters.at("baseline_dir_per_s");
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintSummary() const {
    std::printf("\nDirections per second relative to the baseline (median of paired runs):\n");
    for (const std::string& name : order_) {
      const Summary& s = summaries_.at(name);
      std::printf("  %-18s %6.2fx  (%.3g dir/s vs %.3g dir/s)\n", name.c_str() + 3, s.ratio, s.rate, s.baselineRate);
    }
  }

 private:
  struct Summary {
    double ratio = 0, rate = 0, baselineRate = 0;
  };
  std::map<std::string, Summary> summaries_;
  std::vector<std::string> order_;  // as first reported
};

// The baseline must compute the same functions as the library.
void CheckBaseline() {
  const Directions& d = Dirs();
  const int n = Coefficients(15), count = 64;
  std::vector<float> mine(size_t(count) * n), theirs(size_t(count) * n);
  BaselineSH(15).Evaluate(d.x.data(), d.y.data(), d.z.data(), count, mine.data());
  const State state(15, SHModeRecurrence);
  qelrSH_32f(d.x.data(), d.y.data(), d.z.data(), count, theirs.data(), 15, state.get());
  double worst = 0;
  for (size_t k = 0; k < mine.size(); ++k)
    worst = std::fmax(worst, std::fabs(double(mine[k]) - theirs[k]));
  std::printf("baseline vs library, order 15: largest difference %.3g%s\n", worst,
              worst < 1e-4 ? "" : "  (BASELINE DISAGREES)");
}

}  // namespace

int main(int argc, char** argv) {
  // Repeat each benchmark and keep medians, unless the command line says
  // otherwise (later flags win).
  std::vector<char*> args(argv, argv + argc);
  char repetitions[] = "--benchmark_repetitions=5";
  char aggregates[] = "--benchmark_report_aggregates_only=true";
  char minTime[] = "--benchmark_min_time=0.05";
  args.insert(args.begin() + 1, {repetitions, aggregates, minTime});
  int count = int(args.size());
  benchmark::Initialize(&count, args.data());
  CheckBaseline();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSummary();
  benchmark::Shutdown();
  return 0;
}
