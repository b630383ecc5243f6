// The files of an export, built and written: the EDF+ file, and the report with its pictures.
#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "analysis/beats/r_peaks.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/tfr/fast.h"
#include "analysis/tfr/image.h"
#include "export/edf.h"
#include "export/report/batch_report.h"
#include "export/report/report.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/temporary_folder.h"

namespace tvn {
namespace {

constexpr double k_cycle_seconds = 16;
constexpr double k_fs = 130;

// A recording with all that an export has computed before it begins to write.
struct Analysed {
  std::vector<double> ecg, hr;
  TfrPictures tfr;
};

Analysed analysed(double seconds) {
  Analysed result;
  result.ecg = synthetic::make_ecg(seconds);
  const std::vector<double> rr = detect_rr_intervals(result.ecg, 300, k_fs);
  result.hr = build_hr_series(result.ecg, rr, k_fs);
  result.tfr = compute_tfr_pictures(result.ecg.size(), rr, k_cycle_seconds, k_fs);
  return result;
}

RgbImage image_of(const Analysed& recording, const TfrPicture& picture, double centre,
                  double half_range) {
  TfrImageSettings settings;
  settings.expected_row = recording.tfr.expected_row;
  settings.cycle_seconds = k_cycle_seconds;
  settings.centre = centre;
  settings.half_range = half_range;
  return render_tfr_picture(picture, recording.tfr.cols, settings);
}

Report report_of(const Analysed& recording) {
  const TfrPictures& tfr = recording.tfr;
  Report report;
  report.name = "recording";
  report.table.assign(9, {"Cycle length", "16 s"});
  report.cycle_values = tfr.cycle_log_power;
  report.hr_series = recording.hr;
  report.high_time = image_of(recording, tfr.tfr3, tfr.tfr3_centre, tfr.tfr3_half_range);
  report.high_frequency = image_of(recording, tfr.tfr10, tfr.tfr10_centre, tfr.tfr10_half_range);
  report.markers = {{10, "1"}, {50, "2"}};
  report.mean = 10;
  report.cycle_seconds = k_cycle_seconds;
  return report;
}

void BM_ExportEdf(benchmark::State& state) {
  const TemporaryFolder folder;
  const std::vector<double> ecg = synthetic::make_ecg(static_cast<double>(state.range(0)));
  const std::vector<EdfAnnotation> annotations = {{10, "1"}, {50, "2"}};
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        write_edf(folder / "a.edf", ecg, 130, "name", annotations, 1736242509));
  }
}
BENCHMARK(BM_ExportEdf)->Arg(257)->Arg(3600)->Unit(benchmark::kMillisecond)->UseRealTime();

// From the time-frequency matrices to the file: rendering, compressing, drawing, writing.
void BM_ExportReport(benchmark::State& state) {
  const TemporaryFolder folder;
  const Analysed recording = analysed(static_cast<double>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(write_report(folder / "a.pdf", report_of(recording)));
  }
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(folder / "a.pdf"));
}
BENCHMARK(BM_ExportReport)->Arg(257)->Arg(3600)->Unit(benchmark::kMillisecond)->UseRealTime();

// The report of a person with 30 recordings of 5 minutes, on one thread.
void BM_ExportBatchReport(benchmark::State& state) {
  const TemporaryFolder folder;
  const Analysed recording = analysed(300);
  const Report one = report_of(recording);
  for (auto _ : state) {
    BatchReport report;
    report.name = "person";
    report.table = one.table;
    for (int i = 0; i < 30; ++i) {
      report.recordings.push_back(
          batch_report_entry({one.name, one.cycle_values, one.mean, one.hr_series, one.markers,
                              one.high_time, one.high_frequency},
                             k_cycle_seconds));
    }
    benchmark::DoNotOptimize(write_batch_report(folder / "a.pdf", report));
  }
}
BENCHMARK(BM_ExportBatchReport)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace tvn
