#include "batch/batch_job.h"

#include <cstdio>
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
#include "batch/batch_person.h"
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

// Tells of a file far too long or too large; what is no recording has always been passed over.
void tell_left_out(NoResult reason, const std::string& path) {
  if (reason != NoResult::too_long && reason != NoResult::too_large) return;
  const std::string why(reason_text(reason));
  std::fprintf(stderr, "Left out of the batch, as it %s: %s\n", why.c_str(), path.c_str());
}

void analyse_group(Engine& engine, const BatchGroup& group, const AnalysisSettings& settings,
                   BatchPerson& person) {
  for (const std::string& path : group.paths) {
    say(engine, "Processing " + group.label + " / " + std::string(file_name_of(path)));
    BatchOutcome outcome = analyse_file(path, settings);
    if (outcome.result) {
      person.add(std::move(outcome.result->column), std::move(outcome.result->entry));
    } else {
      tell_left_out(outcome.reason, path);
    }
    const SessionLock hold(engine.lock);
    ++engine.batch_done;
  }
}

std::size_t write_reports(Engine& engine, const BatchArguments& arguments) {
  const std::vector<BatchGroup> groups =
      find_recordings(arguments.root, arguments.single, arguments.name);
  announce_total(engine, groups);
  const std::string exports_dir = engine.data_dir + "/exports";
  const AnalysisSettings analysis = analysis_settings(arguments.settings);
  std::size_t reports = 0;
  std::error_code failure;
  for (const BatchGroup& group : groups) {
    BatchPerson person(exports_dir);
    analyse_group(engine, group, analysis, person);
    if (person.is_empty()) continue;
    const std::string label = person_label(group.label);
    const WriteResult report = person
                                   .write(make_export_folder(exports_dir, label), label,
                                          {arguments.settings, report_date(std::time(nullptr))})
                                   .report;
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
