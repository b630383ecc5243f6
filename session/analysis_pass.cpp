#include "session/analysis_pass.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

#include "base/json.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr std::size_t k_window_samples = 780;  // 6 s
constexpr std::size_t k_fewest_chart_points = 600;
constexpr int k_cycles_per_window = 2;
constexpr double k_grid_step = 0.1;  // seconds
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

double last_defined(const std::vector<double>& series) {
  const auto found =
      std::find_if(series.rbegin(), series.rend(), [](double value) { return !std::isnan(value); });
  return found == series.rend() ? k_nan : *found;
}

// Every step-th grid point of `series`, over the points of the heart-rate grid; null where the
// series has no value.
std::vector<SeriesPoint> chart_of(std::span<const double> series, std::size_t grid_points) {
  const std::size_t step = std::max<std::size_t>(grid_points / k_fewest_chart_points, 1);
  std::vector<SeriesPoint> chart;
  chart.reserve(grid_points / step + 1);
  for (std::size_t i = 0; i < grid_points; i += step) {
    const double x = round_to(static_cast<double>(i) * k_grid_step, 10.0);
    const double y = i < series.size() ? series[i] : k_nan;
    chart.push_back({x, y, std::isnan(y)});
  }
  return chart;
}

std::string chart_json(const std::vector<SeriesPoint>& chart) {
  std::string json = "[";
  for (const SeriesPoint& point : chart) {
    json += json.size() > 1 ? ",{\"x\":" : "{\"x\":";
    append_json_number(json, point.x);
    json += ",\"y\":";
    append_json_number(json, point.is_null ? k_nan : point.y);
    json += '}';
  }
  json += ']';
  return json;
}

std::vector<double> window_of(std::span<const double> ecg) {
  const auto last = ecg.last(std::min(ecg.size(), k_window_samples));
  std::vector<double> window;
  window.reserve(last.size());
  for (const double sample : last) window.push_back(round_to(sample, 10.0));
  return window;
}

}  // namespace

PassInput take_pass_input(Engine& engine) {
  const SessionLock hold(engine.lock);
  return {recorded_ecg(engine), engine.pass_memory, engine.cycle_seconds, engine.run_number,
          ++engine.passes_begun};
}

std::optional<PassResult> compute_pass(const EcgView& ecg, double cycle_seconds,
                                       RunningAnalysis& analysis) {
  const std::span<const double> samples = ecg.samples();
  if (samples.size() < k_fewest_analysed_samples) return std::nullopt;
  const std::vector<double> rr = analysis.beats.rr_intervals(samples);
  if (rr.empty()) return std::nullopt;
  const std::vector<double>& hr = analysis.hr.series(samples.size(), rr);
  const auto n_samples = truncate_to<std::int32_t>(static_cast<double>(samples.size()));
  const std::vector<double>& tvn =
      analysis.tvn.series(rr, n_samples, {k_cycles_per_window, cycle_seconds, k_grid_step});
  PassResult result;
  result.hr = hr.empty() ? k_nan : hr.back();
  result.tvn = last_defined(tvn);
  result.rr_count = truncate_to<int>(static_cast<double>(rr.size()));
  result.hr_series = chart_of(hr, hr.size());
  result.tvn_series = chart_of(tvn, hr.size());
  result.hr_series_json = chart_json(result.hr_series);
  result.tvn_series_json = chart_json(result.tvn_series);
  result.ecg_window = window_of(samples);
  return result;
}

bool publish_pass(Engine& engine, const PassInput& input, PassResult result) {
  SharedText hr_series_json(std::move(result.hr_series_json));
  SharedText tvn_series_json(std::move(result.tvn_series_json));
  const SessionLock hold(engine.lock);
  const bool current = input.run_number == engine.run_number;
  if (!current || input.pass_number <= engine.pass_published) return false;
  engine.pass_published = input.pass_number;
  engine.hr = result.hr;
  engine.tvn = result.tvn;
  engine.rr_count = result.rr_count;
  // Allocated before, and swapped so that the old series are freed after the lock is released.
  engine.hr_series.swap(result.hr_series);
  engine.tvn_series.swap(result.tvn_series);
  std::swap(engine.hr_series_json, hr_series_json);
  std::swap(engine.tvn_series_json, tvn_series_json);
  engine.ecg_window.swap(result.ecg_window);
  return true;
}

void analyse_once(Engine& engine) noexcept {
  try {
    const PassInput input = take_pass_input(engine);
    std::optional<PassResult> result;
    {
      const MutexLock in_use(input.memory->in_use);
      result = compute_pass(input.ecg, input.cycle_seconds, input.memory->analysis);
    }
    if (result) publish_pass(engine, input, std::move(*result));
  } catch (...) {
    // The next pass, a second later, tries again; earlier results stay until then.
  }
}

}  // namespace tvn
