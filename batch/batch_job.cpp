#include "batch/batch_job.h"

#include <ctime>
#include <exception>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "base/failure_text.h"
#include "base/names.h"
#include "batch/batch_files.h"
#include "batch/batch_recording.h"
#include "export/export_folder.h"

namespace tvn {
namespace {

std::optional<BatchArguments> begin_batch(Engine& engine, const std::string& root, bool single,
                                          const std::string& name) {
  const SessionLock hold(engine.lock);
  if (engine.batch_running) return std::nullopt;
  BatchArguments arguments{
      root,
      single,
      name,
      {engine.sex, engine.age, engine.indur, engine.outdur, engine.cycle_seconds}};
  engine.batch_running = true;
  engine.batch_status = "running";
  engine.batch_total = 0;
  engine.batch_done = 0;
  engine.batch_msg = "Scanning…";
  engine.batch_result.clear();
  return arguments;
}

void say(Engine& engine, std::string message) {
  const SessionLock hold(engine.lock);
  engine.batch_msg = std::move(message);
}

void end_batch(Engine& engine, const char* status, std::string message, std::string result) {
  const SessionLock hold(engine.lock);
  engine.batch_status = status;
  engine.batch_msg = std::move(message);
  engine.batch_result = std::move(result);
  engine.batch_running.store(false, std::memory_order_release);
}

void announce_total(Engine& engine, const std::vector<BatchGroup>& groups) {
  std::size_t total = 0;
  for (const BatchGroup& group : groups) total += group.paths.size();
  const SessionLock hold(engine.lock);
  engine.batch_total = static_cast<std::uint32_t>(total);
  engine.batch_msg = total > 0
                         ? "Processing…"
                         : "No recordings (.txt raw ECG or .csv Kubios) found in that folder.";
}

// The columns and report entries of one person, in the order of the files.
struct PersonResults {
  std::vector<LogPowerColumn> columns;
  std::vector<BatchReportEntry> entries;
};

PersonResults analyse_group(Engine& engine, const BatchGroup& group,
                            const AnalysisSettings& settings) {
  PersonResults results;
  for (const std::string& path : group.paths) {
    say(engine, "Processing " + group.label + " / " + std::string(file_name_of(path)));
    if (auto result = analyse_file(path, settings)) {
      results.columns.push_back(std::move(result->column));
      results.entries.push_back(std::move(result->entry));
    }
    const SessionLock hold(engine.lock);
    ++engine.batch_done;
  }
  return results;
}

// Writes a person's table and report; throws with the system's reason when the folder cannot be
// made. The result is the report's.
WriteResult write_person(const std::string& exports_dir, const std::string& group_label,
                         const BatchArguments& arguments, PersonResults results) {
  const ReportSettings& settings = arguments.settings;
  const std::string label = export_base_name(sanitise_name(group_label));
  FolderWriter folder(make_export_folder(exports_dir, label));
  folder.write(label + "_TVN_logpower.csv",
               log_power_table(results.columns, settings.cycle_seconds));
  BatchReport report{label, batch_table(settings, std::time(nullptr)), sex_letter(settings.sex),
                     settings.age, std::move(results.entries)};
  return folder.write(label + "_report.pdf", batch_report_pdf(std::move(report)));
}

std::size_t write_reports(Engine& engine, const BatchArguments& arguments) {
  const std::vector<BatchGroup> groups =
      find_recordings(arguments.root, arguments.single, arguments.name);
  announce_total(engine, groups);
  const ReportSettings& settings = arguments.settings;
  const AnalysisSettings analysis{sex_letter(settings.sex), settings.age, settings.cycle_seconds};
  std::size_t reports = 0;
  std::error_code failure;
  for (const BatchGroup& group : groups) {
    PersonResults results = analyse_group(engine, group, analysis);
    if (results.entries.empty()) continue;
    const std::string exports_dir = engine.data_dir + "/exports";
    const WriteResult report =
        write_person(exports_dir, group.label, arguments, std::move(results));
    if (report) ++reports;
    if (!report) failure = report.error;
  }
  if (reports == 0 && failure) throw std::system_error(failure, "no report could be written");
  return reports;
}

}  // namespace

bool start_batch(Engine& engine, const std::string& root, bool single, const std::string& name) {
  std::optional<BatchArguments> arguments = begin_batch(engine, root, single, name);
  if (!arguments) return false;
  try {
    std::thread([&engine, arguments = std::move(*arguments)] {
      run_batch(engine, arguments);
    }).detach();
  } catch (const std::exception& no_thread) {
    end_batch(engine, "error", failure_text("Batch failed: ", no_thread), "");
    throw;
  }
  return true;
}

void run_batch(Engine& engine, const BatchArguments& arguments) noexcept {
  try {
    const std::string reports = std::to_string(write_reports(engine, arguments));
    end_batch(engine, "done",
              "Done — " + reports + " report(s) written to Documents/TVN-Live/exports.",
              R"({"reports":)" + reports + "}");
  } catch (const std::exception& failure) {
    end_batch(engine, "error", failure_text("Batch failed: ", failure), "");
  }
}

}  // namespace tvn
