#include "analysis/rhythm/rate_bumps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "analysis/beats/peaks.h"
#include "analysis/statistics.h"

namespace tvn {
namespace {

constexpr double k_bump_prominence = 4.0;

}  // namespace

// A prominence is at most the height of its peak, so only peaks of the z-score that reach the limit
// themselves are looked at; in most recordings neither the highest nor the lowest rate does.
void bridge_bumps(std::vector<double>& rates, double window_points, double largest_sd) {
  if (rates.empty()) return;
  const double centre = mean(rates), sd = population_sd(rates);
  if (!(sd > 0) || !(sd <= largest_sd)) return;
  const auto score = [=](double rate) { return std::fabs((rate - centre) / sd); };
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
