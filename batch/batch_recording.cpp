#include "batch/batch_recording.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <system_error>
#include <utility>
#include <vector>

#include "analysis/beats/rr_artifacts.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/statistics.h"
#include "analysis/tfr/rows.h"
#include "base/files.h"
#include "base/rounding.h"
#include "recording/raw_ecg.h"
#include "recording/rr_export.h"
#include "session/engine.h"
#include "session/markers.h"

namespace tvn {
namespace {

// No heart beats once in 10 s: such intervals are milliseconds.
constexpr double k_longest_in_seconds = 10;
constexpr double k_longest_seconds = static_cast<double>(k_longest_recording) / k_ecg_rate;

// 48 h of ECG are some 200 MB; a file far larger would take the machine's memory and be none.
constexpr std::uintmax_t k_largest_file = 1'000'000'000;

struct Beats {
  std::string label;
  std::size_t n_samples = 0;  // of the recording, at 130 per second
  std::vector<double> rr_seconds;
  std::vector<Marker> markers;
};

std::optional<Beats> leave_out(const std::string& path, const char* why = "longer than 48 h") {
  std::fprintf(stderr, "Left out of the batch, as it is %s: %s\n", why, path.c_str());
  return std::nullopt;
}

std::optional<Beats> kubios_beats(const std::string& path, std::vector<double> intervals) {
  const std::size_t n = intervals.size();
  if (n < k_tfr_min_intervals) return std::nullopt;
  if (median(intervals) > k_longest_in_seconds) {
    for (double& interval : intervals) interval /= 1000;
  }
  Beats beats;
  beats.rr_seconds = correct_rr_artifacts(intervals);
  const bool positive = std::ranges::all_of(beats.rr_seconds, [](double rr) { return rr > 0; });
  const double seconds = std::accumulate(beats.rr_seconds.begin(), beats.rr_seconds.end(), 0.0);
  if (!positive) return std::nullopt;
  if (!(seconds <= k_longest_seconds)) return leave_out(path);
  // The nearest sample: a sum of 79.99999999999999 s is 80 s, and has its last breathing cycle.
  beats.n_samples = round_to_integer<std::size_t>(seconds * k_ecg_rate);
  beats.label = "Kubios RR (" + std::to_string(n) + " beats)";
  return beats;
}

// Frees `content` before the analysis, which needs much memory itself.
std::optional<Beats> ecg_beats(const std::string& path, std::string content) {
  const std::vector<double> ecg = parse_raw_ecg(content, k_longest_recording + 1);
  content = std::string();
  if (ecg.size() > k_longest_recording) return leave_out(path);
  return Beats{std::filesystem::path(path).stem().string(), ecg.size(), rr_intervals_of(ecg),
               read_markers(path)};
}

std::optional<Beats> read_beats(const std::string& path) {
  std::error_code unreadable;
  const std::uintmax_t size = std::filesystem::file_size(path, unreadable);
  if (!unreadable && size > k_largest_file) return leave_out(path, "larger than 1 GB");
  std::string content;
  if (!read_file(path, content)) return std::nullopt;
  if (looks_like_kubios(content)) return kubios_beats(path, parse_kubios_rr(content));
  return ecg_beats(path, std::move(content));
}

}  // namespace

std::optional<BatchResult> analyse_file(const std::string& path, const AnalysisSettings& settings) {
  std::optional<Beats> beats = read_beats(path);
  if (!beats) return std::nullopt;
  const auto rhythm = analyse_rhythm(beats->n_samples, beats->rr_seconds, settings.cycle_seconds);
  if (!rhythm) return std::nullopt;
  const std::vector<double> hr_series =
      build_hr_series(beats->n_samples, beats->rr_seconds, k_ecg_rate);
  const RhythmImages images = draw_rhythm(rhythm->tfr, settings);
  const std::vector<PdfMarker> markers = report_markers(beats->markers);
  const BatchRecording recording{
      beats->label,     rhythm->tfr.cycle_log_power, rhythm->mean_log_power, hr_series, markers,
      images.high_time, images.high_frequency};
  BatchReportEntry entry = batch_report_entry(recording, settings.cycle_seconds);
  LogPowerColumn column{beats->label, rhythm->tfr.cycle_log_power, rhythm->mean_log_power,
                        std::move(beats->markers), beats->label + "_markers"};
  return BatchResult{std::move(column), std::move(entry)};
}

}  // namespace tvn
