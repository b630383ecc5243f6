#include "analysis/tfr/scales.h"

#include <cmath>
#include <limits>

#include "analysis/statistics.h"

namespace tvn {
namespace {

// Keeps the logarithm of no power at all finite.
constexpr double k_least_power = 1e-30;

TfrScale scale(std::span<const float> row, double centre_factor, double range_factor) {
  return {centre_factor * mean(row), range_factor * population_sd(row)};
}

}  // namespace

TfrScale tfr3_scale(std::span<const float> expected_row) {
  return scale(expected_row, 2, 2);
}
TfrScale tfr10_scale(std::span<const float> expected_row) {
  return scale(expected_row, 1, 1.5);
}

std::vector<double> tfr_cycle_log_power(std::span<const float> expected_row,
                                        std::span<const std::size_t> boundaries) {
  std::vector<double> means;
  for (std::size_t k = 0; k + 1 < boundaries.size(); ++k) {
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t t = boundaries[k]; t < boundaries[k + 1]; ++t) {
      const double power = static_cast<double>(expected_row[t]);
      if (std::isnan(power)) continue;
      sum += std::log(power > k_least_power ? power : k_least_power);
      ++count;
    }
    means.push_back(count > 0 ? sum / static_cast<double>(count)
                              : std::numeric_limits<double>::quiet_NaN());
  }
  return means;
}

}  // namespace tvn
