#include "export/export_texts.h"

#include <algorithm>
#include <cmath>

#include "base/clock.h"
#include "base/json.h"
#include "base/number_text.h"
#include "base/rounding.h"
#include "session/engine.h"

namespace tvn {
namespace {

constexpr int k_digits = 6;
constexpr std::size_t k_most_listed_markers = 12;  // what a line of the report holds

std::string value_field(double value) {
  return std::isnan(value) ? "" : general_text(value, k_digits);
}

std::string markers_within(std::span<const Marker> markers, double from, double to) {
  std::string text;
  for (const Marker& marker : markers) {
    const double seconds = marker_seconds(marker);
    if (seconds < from || seconds >= to) continue;
    if (!text.empty()) text += ' ';
    text += std::to_string(marker.key);
  }
  return text;
}

std::string listed_markers(std::span<const Marker> markers) {
  std::string text;
  for (std::size_t i = 0; i < std::min(markers.size(), k_most_listed_markers); ++i) {
    if (i > 0) text += ", ";
    text +=
        std::to_string(markers[i].key) + " @ " + fixed_text(marker_seconds(markers[i]), 1) + " s";
  }
  return markers.size() > k_most_listed_markers ? text + ", ..." : text;
}

}  // namespace

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string markers_of_cycle(std::span<const Marker> markers, std::size_t cycle,
                             double cycle_seconds) {
  const auto i = static_cast<double>(cycle);
  return markers_within(markers, i * cycle_seconds, (i + 1) * cycle_seconds);
}

std::string hr_text(std::span<const double> hr_series) {
  std::string text;
  text.reserve(hr_series.size() * 8);
  for (const double rate : hr_series) text += general_text(rate, k_digits) + '\n';
  return text;
}

std::string log_power_table(std::span<const LogPowerColumn> columns, double cycle_seconds) {
  std::size_t n_cycles = 0;
  std::string text = "cycle";
  for (const LogPowerColumn& column : columns) {
    n_cycles = std::max(n_cycles, column.values.size());
    text += ',' + csv_field(column.heading);
    if (!column.markers.empty()) text += ',' + csv_field(column.markers_heading);
  }
  text += '\n';
  for (std::size_t i = 0; i < n_cycles; ++i) {
    text += std::to_string(i);
    for (const LogPowerColumn& column : columns) {
      text += ',' + (i < column.values.size() ? value_field(column.values[i]) : "");
      if (!column.markers.empty()) text += ',' + markers_of_cycle(column.markers, i, cycle_seconds);
    }
    text += '\n';
  }
  text += "pow";
  for (const LogPowerColumn& column : columns) {
    text += ',' + value_field(column.mean);
    if (!column.markers.empty()) text += ',';
  }
  return text + '\n';
}

std::string report_date(std::time_t when) {
  return local_time_text(when, "%Y-%m-%d %H:%M");
}

ReportTable batch_table(const ReportSettings& settings, const std::string& date) {
  return {{"Date", date},
          {"Sex / Age", settings.sex + " / " + std::to_string(settings.age)},
          {"Periods",
           "in " + json_number(settings.indur) + " s / out " + json_number(settings.outdur) + " s"},
          {"Cycle length", json_number(settings.cycle_seconds) + " s"}};
}

ReportTable recording_table(const ReportSettings& settings, std::time_t date, std::size_t n_cycles,
                            std::size_t n_samples, std::size_t r_peaks,
                            std::span<const Marker> markers) {
  ReportTable table = batch_table(settings, report_date(date));
  const double frequency = round_to(1 / settings.cycle_seconds, 10000);
  const double duration = round_to(static_cast<double>(n_samples) / k_ecg_rate, 10);
  table.emplace_back("Expected frequency", json_number(frequency) + " Hz");
  table.emplace_back("Cycles recorded", std::to_string(n_cycles));
  table.emplace_back("Duration", json_number(duration) + " s");
  table.emplace_back("R-peaks", std::to_string(r_peaks));
  if (!markers.empty()) table.emplace_back("Markers", listed_markers(markers));
  return table;
}

std::vector<PdfMarker> report_markers(std::span<const Marker> markers) {
  std::vector<PdfMarker> result;
  result.reserve(markers.size());
  for (const Marker& marker : markers) {
    result.push_back({marker_seconds(marker), std::to_string(marker.key)});
  }
  return result;
}

}  // namespace tvn
