// One analysis pass (RR intervals, heart rate, TVN) over recordings of 5 min, 1 h and 8 h, and the
// same with the plain forms that the tests compare it with. The argument is the length in seconds.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <vector>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"

namespace {

const std::vector<double>& recording(int64_t seconds) {
  static std::map<int64_t, std::vector<double>> recordings;
  std::vector<double>& ecg = recordings[seconds];
  if (ecg.empty()) ecg = tvn::synthetic::make_ecg({.seconds = static_cast<double>(seconds)});
  return ecg;
}

void BM_AnalysisPass(benchmark::State& state) {
  const std::vector<double>& ecg = recording(state.range(0));
  for (auto _ : state) {
    const std::vector<double> rr = tvn::detect_rr_intervals(ecg, 300, 130);
    benchmark::DoNotOptimize(tvn::build_hr_series(ecg, rr, 130));
    benchmark::DoNotOptimize(
        tvn::compute_tvn_series(rr, static_cast<int32_t>(ecg.size()), 2, 16, 130, 0.1));
  }
}
BENCHMARK(BM_AnalysisPass)->Arg(300)->Arg(3600)->Arg(28800)->Unit(benchmark::kMillisecond);

void BM_AnalysisPassPlain(benchmark::State& state) {
  const std::vector<double>& ecg = recording(state.range(0));
  for (auto _ : state) {
    const std::vector<double> rr = tvn::plain::detect_rr_intervals(ecg, 300, 130);
    benchmark::DoNotOptimize(tvn::plain::build_hr_series(ecg.size(), rr, 130));
    benchmark::DoNotOptimize(
        tvn::plain::compute_tvn_series(rr, static_cast<int32_t>(ecg.size()), 2, 16, 130, 0.1));
  }
}
BENCHMARK(BM_AnalysisPassPlain)->Arg(300)->Arg(3600)->Arg(28800)->Unit(benchmark::kMillisecond);

// A lead that came off: hours of zeros with one beat, where the filter's states fade through the
// denormal numbers, which many processors are slow with.
void BM_AnalysisPassOfZeros(benchmark::State& state) {
  std::vector<double> ecg(recording(state.range(0)).size());
  for (std::size_t i = 0; i < 130; ++i) ecg[1000 + i] = recording(300)[i];
  for (auto _ : state) benchmark::DoNotOptimize(tvn::detect_rr_intervals(ecg, 300, 130));
}
BENCHMARK(BM_AnalysisPassOfZeros)->Arg(28800)->Unit(benchmark::kMillisecond);

}  // namespace
