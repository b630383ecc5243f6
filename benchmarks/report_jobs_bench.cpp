// The jobs behind Save and batch as a whole, files read and written included. peak_mb: what a job
// adds to the process's memory.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "base/files.h"
#include "batch/batch_job.h"
#include "benchmarks/peak_memory.h"
#include "export/export_job.h"
#include "session/saved_recordings.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

// The argument is the recording's length in seconds.
void BM_ExportJob(benchmark::State& state) {
  const TemporaryFolder folder;
  Engine engine;
  engine.data_dir = folder / "data";
  std::filesystem::create_directories(recordings_dir(engine));
  const auto seconds = static_cast<double>(state.range(0));
  {
    const SessionLock hold(engine.lock);
    engine.mode = "replay";
    engine.replay_ecg = EcgBuffer(synthetic::make_ecg(seconds));
    engine.replay_pos = engine.replay_len = static_cast<std::int64_t>(engine.replay_ecg.size());
  }
  const auto export_once = [&] {
    const auto snapshot = [&] {
      const SessionLock hold(engine.lock);
      return take_export(engine);
    }();
    run_export(engine, snapshot);
  };
  state.counters["peak_mb"] = bench::peak_memory_growth(export_once);
  for (auto _ : state) {
    export_once();
    state.PauseTiming();
    std::filesystem::remove_all(folder / "data/exports");  // the search for a free name stays short
    state.ResumeTiming();
  }
  const SessionLock hold(engine.lock);
  if (engine.export_status != "done") state.SkipWithError(engine.export_error.c_str());
}
BENCHMARK(BM_ExportJob)->Arg(257)->Arg(3600)->Unit(benchmark::kMillisecond)->UseRealTime();

void add_recordings(const std::string& root, int count) {
  for (int i = 0; i < count; ++i) {
    synthetic::EcgSettings settings;
    settings.seed = static_cast<uint64_t>(i) + 1;
    const std::string folder = root + "/person " + std::to_string(i);
    std::filesystem::create_directories(folder);
    write_file(folder + "/ecg.txt", ecg_text(synthetic::make_ecg(settings)));
  }
}

// Recordings of 5 minutes, one person per folder; the argument is their number.
void BM_Batch(benchmark::State& state) {
  const TemporaryFolder folder;
  add_recordings(folder / "root", static_cast<int>(state.range(0)));
  Engine engine;
  engine.data_dir = folder / "data";
  const BatchArguments arguments{folder / "root", false, "", {"F", 34, 5, 11, 16}};
  state.counters["peak_mb"] = bench::peak_memory_growth([&] { run_batch(engine, arguments); });
  for (auto _ : state) run_batch(engine, arguments);
  const SessionLock hold(engine.lock);
  if (engine.batch_done != state.range(0)) state.SkipWithError(engine.batch_msg.c_str());
}
BENCHMARK(BM_Batch)->Arg(10)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tvn
