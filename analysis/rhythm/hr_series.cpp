#include "analysis/rhythm/hr_series.h"

#include <algorithm>
#include <limits>

#include "analysis/rhythm/rate_bumps.h"

namespace tvn {
namespace {

constexpr double k_seconds_per_minute = 60;
// The window reaches 5 points back and 4 ahead. The reflection is one of 10 points on either side,
// which takes a series of 11.
constexpr std::ptrdiff_t k_points_back = 5;
constexpr std::size_t k_points_ahead = 4;
constexpr std::size_t k_reflected_points = 10;
// Prominences are measured within 2.5 s on either side.
constexpr double k_bump_window_points = 50;

// Rates at the beat times: one more beat than intervals.
struct BeatRates {
  std::vector<double> times, rates;
};

BeatRates beat_rates(std::span<const double> rr_seconds) {
  BeatRates beats;
  beats.times.reserve(rr_seconds.size() + 1);
  beats.rates.reserve(rr_seconds.size() + 1);
  beats.times.push_back(0);
  for (const double rr : rr_seconds) {
    beats.rates.push_back(k_seconds_per_minute / rr);
    beats.times.push_back(beats.times.back() + rr);
  }
  const double last = beats.rates.back();
  const std::size_t n = beats.rates.size();
  beats.rates.push_back(n > 1 ? last + (last - beats.rates[n - 2]) : last);
  return beats;
}

// The rates at the grid points from `from` on.
void draw(const BeatRates& beats, std::span<const double> grid, std::size_t from,
          std::vector<double>& curve) {
  KnotSearch search(beats.times);
  for (std::size_t i = from; i < grid.size(); ++i) {
    const double x = grid[i];
    curve[i] = x <= beats.times.front() ? beats.rates.front()
               : x >= beats.times.back()
                   ? beats.rates.back()
                   : interpolate_at(x, search.interval_at(x), beats.times, beats.rates);
  }
}

// The values that the results from `from` on are made of, the curve's ends reflected.
std::vector<double> padded_from(std::size_t from, const std::vector<double>& curve) {
  std::vector<double> padded(curve.size() - from + hr_smoothing_window.size() - 1);
  const auto last = static_cast<std::ptrdiff_t>(curve.size()) - 1;
  std::ptrdiff_t at = static_cast<std::ptrdiff_t>(from) - k_points_back;
  for (double& value : padded) {
    const std::ptrdiff_t inside = at < 0 ? -at : at > last ? 2 * last - at : at;
    value = curve[static_cast<std::size_t>(inside)];
    ++at;
  }
  return padded;
}

// Each result from `from` on is the weighted sum over the 10 points from 5 before to 4 after, in
// this order.
void smooth(const std::vector<double>& curve, std::size_t from, std::vector<double>& smoothed) {
  const std::vector<double> padded = padded_from(from, curve);
  // Four results at a time, each summed in the same order, keep the adder busy.
  const auto smooth_run = [&]<std::size_t Count>(std::size_t i) {
    const double* const first = padded.data() + (i - from);
    double sums[Count] = {};
    for (std::size_t k = 0; k < hr_smoothing_window.size(); ++k) {
      for (std::size_t j = 0; j < Count; ++j) sums[j] += hr_smoothing_window[k] * first[k + j];
    }
    for (std::size_t j = 0; j < Count; ++j) smoothed[i + j] = sums[j] / k_hr_smoothing_divisor;
  };
  const std::size_t n = curve.size();
  std::size_t i = from;
  for (; i + 4 <= n; i += 4) smooth_run.template operator()<4>(i);
  for (; i < n; ++i) smooth_run.template operator()<1>(i);
}

}  // namespace

std::vector<double> build_hr_series(std::span<const double> ecg_samples,
                                    std::span<const double> rr_seconds, double fs) {
  return build_hr_series(ecg_samples.size(), rr_seconds, fs);
}

std::vector<double> build_hr_series(std::size_t n_samples, std::span<const double> rr_seconds,
                                    double fs) {
  return RunningHr(fs).series(n_samples, rr_seconds);
}

const std::vector<double>& RunningHr::series(std::size_t n_samples,
                                             std::span<const double> rr_seconds) {
  bridged_.clear();
  if (rr_seconds.empty()) return bridged_;
  try {
    update(n_samples, rr_seconds);
    if (surely_without_bumps(smoothed_)) return smoothed_;
    bridged_ = smoothed_;
    bridge_bumps(bridged_, k_bump_window_points, std::numeric_limits<double>::infinity());
    return bridged_;
  } catch (...) {  // what is kept may be half of an old call's and half of this one's
    *this = RunningHr(fs_);
    throw;
  }
}

void RunningHr::update(std::size_t n_samples, std::span<const double> rr_seconds) {
  const std::vector<double>& grid = grid_.extend(n_samples);
  const BeatRates beats = beat_rates(rr_seconds);
  const std::size_t from =
      std::min(knots_.changed_from(beats.times, beats.rates, grid), rates_.size());
  rates_.resize(grid.size());
  draw(beats, grid, from, rates_);
  smoothed_.resize(grid.size());
  if (grid.size() <= k_reflected_points) {
    smoothed_ = rates_;
  } else {
    smooth(rates_, from > k_reflected_points ? from - k_points_ahead : 0, smoothed_);
  }
}

}  // namespace tvn
