#include "batch/command/recording_line.h"

#include <cmath>

#include "analysis/tfr/image.h"
#include "base/json.h"
#include "base/number_text.h"
#include "base/rounding.h"
#include "base/version.h"
#include "batch/command/json_line.h"

namespace tvn {
namespace {

// The line's end: two runs whose lines end alike have done the same.
std::string settings_end(const PersonPlan& plan) {
  return R"("program_version":)" + json_string(APP_VERSION) + "," + settings_members(plan) + "}";
}

std::string head_of(const PersonPlan& plan, const std::string& label, const std::string& path) {
  return R"({"person":)" + json_string(plan.person) + R"(,"recording":)" + json_string(label) +
         R"(,"file":)" + json_string(path);
}

void add(std::string& line, const char* key, const std::string& value) {
  line += std::string(",\"") + key + "\":" + value;
}

std::string list_of(std::span<const double> values) {
  std::string list;
  for (const double value : values) list += (list.empty() ? "" : ",") + json_number(value);
  return "[" + list + "]";
}

std::string marker_list(const LogPowerColumn& column, double cycle_seconds) {
  std::string list;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    list += i == 0 ? "" : ",";
    list += json_string(markers_of_cycle(column.markers, i, cycle_seconds));
  }
  return "[" + list + "]";
}

double normative_level(const ReportSettings& report) {
  return normative_log_power(sex_code_of(report.sex), report.age);
}

}  // namespace

std::string warning_of(const BatchResult& result, double rate) {
  if (!result.numbers.is_no_heart) return "";
  const double per_minute = 60 * static_cast<double>(result.numbers.beats) / result.numbers.seconds;
  std::string found = "the beats found are no heart's (" + fixed_text(per_minute, 1) + " a minute)";
  if (!result.numbers.is_raw_ecg) return found;
  return found + ": is the recording's rate " + general_text(rate, 6) + " Hz?";
}

std::string recording_line(const PersonPlan& plan, const std::string& path,
                           const BatchOutcome& outcome, std::string_view reason) {
  const ReportSettings& report = plan.settings.report;
  const BatchResult* result = outcome.result ? &*outcome.result : nullptr;
  const auto number = [&](double value) { return result == nullptr ? "null" : json_number(value); };
  const RecordingNumbers numbers = result == nullptr ? RecordingNumbers{} : result->numbers;
  std::string line =
      head_of(plan, result == nullptr ? recording_label(path) : result->column.heading, path);
  add(line, "seconds", number(numbers.seconds));
  add(line, "beats", result == nullptr ? "null" : std::to_string(numbers.beats));
  add(line, "mean_heart_rate", number(numbers.mean_heart_rate));
  add(line, "breathing_frequency", json_number(round_to(1 / report.cycle_seconds, 10000)));
  add(line, "last_tvn", number(numbers.last_tvn));
  add(line, "mean_log_power", number(result == nullptr ? 0 : result->column.mean));
  add(line, "cycles", std::to_string(result == nullptr ? 0 : result->column.values.size()));
  add(line, "normative_level", json_number(normative_level(report)));
  add(line, "warning",
      json_string(result == nullptr ? std::string(reason) : warning_of(*result, plan.rate)));
  add(line, "cycle_seconds", json_exact(report.cycle_seconds));
  add(line, "log_power", result == nullptr ? "[]" : list_of(result->column.values));
  if (result != nullptr && !result->column.markers.empty()) {
    add(line, "markers", marker_list(result->column, report.cycle_seconds));
  }
  return line + "," + settings_end(plan);
}

bool is_line_of(std::string_view line, const PersonPlan& plan, const std::string& path) {
  if (!line.ends_with("," + settings_end(plan))) return false;
  const auto object = read_json_object(line);
  return object && text_member(*object, "file") == path &&
         text_member(*object, "person") == plan.person;
}

}  // namespace tvn
