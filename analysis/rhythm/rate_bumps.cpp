#include "analysis/rhythm/rate_bumps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>

#include "analysis/beats/peaks.h"
#include "analysis/statistics.h"

namespace tvn {
namespace {

constexpr double k_bump_prominence = 4.0;
// The quick decision is left to the slow one where rounding could turn it: where the highest score
// comes near the limit; where the rates spread little against their size (20 million roundings
// shift the mean by 2e-5 of the least spread); and where squares lose their digits.
constexpr double k_surely_low_score = 3.99;
constexpr double k_least_relative_sd = 1e-4;
constexpr double k_least_sd = 1e-140;

}  // namespace

// One pass with several sums and bounds, which the processor works on side by side; relative to the
// first rate, so that the squares keep their digits.
bool surely_without_bumps(std::span<const double> rates) {
  constexpr std::size_t k_lanes = 8;
  if (rates.empty()) return true;
  const double first = rates.front();
  std::array<double, k_lanes> sums{}, squares{}, lows{}, highs{};
  const auto take = [&](std::size_t lane, double rate) {
    const double value = rate - first;
    sums[lane] += value;
    squares[lane] += value * value;
    lows[lane] = value < lows[lane] ? value : lows[lane];
    highs[lane] = value > highs[lane] ? value : highs[lane];
  };
  std::size_t i = 0;
  for (; i + k_lanes <= rates.size(); i += k_lanes) {
    for (std::size_t lane = 0; lane < k_lanes; ++lane) take(lane, rates[i + lane]);
  }
  for (; i < rates.size(); ++i) take(0, rates[i]);
  const auto n = static_cast<double>(rates.size());
  const double centre = std::accumulate(sums.begin(), sums.end(), 0.0) / n;
  const double square = std::accumulate(squares.begin(), squares.end(), 0.0) / n;
  const double sd = std::sqrt(square - centre * centre);
  const double low = *std::ranges::min_element(lows), high = *std::ranges::max_element(highs);
  const double largest = std::max(std::fabs(first + low), std::fabs(first + high));
  // Where a rate is not a number or infinite, so is the deviation.
  return std::isfinite(sd) && sd > std::max(k_least_sd, k_least_relative_sd * largest) &&
         std::max(centre - low, high - centre) < k_surely_low_score * sd;
}

// A prominence is at most the height of its peak, so only peaks of the z-score that reach the limit
// themselves are looked at; in most recordings neither the highest nor the lowest rate does.
void bridge_bumps(std::vector<double>& rates, double window_points, double largest_sd) {
  if (rates.empty()) return;
  const auto [centre, sd] = spread_of(rates);
  if (!(sd > 0) || !(sd <= largest_sd)) return;
  const auto score = [centre = centre, sd = sd](double rate) {
    return std::fabs((rate - centre) / sd);
  };
  const auto [lowest, highest] = std::minmax_element(rates.begin(), rates.end());
  if (score(*lowest) < k_bump_prominence && score(*highest) < k_bump_prominence) return;
  std::vector<double> z(rates.size());
  std::transform(rates.begin(), rates.end(), z.begin(), score);
  std::vector<int32_t> peaks = local_maxima(z);
  std::erase_if(peaks,
                [&](int32_t i) { return !(z[static_cast<std::size_t>(i)] >= k_bump_prominence); });
  for (const PeakProminence& p : peak_prominences(z, peaks, window_points)) {
    if (!(p.prominence >= k_bump_prominence)) continue;
    // The first value is kept, so that there always is something to bridge from.
    for (int32_t i = std::max(p.left_base, 1); i < p.right_base; ++i) {
      rates[static_cast<std::size_t>(i)] = std::numeric_limits<double>::quiet_NaN();
    }
  }
  fill_nan_gaps(rates);
}

void fill_nan_gaps(std::span<double> values) {
  const auto missing = [](double value) { return std::isnan(value); };
  auto valid = std::find_if_not(values.begin(), values.end(), missing);
  if (valid == values.end()) return;
  std::fill(values.begin(), valid, *valid);
  while (true) {
    const auto gap = std::find_if(valid, values.end(), missing);
    if (gap == values.end()) return;
    const double left = *(gap - 1);
    valid = std::find_if_not(gap, values.end(), missing);
    if (valid == values.end()) {
      std::fill(gap, valid, left);
      return;
    }
    const double difference = *valid - left;
    const auto parts = static_cast<double>(valid - gap + 1);
    for (auto it = gap; it != valid; ++it) {
      *it = left + difference * static_cast<double>(it - gap + 1) / parts;
    }
  }
}

}  // namespace tvn
