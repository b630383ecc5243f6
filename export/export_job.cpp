#include "export/export_job.h"

#include <ctime>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "analysis/rhythm/hr_series.h"
#include "base/failure_text.h"
#include "base/json.h"
#include "export/edf.h"
#include "export/export_folder.h"
#include "export/recording_analysis.h"
#include "export/report/report.h"

namespace tvn {
namespace {

// What the job is to work on, with the state set to "exporting"; none while an export is under way.
std::optional<ExportSnapshot> begin_export(Engine& engine) {
  const SessionLock hold(engine.lock);
  if (engine.export_status == "exporting") return std::nullopt;
  // First of all: when there is no memory for it, no export is under way.
  ExportSnapshot snapshot = take_export(engine);
  engine.export_status = "exporting";
  engine.export_result.clear();
  engine.export_error.clear();
  return snapshot;
}

void publish(Engine& engine, std::uint64_t run_number, const char* status, std::string result,
             std::string error) {
  const SessionLock hold(engine.lock);
  if (engine.run_number != run_number) return;
  engine.export_status = status;
  engine.export_result = std::move(result);
  engine.export_error = std::move(error);
}

std::vector<EdfAnnotation> edf_annotations(const std::vector<Marker>& markers) {
  std::vector<EdfAnnotation> annotations;
  annotations.reserve(markers.size());
  for (const Marker& marker : markers) {
    annotations.push_back({marker_seconds(marker), std::to_string(marker.key)});
  }
  return annotations;
}

void write_recording(const ExportSnapshot& snapshot, const std::vector<double>& hr_series,
                     FolderWriter& folder) {
  const std::string& name = snapshot.name;
  const std::vector<Marker>& markers = snapshot.recording.markers;
  const std::span<const double> ecg = snapshot.recording.ecg.samples();
  folder.write(name + "_ECG.txt", ecg_text(ecg));
  folder.write(name + "_HR.txt", hr_text(hr_series));
  folder.write(name + "_markers.csv", marker_file_text(markers));
  const std::string edf = edf_file(ecg, static_cast<std::int32_t>(k_ecg_rate), name,
                                   edf_annotations(markers), snapshot.start_time);
  if (!edf.empty()) folder.write(name + ".edf", edf);
}

// The part that needs beats and a whole breathing cycle.
void write_rhythm(const ExportSnapshot& snapshot, const std::vector<double>& rr_seconds,
                  std::vector<double> hr_series, FolderWriter& folder) {
  const ReportSettings& settings = snapshot.settings;
  const std::vector<Marker>& markers = snapshot.recording.markers;
  const std::size_t n_samples = snapshot.recording.ecg.size();
  std::optional<RhythmAnalysis> rhythm =
      analyse_rhythm(n_samples, rr_seconds, settings.cycle_seconds);
  if (!rhythm) return;
  const std::vector<double>& cycles = rhythm->tfr.cycle_log_power;
  const LogPowerColumn column{snapshot.name, cycles, rhythm->mean_log_power, markers, "markers"};
  folder.write(snapshot.name + "_TVN_logpower.csv",
               log_power_table({&column, 1}, settings.cycle_seconds));
  Report report;
  report.name = snapshot.name;
  report.table = recording_table(settings, std::time(nullptr), cycles.size(), n_samples,
                                 rr_seconds.size(), markers);
  report.cycle_values = cycles;
  report.mean = rhythm->mean_log_power;
  report.hr_series = std::move(hr_series);
  report.sex = sex_letter(settings.sex);
  report.age = settings.age;
  report.cycle_seconds = settings.cycle_seconds;
  report.markers = report_markers(markers);
  RhythmImages images =
      draw_rhythm(rhythm->tfr, {report.sex, settings.age, settings.cycle_seconds});
  report.high_time = std::move(images.high_time);
  report.high_frequency = std::move(images.high_frequency);
  folder.write(snapshot.name + "_report.pdf", report_pdf(report));
}

std::string failure_of(const std::string& name) {
  return name + " could not be written.";
}

// The result as JSON. The folder is told by its plain name even when another of that name made it
// <name>-2_export.
std::string export_result(const std::string& name, const std::vector<std::string>& failed) {
  std::string result = R"({"folder":)" + json_quote(name + "_export");
  for (std::size_t i = 0; i < failed.size(); ++i) {
    result += i == 0 ? R"(,"errors":[)" : ",";
    result += json_quote(failure_of(failed[i]));
  }
  return result + (failed.empty() ? "}" : "]}");
}

// Throws, naming all of it, when nothing could be written into the folder.
std::string write_export(const ExportSnapshot& snapshot, const std::string& path,
                         std::vector<std::string>& failed) {
  FolderWriter folder(path);
  const std::span<const double> ecg = snapshot.recording.ecg.samples();
  const std::vector<double> rr_seconds = rr_intervals_of(ecg);
  std::vector<double> hr_series = build_hr_series(ecg, rr_seconds, k_ecg_rate);
  write_recording(snapshot, hr_series, folder);
  write_rhythm(snapshot, rr_seconds, std::move(hr_series), folder);
  failed.insert(failed.end(), folder.failed().begin(), folder.failed().end());
  if (!folder.written().empty()) return export_result(snapshot.name, failed);
  std::error_code not_empty;
  std::filesystem::remove(path, not_empty);
  throw std::runtime_error("Nothing could be written.");
}

// What ended the export, and what else failed before.
std::string failure_text_of(const std::exception& failure,
                            const std::vector<std::string>& failed) noexcept {
  std::string text = failure_text("", failure);
  try {
    for (const std::string& name : failed) text += " " + failure_of(name);
  } catch (const std::exception&) {  // no memory for more
  }
  return text;
}

}  // namespace

ExportSnapshot take_export(const Engine& engine) {
  return {take_recording(engine),
          {engine.sex, engine.age, engine.indur, engine.outdur, engine.cycle_seconds},
          export_base_name(recording_base_name(engine)),
          static_cast<std::uint64_t>(engine.run_started_at)};
}

void start_export(Engine& engine) {
  std::optional<ExportSnapshot> snapshot = begin_export(engine);
  if (!snapshot) return;
  const std::uint64_t run_number = snapshot->recording.run_number;
  try {
    std::thread([&engine, snapshot = std::move(*snapshot), writing = WritingFiles(engine)] {
      run_export(engine, snapshot);
    }).detach();
  } catch (const std::exception& no_thread) {
    publish(engine, run_number, "error", "", failure_text("", no_thread));
    throw;
  }
}

void run_export(Engine& engine, const ExportSnapshot& snapshot) noexcept {
  const std::uint64_t run_number = snapshot.recording.run_number;
  std::vector<std::string> failed;
  try {
    failed = save_recording(engine, snapshot.recording).failed;
    const std::string path = make_export_folder(engine.data_dir + "/exports", snapshot.name);
    publish(engine, run_number, "done", write_export(snapshot, path, failed), "");
  } catch (const std::exception& failure) {
    publish(engine, run_number, "error", "", failure_text_of(failure, failed));
  }
}

}  // namespace tvn
