// The text files of an export and of a batch, and the table at the top of their reports. All lines
// end with a line feed; numbers have a point in every locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "export/report/report.h"
#include "session/markers.h"

namespace tvn {

// `text` as a field of a CSV file (RFC 4180): in quotes where it needs them.
std::string csv_field(const std::string& text);

// The keys of the markers that fall into breathing cycle `cycle`, counted from 0, with spaces
// between them.
std::string markers_of_cycle(std::span<const Marker> markers, std::size_t cycle,
                             double cycle_seconds);

// One heart rate per line, to 6 significant digits.
std::string hr_text(std::span<const double> hr_series);

// A recording's columns in the table of log power per breathing cycle.
struct LogPowerColumn {
  std::string heading;
  std::vector<double> values;  // per cycle; NaN without a value
  double mean = 0;             // may be NaN
  std::vector<Marker> markers;
  std::string markers_heading;  // of the column that stands behind it if there are markers
};

// The table as CSV (RFC 4180): "cycle" and the headings, a row per cycle of the longest recording,
// and a last row "pow" with the means. A marker stands in the cycle it falls into, several ones
// with spaces between them. What is missing is an empty field.
std::string log_power_table(std::span<const LogPowerColumn> columns, double cycle_seconds);

// The breathing and the person, as the tables of all reports tell them.
struct ReportSettings {
  std::string sex;  // as the user gave it
  std::int32_t age = 40;
  double indur = 5, outdur = 11, cycle_seconds = 16;  // seconds
};

// How reports tell a date: local time, "2026-01-31 09:30".
std::string report_date(std::time_t when);

// Date, person and breathing; date: of report_date.
ReportTable batch_table(const ReportSettings& settings, const std::string& date);

// Besides these what is particular to a recording. r_peaks: number of RR intervals.
ReportTable recording_table(const ReportSettings& settings, std::time_t date, std::size_t n_cycles,
                            std::size_t n_samples, std::size_t r_peaks,
                            std::span<const Marker> markers);

// The markers in seconds and with their numbers as labels.
std::vector<PdfMarker> report_markers(std::span<const Marker> markers);

}  // namespace tvn
