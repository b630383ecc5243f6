#include "batch/command/tables.h"

#include <array>

#include "base/json.h"
#include "batch/command/json_line.h"
#include "export/export_texts.h"

namespace tvn {
namespace {

constexpr std::array k_summary_columns = {
    "person",          "recording",           "file",     "seconds",        "beats",
    "mean_heart_rate", "breathing_frequency", "last_tvn", "mean_log_power", "cycles",
    "normative_level", "program_version",     "warning"};

constexpr std::string_view k_cycles_head = "person,recording,file,cycle,begin,log_power,markers\n";

std::string cell(const JsonValue& value) {
  if (value.kind == JsonValue::Kind::text) return csv_field(value.text);
  return value.text == "null" ? "" : value.text;
}

const JsonValue* member(const JsonObject& object, const char* key, JsonValue::Kind kind) {
  const auto found = object.find(key);
  return found == object.end() || found->second.kind != kind ? nullptr : &found->second;
}

std::string summary_head() {
  std::string head;
  for (const char* column : k_summary_columns)
    head += (head.empty() ? "" : ",") + std::string(column);
  return head + '\n';
}

bool summary_row(const JsonObject& object, std::string& row) {
  for (const char* column : k_summary_columns) {
    const auto found = object.find(column);
    if (found == object.end() || found->second.kind == JsonValue::Kind::list) return false;
    row += (row.empty() ? "" : ",") + cell(found->second);
  }
  row += '\n';
  return true;
}

bool cycle_rows(const JsonObject& object, std::string& rows) {
  const JsonValue* values = member(object, "log_power", JsonValue::Kind::list);
  const JsonValue* markers = member(object, "markers", JsonValue::Kind::list);
  const auto cycle_seconds = number_member(object, "cycle_seconds");
  if (values == nullptr || !cycle_seconds) return false;
  std::string recording;
  for (const char* key : {"person", "recording", "file"}) recording += cell(object.at(key)) + ',';
  for (std::size_t i = 0; i < values->items.size(); ++i) {
    rows += recording + std::to_string(i) + ',';
    rows +=
        json_exact(static_cast<double>(i) * *cycle_seconds) + ',' + cell(values->items[i]) + ',';
    if (markers != nullptr && i < markers->items.size()) rows += cell(markers->items[i]);
    rows += '\n';
  }
  return true;
}

}  // namespace

BatchTables::BatchTables(const std::string& folder)
    : summary_(folder + "/" + std::string(k_summary_file)),
      cycles_(folder + "/" + std::string(k_cycles_file)) {
  summary_.append(summary_head());
  cycles_.append(k_cycles_head);
}

bool BatchTables::add(std::string_view line) {
  const auto object = read_json_object(line);
  std::string row, rows;
  if (!object || !summary_row(*object, row) || !cycle_rows(*object, rows)) return false;
  summary_.append(row);
  cycles_.append(rows);
  return true;
}

bool BatchTables::finish() {
  const bool summary{summary_.finish()};
  const bool cycles{cycles_.finish()};
  return summary && cycles;
}

}  // namespace tvn
