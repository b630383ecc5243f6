// A folder of recordings of 5 minutes each, one person per folder, turned into reports: the whole
// batch, files read and written included. The argument is the number of recordings. peak_mb: what
// it adds to the process's memory.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "base/files.h"
#include "batch/batch_job.h"
#include "benchmarks/peak_memory.h"
#include "session/saved_recordings.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

void add_recordings(const std::string& root, int count) {
  for (int i = 0; i < count; ++i) {
    synthetic::EcgSettings settings;
    settings.seed = static_cast<uint64_t>(i) + 1;
    const std::string folder = root + "/person " + std::to_string(i);
    std::filesystem::create_directories(folder);
    write_file(folder + "/ecg.txt", ecg_text(synthetic::make_ecg(settings)));
  }
}

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
