#include "analysis/rhythm/hr_series.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "analysis/rhythm/interpolation.h"
#include "analysis/rhythm/rate_bumps.h"
#include "analysis/rhythm/time_grid.h"

namespace tvn {
namespace {

constexpr double k_seconds_per_minute = 60;
// The window reaches 5 points back and 4 ahead; the reflection adds 10 on either side, which takes
// a series of 11.
constexpr std::size_t k_points_back = 5;
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

std::vector<double> rates_on_grid(const BeatRates& beats, std::vector<double> grid) {
  KnotSearch search(beats.times);
  for (double& point : grid) {
    const double x = point;
    point = x <= beats.times.front() ? beats.rates.front()
            : x >= beats.times.back()
                ? beats.rates.back()
                : interpolate_at(x, search.interval_at(x), beats.times, beats.rates);
  }
  return grid;
}

// Each result is the weighted sum over the 10 points from 5 before to 4 after, in this order.
std::vector<double> smooth(const std::vector<double>& values) {
  const std::size_t n = values.size();
  std::vector<double> padded(n + 2 * k_reflected_points);
  std::copy(values.begin(), values.end(), padded.begin() + k_reflected_points);
  for (std::size_t k = 1; k <= k_reflected_points; ++k) {
    padded[k_reflected_points - k] = values[k];
    padded[k_reflected_points + n - 1 + k] = values[n - 1 - k];
  }
  std::vector<double> smoothed(n);
  // Four results at a time, each summed in the same order, keep the adder busy.
  const auto smooth_run = [&]<std::size_t Count>(std::size_t i) {
    const double* const first = padded.data() + i + k_reflected_points - k_points_back;
    double sums[Count] = {};
    for (std::size_t k = 0; k < hr_smoothing_window.size(); ++k) {
      for (std::size_t j = 0; j < Count; ++j) sums[j] += hr_smoothing_window[k] * first[k + j];
    }
    for (std::size_t j = 0; j < Count; ++j) smoothed[i + j] = sums[j] / k_hr_smoothing_divisor;
  };
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) smooth_run.template operator()<4>(i);
  for (; i < n; ++i) smooth_run.template operator()<1>(i);
  return smoothed;
}

}  // namespace

std::vector<double> build_hr_series(std::span<const double> ecg_samples,
                                    std::span<const double> rr_seconds, double fs) {
  return build_hr_series(ecg_samples.size(), rr_seconds, fs);
}

std::vector<double> build_hr_series(std::size_t n_samples, std::span<const double> rr_seconds,
                                    double fs) {
  if (rr_seconds.empty()) return {};
  std::vector<double> rates = rates_on_grid(beat_rates(rr_seconds), time_grid(n_samples, fs));
  if (rates.size() > k_reflected_points) rates = smooth(rates);
  bridge_bumps(rates, k_bump_window_points, std::numeric_limits<double>::infinity());
  return rates;
}

}  // namespace tvn
