// What the session's lock is held for, and reading a long recording.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/json.h"
#include "benchmarks/peak_memory.h"
#include "recording/raw_ecg.h"
#include "session/analysis_pass.h"
#include "session/status.h"
#include "session/tfr_job.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

// A replay of `seconds`, played to its end and analysed, so that every chart is full.
std::unique_ptr<Engine> analysed_replay(double seconds) {
  auto engine = std::make_unique<Engine>();
  {
    const SessionLock hold(engine->lock);
    engine->mode = "replay";
    engine->replay_ecg = EcgBuffer(synthetic::make_ecg(seconds));
    engine->replay_len = static_cast<std::int64_t>(engine->replay_ecg.size());
    engine->replay_pos = engine->replay_len;
  }
  analyse_once(*engine);
  return engine;
}

void BM_StatusReply(benchmark::State& state) {
  const auto engine = analysed_replay(119.9);  // 1,199 chart points, the most there are
  for (auto _ : state) benchmark::DoNotOptimize(status_json(*engine));
  state.counters["bytes"] = static_cast<double>(status_json(*engine).size());
}
BENCHMARK(BM_StatusReply)->Unit(benchmark::kMicrosecond);

// The lock time of a pass at 8 hours: its input is a view, whatever the length.
void BM_LockHeldByPassInput(benchmark::State& state) {
  Engine engine;
  {
    const SessionLock hold(engine.lock);
    engine.mode = "live";
    engine.live_ecg.append(std::vector<double>(std::size_t{8} * 3600 * 130, 1.0));
  }
  for (auto _ : state) benchmark::DoNotOptimize(take_pass_input(engine));
}
BENCHMARK(BM_LockHeldByPassInput)->Unit(benchmark::kMicrosecond);

constexpr std::size_t k_rate = 130;

// Passes of the session, charts and their text included, a second of ECG after the other, as a run
// has them, over the last ten minutes of `ecg`. afresh: each as if nothing had been kept.
void pass_by_pass(benchmark::State& state, std::vector<double> samples, bool afresh) {
  const EcgBuffer ecg(std::move(samples));
  const std::size_t begin = ecg.size() - 600 * k_rate;
  RunningAnalysis analysis;
  compute_pass(ecg.view(begin), 16.0, analysis);
  std::size_t count = begin;
  for (auto _ : state) {
    if (afresh) analysis = {};
    benchmark::DoNotOptimize(compute_pass(ecg.view(count), 16.0, analysis));
    count = count == ecg.size() ? begin : count + k_rate;
  }
}

// The first argument is the length in seconds.
void BM_SessionPass(benchmark::State& state) {
  pass_by_pass(state, synthetic::make_ecg(static_cast<double>(state.range(0)) + 600),
               state.range(1) == 1);
}
BENCHMARK(BM_SessionPass)
    ->ArgNames({"s", "afresh"})
    ->ArgsProduct({{300, 3600, 28800}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

// 8 h of a strap that gives nothing but one value after ten minutes of beats.
void BM_SessionPassWithoutBeats(benchmark::State& state) {
  std::vector<double> ecg = synthetic::make_ecg(28'800);
  std::fill(ecg.begin() + 600 * k_rate, ecg.end(), static_cast<double>(state.range(0)));
  pass_by_pass(state, std::move(ecg), state.range(1) == 1);
}
BENCHMARK(BM_SessionPassWithoutBeats)
    ->ArgNames({"value", "afresh"})
    ->ArgsProduct({{0, 2345}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

// The whole job behind the page's pictures: R-peaks to PNG data URLs, on two threads. peak_mb: what
// it adds to the process's memory.
void BM_TfrJob(benchmark::State& state) {
  const EcgBuffer ecg(synthetic::make_ecg(static_cast<double>(state.range(0))));
  const TfrJobInput input{ecg.view(ecg.size()), 16.0, 77, 40, 0, ""};
  state.counters["peak_mb"] = bench::peak_memory_growth([&] { compute_tfr_job(input); });
  for (auto _ : state) benchmark::DoNotOptimize(compute_tfr_job(input));
}
BENCHMARK(BM_TfrJob)->Arg(257)->Arg(1200)->Arg(3600)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ParseMillionLines(benchmark::State& state) {
  std::string text;
  for (const double sample : synthetic::make_ecg(1e6 / 130.0 + 1.0)) {
    append_json_number(text, state.range(0) == 0 ? static_cast<int>(sample) : sample);
    text += '\n';
  }
  for (auto _ : state) benchmark::DoNotOptimize(parse_raw_ecg(text));
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}
BENCHMARK(BM_ParseMillionLines)->ArgName("decimals")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tvn
