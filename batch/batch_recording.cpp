#include "batch/batch_recording.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <numeric>
#include <span>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "analysis/beats/rr_artifacts.h"
#include "analysis/rhythm/hr_series.h"
#include "analysis/rhythm/tvn_series.h"
#include "analysis/statistics.h"
#include "analysis/tfr/rows.h"
#include "base/files.h"
#include "base/rounding.h"
#include "recording/raw_ecg.h"
#include "recording/resampling.h"
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

// The intervals of a heart, as the choice of an ECG's polarity takes them: 40 to 182 per minute.
constexpr double k_shortest_plausible_rr = 0.33;
constexpr double k_longest_plausible_rr = 1.5;

// A TVN value looks back over two breathing cycles.
constexpr int k_cycles_per_window = 2;
constexpr double k_grid_step = 0.1;  // seconds

struct Beats {
  std::string label;
  std::size_t n_samples = 0;  // of the recording, at 130 per second
  std::vector<double> rr_seconds;
  std::vector<Marker> markers;
  bool is_raw_ecg = false;
};

using Read = std::variant<Beats, NoResult>;

Read kubios_beats(std::vector<double> intervals) {
  const std::size_t n = intervals.size();
  if (n < k_tfr_min_intervals) return NoResult::few_beats;
  if (median(intervals) > k_longest_in_seconds) {
    for (double& interval : intervals) interval /= 1000;
  }
  Beats beats;
  beats.rr_seconds = correct_rr_artifacts(intervals);
  const bool positive = std::ranges::all_of(beats.rr_seconds, [](double rr) { return rr > 0; });
  const double seconds = std::accumulate(beats.rr_seconds.begin(), beats.rr_seconds.end(), 0.0);
  if (!positive) return NoResult::odd_intervals;
  if (!(seconds <= k_longest_seconds)) return NoResult::too_long;
  // The nearest sample: a sum of 79.99999999999999 s is 80 s, and has its last breathing cycle.
  beats.n_samples = round_to_integer<std::size_t>(seconds * k_ecg_rate);
  beats.label = "Kubios RR (" + std::to_string(n) + " beats)";
  return beats;
}

// Frees `content` before the analysis, which needs much memory itself.
Read ecg_beats(const std::string& path, std::string content, double rate) {
  const double most = static_cast<double>(k_longest_recording) * std::max(rate / k_ecg_rate, 1.0);
  std::vector<double> samples = parse_raw_ecg(content, static_cast<std::size_t>(most) + 1);
  std::string().swap(content);  // an assignment would keep the memory
  const std::vector<double> ecg = resample_to_130(std::move(samples), rate);
  if (ecg.empty()) return NoResult::no_samples;
  if (ecg.size() > k_longest_recording) return NoResult::too_long;
  return Beats{recording_label(path), ecg.size(), rr_intervals_of(ecg), read_markers(path), true};
}

Read read_beats(const std::string& path, double rate) {
  std::error_code unreadable;
  const std::uintmax_t size = std::filesystem::file_size(path, unreadable);
  if (!unreadable && size > k_largest_file) return NoResult::too_large;
  std::string content;
  if (!read_file(path, content)) return NoResult::unreadable;
  if (looks_like_kubios(content)) return kubios_beats(parse_kubios_rr(content));
  return ecg_beats(path, std::move(content), rate);
}

double last_tvn(const Beats& beats, double cycle_seconds) {
  const auto n_samples = truncate_to<std::int32_t>(static_cast<double>(beats.n_samples));
  const std::vector<double> series = compute_tvn_series(
      beats.rr_seconds, n_samples, k_cycles_per_window, cycle_seconds, k_ecg_rate, k_grid_step);
  const auto found =
      std::find_if(series.rbegin(), series.rend(), [](double value) { return !std::isnan(value); });
  return found == series.rend() ? std::numeric_limits<double>::quiet_NaN() : *found;
}

// The correction of artefacts takes the longest intervals for missed beats, so that at a rate far
// too low those that are left may look like a heart's: the recording's length tells.
bool is_no_heart(std::span<const double> rr_seconds, double seconds) {
  const auto is_plausible = [](double rr) {
    return rr >= k_shortest_plausible_rr && rr <= k_longest_plausible_rr;
  };
  const auto plausible = std::ranges::count_if(rr_seconds, is_plausible);
  return 2 * static_cast<std::size_t>(plausible) < rr_seconds.size() ||
         !is_plausible(seconds / static_cast<double>(rr_seconds.size()));
}

RecordingNumbers numbers_of(const Beats& beats, std::span<const double> hr_series,
                            double cycle_seconds) {
  const double seconds = static_cast<double>(beats.n_samples) / k_ecg_rate;
  return {seconds,
          beats.rr_seconds.size(),
          mean_of_known(hr_series),
          last_tvn(beats, cycle_seconds),
          is_no_heart(beats.rr_seconds, seconds),
          beats.is_raw_ecg};
}

BatchResult result_of(Beats beats, const RhythmAnalysis& rhythm, const AnalysisSettings& settings,
                      unsigned threads) {
  const std::vector<double> hr_series =
      build_hr_series(beats.n_samples, beats.rr_seconds, k_ecg_rate);
  const RhythmImages images = draw_rhythm(rhythm.tfr, settings);
  const std::vector<PdfMarker> markers = report_markers(beats.markers);
  const BatchRecording recording{
      beats.label, rhythm.tfr.cycle_log_power, rhythm.mean_log_power, hr_series,
      markers,     images.high_time,           images.high_frequency};
  const RecordingNumbers numbers = numbers_of(beats, hr_series, settings.cycle_seconds);
  LogPowerColumn column{beats.label, rhythm.tfr.cycle_log_power, rhythm.mean_log_power,
                        std::move(beats.markers), beats.label + "_markers"};
  return {std::move(column), batch_report_entry(recording, settings.cycle_seconds, threads),
          numbers};
}

}  // namespace

std::string_view reason_text(NoResult reason) {
  switch (reason) {
    case NoResult::unreadable:
      return "cannot be read";
    case NoResult::too_large:
      return "is larger than 1 GB";
    case NoResult::too_long:
      return "is longer than 48 h";
    case NoResult::no_samples:
      return "is no recording: it has no line that is a number";
    case NoResult::few_beats:
      return "has fewer than 3 intervals between beats";
    case NoResult::odd_intervals:
      return "has intervals that are not above 0";
    case NoResult::too_short:
      return "is shorter than a breathing cycle";
  }
  return "";
}

std::string recording_label(const std::string& path) {
  return std::filesystem::path(path).stem().string();
}

BatchOutcome analyse_file(const std::string& path, const AnalysisSettings& settings,
                          const BatchReading& reading) {
  Read read = read_beats(path, reading.rate);
  if (const NoResult* reason = std::get_if<NoResult>(&read)) return {std::nullopt, *reason};
  Beats& beats = std::get<Beats>(read);
  if (beats.rr_seconds.size() < k_tfr_min_intervals) return {std::nullopt, NoResult::few_beats};
  const auto rhythm =
      analyse_rhythm(beats.n_samples, beats.rr_seconds, settings.cycle_seconds, reading.threads);
  if (!rhythm) return {std::nullopt, NoResult::too_short};
  return {result_of(std::move(beats), *rhythm, settings, reading.threads), {}};
}

}  // namespace tvn
